#include "describingsink.h"

#include "containerabstract.h"
#include "decodetext.h"
#include "throwntext_p.h"

#include <algorithm>
#include <exception>
#include <new>

namespace quenlofar {

namespace {

/// Texts of a plug-in may be literals, which go with it.
DescriptionRow ownCopyOf(const DescriptionRow &row)
{
    return {ownCopy(row.label), ownCopy(row.text)};
}

StreamDescription ownCopyOf(const StreamDescription &lent)
{
    StreamDescription stream = lent;
    stream.name = ownCopy(lent.name);
    stream.codecCode = ownCopy(lent.codecCode);
    stream.codecName = ownCopy(lent.codecName);
    return stream;
}

template <typename Description> QVector<Description> ownCopies(const QVector<Description> &lent)
{
    QVector<Description> copies;
    copies.reserve(lent.size());
    for (const Description &each : lent)
        copies.append(ownCopyOf(each));
    return copies;
}

/// Without rows that have no label: nobody could tell what they say.
QVector<DescriptionRow> labelledOnly(QVector<DescriptionRow> rows)
{
    rows.erase(std::remove_if(rows.begin(), rows.end(), [](const DescriptionRow &row) { return row.label.isEmpty(); }),
               rows.end());
    return rows;
}

/// Ordinals that make no sense are replaced by those that the streams' order gives.
QVector<StreamDescription> withSensibleOrdinals(QVector<StreamDescription> streams)
{
    int videoStreams = 0;
    for (int i = 0; i < int(streams.size()); ++i) {
        StreamDescription &stream = streams[i];
        if (stream.ordinal < 0)
            stream.ordinal = i;
        if (stream.kind != StreamDescription::Kind::Video)
            stream.videoOrdinal = -1;
        else if (stream.videoOrdinal < 0)
            stream.videoOrdinal = videoStreams;
        videoStreams += stream.kind == StreamDescription::Kind::Video ? 1 : 0;
    }
    return streams;
}

} // namespace

DescribingSink::DescribingSink(const QVector<ParserFactory> &parsers) : m_parsers(parsers) { }

DescribingSink::~DescribingSink() = default;

/// Runs a part of the plug-in's. One that throws has failed, and is asked no more; memory that runs out is not its
/// fault.
template <typename Part> bool DescribingSink::guarded(Part part)
{
    try {
        return part();
    } catch (const std::bad_alloc &) {
        throw;
    } catch (...) {
        setFailed(thrownText(std::current_exception()).text);
        m_describer.reset();
    }
    return false;
}

/// Hands a call on to the describer.
template <typename Call> bool DescribingSink::pass(Call call)
{
    if (!m_describer)
        return m_errorText.isNull();
    return guarded([&] {
        if (call(*m_describer))
            return true;
        setFailed(m_describer->errorText());
        return false;
    });
}

/// The first reason counts.
void DescribingSink::setFailed(const QString &reason)
{
    if (!m_errorText.isNull())
        return;
    m_errorText = QStringLiteral("the describer failed");
    if (!reason.isEmpty())
        m_errorText += QStringLiteral(": ") + reason;
}

bool DescribingSink::beginDocument(const DocumentStart &start)
{
    m_describer.reset();
    m_rows.clear();
    m_streams.clear();
    m_errorText = QString();
    const bool hasParser = start.parser >= 0 && start.parser < int(m_parsers.size());
    if (!hasParser || !m_parsers.at(start.parser).createDescriber)
        return true;
    const bool isMade = guarded([&] {
        m_describer = m_parsers.at(start.parser).createDescriber();
        return true;
    });
    return isMade && pass([&](ContainerDescriber &describer) { return describer.beginDocument(start); });
}

bool DescribingSink::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    return pass([&](ContainerDescriber &describer) { return describer.beginElement(offset, size, title, index); });
}

bool DescribingSink::addField(const Field &field)
{
    return pass([&](ContainerDescriber &describer) { return describer.addField(field); });
}

bool DescribingSink::endElement()
{
    return pass([](ContainerDescriber &describer) { return describer.endElement(); });
}

bool DescribingSink::reportFrame(const Frame &frame)
{
    return pass([&](ContainerDescriber &describer) { return describer.reportFrame(frame); });
}

bool DescribingSink::endDocument(const RunResult &result)
{
    // Of a walk for which there was no memory a describer may have seen half a call.
    if (result.error.kind == FileError::Memory)
        m_describer.reset();
    const bool isTaken = pass([&](ContainerDescriber &describer) {
        const bool isEnded = describer.endDocument(result);
        QVector<DescriptionRow> rows = labelledOnly(ownCopies(describer.rows()));
        m_streams = withSensibleOrdinals(ownCopies(describer.streams()));
        m_rows.swap(rows);
        return isEnded;
    });
    m_describer.reset();
    return isTaken;
}

bool DescribingSink::setElementSize(quint64 size)
{
    return pass([&](ContainerDescriber &describer) { return describer.setElementSize(size); });
}

bool DescribingSink::reportProblem(const quenlofar::ReportedProblem &problem)
{
    return pass([&](ContainerDescriber &describer) { return describer.reportProblem(problem); });
}

QString DescribingSink::errorText() const
{
    return m_errorText;
}

QVector<DescriptionRow> DescribingSink::rows() const
{
    return m_rows;
}

QVector<StreamDescription> DescribingSink::streams() const
{
    return m_streams;
}

} // namespace quenlofar
