#include "quickdigest.h"

#include "bytesource.h"

#include <QCoreApplication>
#include <QCryptographicHash>

#include <algorithm>

namespace quenlofar {

namespace {

constexpr qint64 endBytes = qint64(64) << 10;
constexpr int blocks = 64;
constexpr qint64 blockBytes = 4096;

struct DigestTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::QuickDigest)
};

bool addBytes(QCryptographicHash *hash, ByteSource &source, qint64 offset, qint64 size, QString *error)
{
    QByteArray bytes(int(size), Qt::Uninitialized);
    qint64 came = 0;
    while (came < size) {
        const qint64 more = source.readAt(offset + came, bytes.data() + came, size - came);
        if (more <= 0) {
            *error = more < 0 ? source.errorText() : DigestTexts::tr("the file has become shorter");
            return false;
        }
        came += more;
    }
    hash->addData(bytes);
    return true;
}

} // namespace

QByteArray quickDigest(ByteSource &source, const std::atomic<bool> &isCancelled, QString *error)
{
    const qint64 size = std::max<qint64>(source.size(), 0);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArray::number(size));
    if (size <= 2 * endBytes + blocks * blockBytes) {
        if (!addBytes(&hash, source, 0, size, error))
            return {};
        return hash.result().toHex();
    }
    if (!addBytes(&hash, source, 0, endBytes, error))
        return {};
    for (int block = 0; block < blocks; ++block) {
        if (isCancelled || !addBytes(&hash, source, size / blocks * block, blockBytes, error))
            return {};
    }
    if (!addBytes(&hash, source, size - endBytes, endBytes, error))
        return {};
    return hash.result().toHex();
}

} // namespace quenlofar
