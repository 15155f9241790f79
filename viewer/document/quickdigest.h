#pragma once

#include <QByteArray>
#include <QString>

#include <atomic>

namespace quenlofar {

class ByteSource;

/// Of small files all bytes, otherwise the first and the last 64 KiB and 64 blocks of 4 KiB between them, each at the
/// begin of one of 64 equal parts of the file; and the size. As 64 hexadecimal digits of SHA-256. Null where `source`
/// cannot be read, `*error` then says why, or where `isCancelled` became true.
QByteArray quickDigest(ByteSource &source, const std::atomic<bool> &isCancelled, QString *error);

} // namespace quenlofar
