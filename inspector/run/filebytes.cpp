#include "filebytes.h"

#include "bytesource.h"

#include <memory>

namespace quenlofar {

std::optional<QByteArray> bytesOfFile(const QString &path, quint64 mostBytes, QString *error)
{
    const std::unique_ptr<ByteSource> source = openFileSource(path, error);
    if (!source)
        return std::nullopt;
    if (quint64(source->size()) > mostBytes) {
        *error = QStringLiteral("it is too large");
        return std::nullopt;
    }
    QByteArray bytes(int(source->size()), '\0');
    const qint64 came = source->readAt(0, bytes.data(), bytes.size());
    if (came == bytes.size())
        return bytes;
    *error = came < 0 ? source->errorText() : QStringLiteral("it became shorter");
    return std::nullopt;
}

} // namespace quenlofar
