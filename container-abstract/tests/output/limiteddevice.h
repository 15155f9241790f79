#pragma once

#include <QByteArray>
#include <QIODevice>

#include <algorithm>
#include <new>

namespace quenlofar {

/// A device that takes `room` bytes and then fails in the way it is told to; it keeps what it took.
class LimitedDevice : public QIODevice
{
public:
    enum Failure { Error, TakesNothing, OutOfMemory };

    explicit LimitedDevice(qint64 deviceRoom, Failure deviceFailure = Error) : room(deviceRoom), failure(deviceFailure)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

    QByteArray taken;
    int failures = 0;

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        const qint64 part = std::min<qint64>(size, room - taken.size());
        if (part > 0) {
            taken.append(data, int(part));
            return part;
        }
        ++failures;
        if (failure == OutOfMemory)
            throw std::bad_alloc();
        if (failure == TakesNothing)
            return 0;
        setErrorString(QStringLiteral("the disk is full"));
        return -1;
    }

private:
    const qint64 room;
    const Failure failure;
};

} // namespace quenlofar
