#include "wavedescriber.h"

#include <iterator>

using namespace quenlofar;

namespace {

constexpr int mostCharacters = 200; // of a text that is kept

// clang-format off
struct NumberField
{
    QStringView name;
    quint64 WaveDescriber::Facts::*number;
};
constexpr NumberField numberFields[] = {
    {u"wFormatTag",         &WaveDescriber::Facts::formatTag},
    {u"nChannels",          &WaveDescriber::Facts::channels},
    {u"nSamplesPerSec",     &WaveDescriber::Facts::sampleRate},
    {u"nAvgBytesPerSec",    &WaveDescriber::Facts::byteRate},
    {u"nBlockAlign",        &WaveDescriber::Facts::blockSize},
    {u"wBitsPerSample",     &WaveDescriber::Facts::bits},
    {u"wValidBitsPerSample", &WaveDescriber::Facts::validBits},
    {u"dwSampleLength",     &WaveDescriber::Facts::samples},
};

struct TextField
{
    QStringView chunk;
    QStringView name;
    QStringView label;
};
constexpr TextField textFields[WaveDescriber::textCount] = {
    {u"INAM", u"value",       u"title"},
    {u"IART", u"value",       u"artist"},
    {u"IGNR", u"value",       u"genre"},
    {u"ICMT", u"value",       u"comment"},
    {u"ICRD", u"value",       u"creation date"},
    {u"ICOP", u"value",       u"copyright"},
    {u"ISFT", u"value",       u"writing software"},
    {u"bext", u"Description", u"description"},
    {u"bext", u"Originator",  u"originator"},
};
// clang-format on

} // namespace

bool WaveDescriber::beginElement(quint64, quint64, QStringView title, qint64)
{
    m_chunk = title.left(5).toString(); // one more than an id has
    return true;
}

bool WaveDescriber::addField(const Field &field)
{
    if (m_chunk == QLatin1String("data") && field.name == u"value" && m_facts.dataSize == 0)
        m_facts.dataSize = field.size;
    for (const NumberField &row : numberFields) {
        if (field.name == row.name && m_facts.*row.number == 0)
            m_facts.*row.number = field.value.toString().toULongLong();
    }
    for (size_t row = 0; row < textCount; ++row) {
        if (field.name == textFields[row].name && m_chunk == textFields[row].chunk && m_texts[row].isEmpty())
            m_texts[row] = field.value.left(mostCharacters).toString();
    }
    // What an extensible format extends to stands behind the format tag, and says more.
    if (field.name == u"SubFormat" || (field.name == u"wFormatTag" && m_codecName.isEmpty()))
        m_codecName = field.meaning.toString();
    return true;
}

QVector<DescriptionRow> WaveDescriber::rows() const
{
    QVector<DescriptionRow> rows;
    for (size_t row = 0; row < textCount; ++row) {
        if (!m_texts[row].isEmpty())
            rows.append({textFields[row].label.toString(), m_texts[row]});
    }
    return rows;
}

QVector<StreamDescription> WaveDescriber::streams() const
{
    if (m_facts.formatTag == 0)
        return {};
    StreamDescription stream;
    stream.kind = StreamDescription::Kind::Audio;
    const QString tag = QString::number(m_facts.formatTag, 16).toUpper();
    stream.codecCode = QStringLiteral("0x") + tag.rightJustified(4, QLatin1Char('0'));
    stream.codecName = m_codecName;
    stream.channels = quint32(m_facts.channels);
    stream.sampleRate = quint32(m_facts.sampleRate);
    stream.bitsPerSample = quint32(m_facts.validBits != 0 ? m_facts.validBits : m_facts.bits);
    stream.bitRate = m_facts.byteRate * 8;
    // Compressed sound tells its length in fact; in all other sound a block is one sample of every channel.
    if (!m_codecName.startsWith(QLatin1String("PCM")))
        stream.length = m_facts.samples == 0 ? -1 : qint64(m_facts.samples);
    else if (m_facts.blockSize != 0)
        stream.length = qint64(m_facts.dataSize / m_facts.blockSize);
    stream.timeBaseNumerator = 1;
    stream.timeBaseDenominator = stream.sampleRate;
    return {stream};
}
