#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <algorithm>

namespace quenlofar {

/// Keeps what is written to it, up to a number of bytes: writing more fails, as on a full disk.
class BoundedOutput : public QIODevice
{
public:
    explicit BoundedOutput(qint64 room = -1) : m_room(room) { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }

    const QByteArray &bytes() const { return m_bytes; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        const qint64 taken = m_room < 0 ? size : std::min(size, m_room - qint64(m_bytes.size()));
        if (taken == 0 && size > 0) {
            setErrorString(QStringLiteral("no space left"));
            return -1;
        }
        m_bytes.append(data, int(taken));
        return taken;
    }

private:
    const qint64 m_room;
    QByteArray m_bytes;
};

} // namespace quenlofar
