#include "avidescriber.h"

#include "codecnames.h"
#include "containeravi.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <optional>

namespace quenlofar {

namespace {

using Chunk = AviDescriber::Chunk;
using Kind = StreamDescription::Kind;

constexpr int mostCharacters = 200; // of a text that is kept
constexpr int mostSegmentRuns = 8;

struct ChunkTitle
{
    QStringView title;
    Chunk chunk;
};
// Source: AVI RIFF File Reference; OpenDML AVI File Format Extensions 1.02 for indx.
constexpr ChunkTitle chunkTitles[] = {
    {u"strh", Chunk::StreamHeader}, {u"strf", Chunk::StreamFormat}, {u"strn", Chunk::StreamName},
    {u"idx1", Chunk::Index},        {u"indx", Chunk::Index},
};

/// A text of an INFO list, in the order in which they are shown.
struct InfoText
{
    QStringView title;
    QStringView label;
};
// Source of the tags: the RIFF publication of IBM and Microsoft (1991), the INFO list.
constexpr InfoText infoTexts[] = {
    {u"INAM", u"title"},   {u"ISBJ", u"description"},   {u"IART", u"artist"},    {u"IGNR", u"genre"},
    {u"ICMT", u"comment"}, {u"ICRD", u"creation date"}, {u"ICOP", u"copyright"}, {u"ISFT", u"writing software"},
};
static_assert(std::size(infoTexts) == AviDescriber::infoCount);

struct KindMeaning
{
    QStringView meaning; // of fccType
    Kind kind;
};
constexpr KindMeaning kindMeanings[] = {
    {u"Video", Kind::Video},
    {u"Audio", Kind::Audio},
    {u"Subtitles", Kind::Text},
    {u"MIDI", Kind::Midi},
};

/// Numbers of a stream's header and format.
enum Number : quint8 {
    Scale,
    Rate,
    Length,
    Width,
    Height,
    FormatTag,
    Channels,
    SampleRate,
    ByteRate,
    BitsPerSample,
    NumberCount
};

struct NumberField
{
    QStringView name;
    Number number;
};
constexpr NumberField numberFields[] = {
    {u"dwScale", Scale},
    {u"dwRate", Rate},
    {u"dwLength", Length},
    {u"biWidth", Width},
    {u"biHeight", Height},
    {u"wFormatTag", FormatTag},
    {u"nChannels", Channels},
    {u"nSamplesPerSec", SampleRate},
    {u"nAvgBytesPerSec", ByteRate},
    {u"wBitsPerSample", BitsPerSample},
};

QString clipped(QStringView text)
{
    if (text.size() <= mostCharacters)
        return text.toString();
    const bool splitsPair = text.at(mostCharacters - 1).isHighSurrogate();
    return text.left(mostCharacters - (splitsPair ? 1 : 0)).toString() + QChar(0x2026);
}

/// The text of a leaf "value", with an ellipsis where the parser shows a part of it only.
QString shownText(const Field &field)
{
    QString text = clipped(field.value);
    if (field.value.size() > mostCharacters || field.size <= ContainerAVI::shownBytes + 1)
        return text; // the one byte more is padding, or the zero that ends a text
    // Of a text that is not ASCII a byte-order mark and a character that is cut in two are missing.
    const auto bytes = text.toUtf8().size();
    const int missing = bytes == text.size() ? 0 : 6;
    return bytes + missing < int(ContainerAVI::shownBytes) ? text : text + QChar(0x2026);
}

/// A number that fits into 32 bits, with a sign or without.
std::optional<qint64> numberOf(QStringView text)
{
    bool isNumber = false;
    const qint64 number = text.toString().toLongLong(&isNumber);
    if (!isNumber || number < std::numeric_limits<qint32>::min() || number > std::numeric_limits<quint32>::max())
        return {};
    return number;
}

/// A four-character code as the parser shows it, back as a number.
quint32 tagOf(const QString &text)
{
    quint32 tag = 0;
    for (int i = 0; i < std::min(4, int(text.size())); ++i)
        tag |= quint32(text.at(i).unicode() & 0xFF) << (8 * i);
    return tag;
}

QString hexText(quint32 number, int digits)
{
    return QStringLiteral("0x") + QString::number(number, 16).toUpper().rightJustified(digits, QLatin1Char('0'));
}

/// "XVID"; a code with other bytes than ASCII letters and signs as a number, "0x00000000".
QString tagText(const QString &text)
{
    const bool isText = !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar character) {
        return character.unicode() >= 0x20 && character.unicode() < 0x7F;
    });
    return isText ? text : hexText(tagOf(text), 8);
}

