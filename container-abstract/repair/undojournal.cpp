#include "undojournal.h"

#include <QCryptographicHash>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <limits>

namespace quenlofar {

namespace {

constexpr std::array<char, 8> magic{'Q', 'U', 'N', 'D', 'O', '\r', '\n', '\1'};
constexpr int digestSize = 32;
constexpr int markSize = 32;
constexpr int markDigestSize = 16;

template <typename Number> void append(QByteArray *bytes, Number number)
{
    std::array<char, sizeof number> buffer = {};
    qToLittleEndian(number, buffer.data());
    bytes->append(buffer.data(), int(buffer.size()));
}

QByteArray digestOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

/// Reads numbers and bytes one after the other; past the end it says so and gives zeros.
class Reader
{
public:
    explicit Reader(const QByteArray &bytes) : m_bytes(bytes) { }

    template <typename Number> Number number()
    {
        const QByteArray from = bytes(sizeof(Number));
        return from.size() == int(sizeof(Number)) ? qFromLittleEndian<Number>(from.constData()) : Number(0);
    }
    QByteArray bytes(quint64 count)
    {
        if (count > quint64(m_bytes.size() - m_at)) {
            m_isPastEnd = true;
            return {};
        }
        m_at += int(count);
        return m_bytes.mid(m_at - int(count), int(count));
    }
    bool isPastEnd() const { return m_isPastEnd; }
    bool isAtEnd() const { return m_at == int(m_bytes.size()); }

private:
    const QByteArray &m_bytes;
    int m_at = 0;
    bool m_isPastEnd = false;
};

/// Ranges that ascend, do not overlap and stay inside of the sizes that are stated.
bool fits(const UndoJournal &journal)
{
    quint64 end = 0;
    for (const UndoJournal::Range &range : journal.ranges) {
        const auto size = quint64(range.newBytes.size());
        const bool isAppended = range.oldBytes.isEmpty();
        if (size == 0 || range.offset < end || range.offset > journal.newSize || size > journal.newSize - range.offset)
            return false;
        if (isAppended ? range.offset < journal.oldSize
                       : range.oldBytes.size() != range.newBytes.size() || range.offset + size > journal.oldSize)
            return false;
        end = range.offset + size;
    }
    return true;
}

bool readMarks(const QByteArray &bytes, UndoJournal *journal)
{
    // A mark that was being written when the power failed is none.
    for (int at = 0; bytes.size() - at >= markSize; at += markSize) {
        const QByteArray mark = bytes.mid(at, markSize);
        if (mark.mid(markSize - markDigestSize) != digestOf(mark.left(markSize - markDigestSize)).left(markDigestSize))
            return at + markSize >= int(bytes.size());
        Reader reader(mark);
        const auto state = reader.number<quint32>();
        if (state != quint32(UndoJournal::State::Done) && state != quint32(UndoJournal::State::Undoing))
            return false;
        journal->state = UndoJournal::State(state);
        const auto seconds = reader.number<qint64>();
        if (journal->state == UndoJournal::State::Done)
            journal->doneTime = {seconds, reader.number<quint32>()};
    }
    return true;
}

} // namespace

QByteArray UndoJournal::toBytes() const
{
    QByteArray body;
    append(&body, oldSize);
    append(&body, newSize);
    append(&body, oldTime.seconds);
    append(&body, oldTime.nanoseconds);
    append(&body, quint32(ranges.size()));
    for (const Range &range : ranges) {
        append(&body, range.offset);
        append(&body, quint32(range.oldBytes.size()));
        append(&body, quint32(range.newBytes.size()));
        body += range.oldBytes;
        body += range.newBytes;
    }
    QByteArray bytes(magic.data(), int(magic.size()));
    append(&bytes, quint64(body.size()));
    bytes += body;
    return bytes + digestOf(bytes);
}

QByteArray UndoJournal::mark(State state, const FileTime &time)
{
    QByteArray bytes;
    append(&bytes, quint32(state));
    append(&bytes, time.seconds);
    append(&bytes, time.nanoseconds);
    return bytes + digestOf(bytes).left(markDigestSize);
}

bool UndoJournal::fromBytes(const QByteArray &bytes, QString *error)
{
    *this = UndoJournal();
    Reader reader(bytes);
    const auto fail = [error](const QString &text) {
        *error = text;
        return false;
    };
    if (reader.bytes(magic.size()) != QByteArray(magic.data(), int(magic.size())))
        return fail(QStringLiteral("it is no journal of a repair"));
    const QByteArray body = reader.bytes(reader.number<quint64>());
    const QByteArray digest = reader.bytes(digestSize);
    if (reader.isPastEnd() || digest != digestOf(bytes.left(int(magic.size()) + 8 + int(body.size()))))
        return fail(QStringLiteral("the journal is not whole"));
    Reader content(body);
    oldSize = content.number<quint64>();
    newSize = content.number<quint64>();
    oldTime.seconds = content.number<qint64>();
    oldTime.nanoseconds = content.number<quint32>();
    const auto count = content.number<quint32>();
    for (quint32 number = 0; number < count && !content.isPastEnd(); ++number) {
        Range range;
        range.offset = content.number<quint64>();
        const auto oldCount = content.number<quint32>();
        const auto newCount = content.number<quint32>();
        range.oldBytes = content.bytes(oldCount);
        range.newBytes = content.bytes(newCount);
        ranges.push_back(std::move(range));
    }
    constexpr auto largest = quint64(std::numeric_limits<qint64>::max());
    constexpr quint32 second = 1'000'000'000; // in nanoseconds
    if (content.isPastEnd() || !content.isAtEnd() || oldSize > newSize || newSize > largest
        || oldTime.nanoseconds >= second || !fits(*this))
        return fail(QStringLiteral("the journal contradicts itself"));
    const int marks = int(magic.size()) + 8 + int(body.size()) + digestSize;
    if (!readMarks(bytes.mid(marks), this))
        return fail(QStringLiteral("the marks of the journal are not whole"));
    return true;
}

} // namespace quenlofar
