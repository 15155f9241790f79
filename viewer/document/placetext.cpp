#include "placetext.h"

#include "containeranalyzer.h"
#include "document.h"
#include "offsetargument.h"

#include <QCoreApplication>

#include <algorithm>
#include <limits>

namespace quenlofar {

namespace {

/// Texts for people, translated.
struct PlaceTextTexts
{
    Q_DECLARE_TR_FUNCTIONS(quenlofar::PlaceText)
};

bool hasDigitsAlone(QStringView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
}

/// "1:02.5" or "0:01:02.5" in seconds: the last part may have a fraction.
std::optional<double> parseTime(QStringView text)
{
    const QStringList parts = text.toString().split(QLatin1Char(':'));
    if (parts.size() < 2 || parts.size() > 3)
        return std::nullopt;
    double seconds = 0;
    for (int i = 0; i < int(parts.size()); ++i) {
        const QString &part = parts.at(i);
        const int point = int(part.indexOf(QLatin1Char('.')));
        const bool isLast = i + 1 == int(parts.size());
        if (!hasDigitsAlone(point < 0 ? QStringView(part) : QStringView(part).left(point))
            || (point >= 0 && (!isLast || !hasDigitsAlone(QStringView(part).mid(point + 1)))))
            return std::nullopt;
        const double value = part.toDouble();
        if (i > 0 && value >= 60)
            return std::nullopt;
        seconds = seconds * 60 + value;
    }
    return seconds;
}

/// The first stream with pictures; -1 where there is none.
int videoStream(const PacketTable &packets)
{
    for (int stream = 0; stream < packets.streamCount(); ++stream) {
        const StreamKind kind = packets.stream(stream).kind;
        if (kind == StreamKind::Video || kind == StreamKind::Mixed)
            return stream;
    }
    return -1;
}

bool goToPacket(Document &document, const PlaceText &place, QString *error)
{
    const ContainerAnalyzer *const analyzer = document.analyzer();
    if (!analyzer) {
        *error = document.isRead() ? PlaceTextTexts::tr("The pictures of this file are not known.")
                                   : PlaceTextTexts::tr("The pictures of this file are not known yet.");
        return false;
    }
    const PacketTable &packets = analyzer->packets();
    const int stream = videoStream(packets);
    quint64 index = PacketTable::none;
    if (place.kind == PlaceText::Kind::Time)
        index = packetAtTime(packets, place.seconds);
    else if (stream >= 0)
        index = packets.indexOf(stream, place.number);
    if (index == PacketTable::none) {
        *error = PlaceTextTexts::tr("The file has no such picture.");
        return false;
    }
    document.setBytes(packets.at(index).range(), Move::Jump);
    return true;
}

} // namespace

std::optional<PlaceText> PlaceText::parse(QStringView text, QString *error)
{
    text = text.trimmed();
    PlaceText place;
    if (text.isEmpty()) {
        *error = PlaceTextTexts::tr("Type an offset, +n, -n, #frame, a time or a path.");
        return std::nullopt;
    }
    const QChar first = text.front();
    if (const std::optional<FileOffset> offset = FileOffset::parse(text)) {
        place.kind = offset->isFromEnd ? Kind::FromEnd : Kind::Offset;
        place.number = offset->distance;
        return place;
    }
    if (first == QLatin1Char('+') || first == QLatin1Char('-') || first == QLatin1Char('#')) {
        const std::optional<FileOffset> number = FileOffset::parse(text.mid(1));
        if (!number || number->isFromEnd) {
            *error = PlaceTextTexts::tr("\"%1\" has no number behind its sign.").arg(text.toString());
            return std::nullopt;
        }
        place.kind = first == QLatin1Char('+') ? Kind::Forwards
            : first == QLatin1Char('-')        ? Kind::Backwards
                                               : Kind::Frame;
        place.number = number->distance;
        return place;
    }
    if (const std::optional<double> seconds = parseTime(text)) {
        place.kind = Kind::Time;
        place.seconds = *seconds;
        return place;
    }
    place.kind = Kind::Path;
    if (!parseElementPath(text, &place.path, error))
        return std::nullopt;
    return place;
}

bool goTo(Document &document, const PlaceText &place, QString *error)
{
    const quint64 size = document.size();
    const quint64 here = document.place().range.offset;
    quint64 target = 0;
    switch (place.kind) {
    case PlaceText::Kind::Offset:
        target = place.number;
        break;
    case PlaceText::Kind::FromEnd:
        if (place.number > size) {
            *error = PlaceTextTexts::tr("That is before the start of the file.");
            return false;
        }
        target = size - place.number;
        break;
    case PlaceText::Kind::Forwards:
        target = place.number > std::numeric_limits<quint64>::max() - here ? std::numeric_limits<quint64>::max()
                                                                           : here + place.number;
        break;
    case PlaceText::Kind::Backwards:
        if (place.number > here) {
            *error = PlaceTextTexts::tr("That is before the start of the file.");
            return false;
        }
        target = here - place.number;
        break;
    case PlaceText::Kind::Frame:
    case PlaceText::Kind::Time:
        return goToPacket(document, place, error);
    case PlaceText::Kind::Path: {
        const TreeItem item = document.tree().find(place.path);
        if (item == GrowingTree::root()) {
            *error = document.tree().isComplete() ? PlaceTextTexts::tr("There is no such item.")
                                                  : PlaceTextTexts::tr("There is no such item so far.");
            return false;
        }
        document.setItem(item, Move::Jump);
        return true;
    }
    }
    if (document.isOpened() && target >= size && !(target == 0 && size == 0)) {
        *error = PlaceTextTexts::tr("That is behind the end of the file, which has %1 bytes.").arg(size);
        return false;
    }
    document.setBytes({target, 1}, Move::Jump);
    return true;
}

quint64 packetAtTime(const PacketTable &packets, double seconds)
{
    const int stream = videoStream(packets);
    if (stream < 0 || packets.totals(stream).count == 0 || !packets.stream(stream).hasTimeBase())
        return PacketTable::none;
    // Times ascend with numbers: the last packet that begins at or before the time.
    quint64 low = 0;
    quint64 high = packets.totals(stream).count;
    while (high - low > 1) {
        const quint64 middle = low + (high - low) / 2;
        const quint64 index = packets.indexOf(stream, middle);
        if (index != PacketTable::none && packets.secondsOf(index) <= seconds)
            low = middle;
        else
            high = middle;
    }
    return seconds > packets.duration(stream) + packets.secondsOf(packets.indexOf(stream, 0))
        ? PacketTable::none
        : packets.indexOf(stream, low);
}

} // namespace quenlofar