void describeTag(const QString &text, StreamDescription *stream)
{
    stream->codecCode = tagText(text);
    stream->codecName = videoCodecName(tagOf(text));
}

} // namespace

/// What was read of a stream before it is known what it is.
struct AviDescriber::StreamFacts
{
    bool hasHeader = false;
    Kind kind = Kind::Other;
    int videoOrdinal = -1;
    std::array<std::optional<qint64>, NumberCount> numbers;
    std::optional<QString> handler; // four characters, or fewer before a zero byte
    std::optional<QString> compression; // four characters, or fewer before a zero byte
    QString formatTagMeaning;
    QString name;

    /// The number, 0 where it is not known or negative.
    quint32 number(Number number) const { return quint32(std::max<qint64>(numbers[number].value_or(0), 0)); }
};

AviDescriber::AviDescriber() = default;

AviDescriber::~AviDescriber() = default;

bool AviDescriber::beginElement(quint64, quint64, QStringView title, qint64)
{
    ++m_depth;
    // The ids of stream chunks begin with a digit.
    if (m_chunk == Chunk::None && !title.isEmpty() && title.front().unicode() > u'9')
        beginChunk(title);
    return true;
}

void AviDescriber::beginChunk(QStringView title)
{
    if (title == u"LIST(strl)") {
        finishStream();
        beginStream();
        m_streamListDepth = m_depth;
        return;
    }
    if (m_depth == 1 && title.startsWith(u"RIFF("))
        return beginSegment(title);

    const auto known = std::find_if(std::begin(chunkTitles), std::end(chunkTitles),
                                    [title](const ChunkTitle &each) { return each.title == title; });
    const auto info = std::find_if(std::begin(infoTexts), std::end(infoTexts),
                                   [title](const InfoText &each) { return each.title == title; });
    if (known != std::end(chunkTitles)) {
        m_chunk = known->chunk;
    } else if (info != std::end(infoTexts)) {
        m_chunk = Chunk::Info;
        m_infoRow = int(info - std::begin(infoTexts));
    } else {
        return;
    }
    m_chunkDepth = m_depth;
    if (m_chunk == Chunk::StreamHeader) {
        if (!m_stream || m_stream->hasHeader) {
            finishStream();
            beginStream();
        }
        m_stream->hasHeader = true;
    }
}

/// "RIFF(AVI )" becomes "RIFF AVI ".
void AviDescriber::beginSegment(QStringView title)
{
    ++m_segmentCount;
    const auto prefix = 5;
    const QString form = QStringLiteral("RIFF ") + clipped(title.mid(prefix, title.size() - prefix - 1));
    if (!m_segments.isEmpty() && m_segments.constLast().form == form)
        ++m_segments.last().count;
    else if (m_segments.size() <= mostSegmentRuns) // one more than is shown
        m_segments.append({form, 1});
}

bool AviDescriber::addField(const Field &field)
{
    if (m_chunk <= Chunk::Index || m_depth != m_chunkDepth)
        return true;
    if (m_chunk == Chunk::Info) {
        // Where a text is given twice, the first one counts: the list of the whole file comes before others.
        QString &text = m_info[size_t(m_infoRow)];
        if (field.name == u"value" && text.isEmpty())
            text = shownText(field);
    } else if (m_stream) {
        readStreamField(field);
    }
    return true;
}

void AviDescriber::readStreamField(const Field &field)
{
    if (m_chunk == Chunk::StreamName) {
        if (field.name == u"value")
            m_stream->name = shownText(field);
        return;
    }
    const auto row = std::find_if(std::begin(numberFields), std::end(numberFields),
                                  [&field](const NumberField &each) { return each.name == field.name; });
    if (row != std::end(numberFields))
        m_stream->numbers[row->number] = numberOf(field.value);

    if (field.name == u"fccType") {
        const auto meaning = std::find_if(std::begin(kindMeanings), std::end(kindMeanings),
                                          [&field](const KindMeaning &each) { return each.meaning == field.meaning; });
        m_stream->kind = meaning == std::end(kindMeanings) ? Kind::Other : meaning->kind;
        m_stream->videoOrdinal = m_stream->kind == Kind::Video ? int(m_videoStreamCount++) : -1;
    } else if (field.name == u"fccHandler") {
        m_stream->handler = clipped(field.value);
    } else if (field.name == u"biCompression") {
        m_stream->compression = clipped(field.value);
    } else if (field.name == u"wFormatTag") {
        m_stream->formatTagMeaning = clipped(field.meaning);
    }
}

