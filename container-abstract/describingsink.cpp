#include "describingsink.h"

#include "containerabstract.h"
#include "texts.h"

DescribingSink::DescribingSink(const QVector<ParserFactory> &parsers) : m_parsers(parsers) { }

DescribingSink::~DescribingSink() = default;

bool DescribingSink::beginDocument(const DocumentStart &start)
{
    m_describer.reset();
    if (start.parser >= 0 && start.parser < int(m_parsers.size())) {
        const ParserFactory &factory = m_parsers.at(start.parser);
        if (factory.createDescriber)
            m_describer = factory.createDescriber();
    }
    return !m_describer || m_describer->beginDocument(start);
}

bool DescribingSink::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    return !m_describer || m_describer->beginElement(offset, size, title, index);
}

bool DescribingSink::addField(const Field &field)
{
    return !m_describer || m_describer->addField(field);
}

bool DescribingSink::endElement()
{
    return !m_describer || m_describer->endElement();
}

bool DescribingSink::reportFrame(const Frame &frame)
{
    return !m_describer || m_describer->reportFrame(frame);
}

bool DescribingSink::endDocument(const RunResult &result)
{
    return !m_describer || m_describer->endDocument(result);
}

QString DescribingSink::errorText() const
{
    return m_describer ? ownCopy(m_describer->errorText()) : QString();
}

QVector<DescriptionRow> DescribingSink::rows() const
{
    QVector<DescriptionRow> rows;
    if (m_describer)
        rows = m_describer->rows();
    for (DescriptionRow &row : rows)
        row = {ownCopy(row.label), ownCopy(row.text)};
    return rows;
}

QVector<StreamDescription> DescribingSink::streams() const
{
    QVector<StreamDescription> streams;
    if (m_describer)
        streams = m_describer->streams();
    for (StreamDescription &stream : streams) {
        stream.name = ownCopy(stream.name);
        stream.codecCode = ownCopy(stream.codecCode);
        stream.codecName = ownCopy(stream.codecName);
    }
    return streams;
}