bool AviDescriber::endElement()
{
    if (m_depth == m_chunkDepth) {
        m_chunk = Chunk::None;
        m_chunkDepth = 0;
    }
    if (m_depth == m_streamListDepth) {
        finishStream();
        m_streamListDepth = 0;
    }
    --m_depth;
    return true;
}

bool AviDescriber::reportFrame(const Frame &)
{
    return true;
}

bool AviDescriber::endDocument(const RunResult &)
{
    finishStream();
    return true;
}

void AviDescriber::beginStream()
{
    m_stream = std::make_unique<StreamFacts>();
}

void AviDescriber::finishStream()
{
    if (!m_stream)
        return;
    const quint64 ordinal = m_streamCount++;
    if (ordinal < mostStreams)
        m_streams.append(described(*m_stream, int(ordinal)));
    m_stream.reset();
}

StreamDescription AviDescriber::described(const StreamFacts &facts, int ordinal)
{
    StreamDescription stream;
    stream.ordinal = ordinal;
    stream.videoOrdinal = facts.videoOrdinal;
    stream.kind = facts.kind;
    stream.name = facts.name;
    stream.length = std::max<qint64>(facts.numbers[Length].value_or(-1), -1);
    stream.timeBaseNumerator = facts.number(Scale);
    stream.timeBaseDenominator = facts.number(Rate);
    // A format that belongs to another kind of stream was read by the header before: it says nothing of this one.
    if (facts.kind == Kind::Audio)
        describeAudio(facts, &stream);
    else if (facts.kind == Kind::Video)
        describeVideo(facts, &stream);
    else if (facts.handler && !facts.handler->isEmpty())
        describeTag(*facts.handler, &stream);
    return stream;
}

void AviDescriber::describeVideo(const StreamFacts &facts, StreamDescription *stream)
{
    // The header's handler names a decoder, the format what is there to be decoded.
    if (facts.compression || facts.handler)
        describeTag(facts.compression ? *facts.compression : *facts.handler, stream);
    stream->width = facts.number(Width);
    stream->height = quint32(std::abs(facts.numbers[Height].value_or(0))); // negative: the top line is stored first
    if (stream->timeBaseNumerator != 0)
        stream->frameRate = double(stream->timeBaseDenominator) / double(stream->timeBaseNumerator);
}

void AviDescriber::describeAudio(const StreamFacts &facts, StreamDescription *stream)
{
    if (facts.numbers[FormatTag]) {
        const quint32 tag = facts.number(FormatTag);
        stream->codecCode = hexText(tag, 4);
        stream->codecName = tag <= 0xFFFF ? audioFormatName(quint16(tag)) : QString();
        if (stream->codecName.isEmpty())
            stream->codecName = facts.formatTagMeaning;
    }
    stream->channels = facts.number(Channels);
    stream->sampleRate = facts.number(SampleRate);
    stream->bitsPerSample = facts.number(BitsPerSample);
    stream->bitRate = quint64(facts.number(ByteRate)) * 8;
}

QVector<DescriptionRow> AviDescriber::rows() const
{
    QVector<DescriptionRow> rows;
    if (m_segmentCount > 0)
        rows.append({QStringLiteral("segments"), segmentsText()});
    for (size_t i = 0; i < m_info.size(); ++i) {
        if (!m_info[i].isEmpty())
            rows.append({infoTexts[i].label.toString(), m_info[i]});
    }
    if (m_streamCount > mostStreams) {
        rows.append({QStringLiteral("streams"),
                     QStringLiteral("%1, of which the first %2 are described").arg(m_streamCount).arg(mostStreams)});
    }
    return rows;
}

/// "3 (RIFF AVI , 2 x RIFF AVIX)".
QString AviDescriber::segmentsText() const
{
    QStringList runs;
    for (const SegmentRun &run : m_segments) {
        if (runs.size() == mostSegmentRuns) {
            runs.append(QString(QChar(0x2026)));
            break;
        }
        runs.append(run.count == 1 ? run.form : QStringLiteral("%1 x %2").arg(run.count).arg(run.form));
    }
    return QStringLiteral("%1 (%2)").arg(m_segmentCount).arg(runs.join(QStringLiteral(", ")));
}

} // namespace quenlofar
