#pragma once

#include "avidescriber.h"
#include "checkingsink.h"
#include "containerabstract_p.h"
#include "containeravi.h"
#include "containerrun.h"
#include "elementtree.h"
#include "faultysource.h"
#include "jsontext.h"
#include "jsonwriter.h"
#include "outputs.h"
#include "require.h"

#include <cmath>
#include <limits>
#include <memory>

namespace quenlofar {

/// The AVI parser, looked over the shoulder: it leaves everything where it found it, whatever the bytes say.
class CheckedParser final : public ContainerAVI
{
public:
    /// The parser may read `workLimit` bytes, if the run allows them.
    explicit CheckedParser(quint64 workLimit) : m_workLimit(workLimit) { }
    ~CheckedParser() override
    {
        require(m_levelEnds.size() <= 1, "the ends of lists are taken back also when the walk is unwound");
    }

protected:
    int verifyContainerFormat(const QString &path) override
    {
        const int status = ContainerAVI::verifyContainerFormat(path);
        require(!m_file.isOpen(), "the file is closed after detection");
        return status;
    }

    void prepareParsing() override
    {
        ContainerAbstractPrivate &host = ContainerAbstractPrivate::of(*this);
        if (m_workLimit < host.workLimit) {
            host.workLimit = host.totalWorkLimit = m_workLimit + m_file.bytesRead();
            m_file.setReadLimit(host.workLimit);
        }
        ContainerAVI::prepareParsing();
    }

    int parseElement(quint64 *size) override
    {
        const quint64 position = m_position;
        const auto depth = m_levelEnds.size();
        const qint64 levelEnd = m_levelEnds.last();
        const quint64 openNodes = ContainerAbstractPrivate::of(*this).openNodes;
        require(depth >= 1, "the end of the data is known");
        require(m_file.pos() == qint64(position), "the file stands where the element begins");

        const int status = ContainerAVI::parseElement(size);

        require(m_position == position, "the position is back at the element's beginning");
        require(m_levelEnds.size() == depth && m_levelEnds.last() == levelEnd, "the ends of lists are as before");
        require(ContainerAbstractPrivate::of(*this).openNodes == openNodes, "every node is ended by who began it");
        require(*size == 0 || *size >= 8, "an element has a header");
        require(*size != 0 || status == StatusEndOfFile, "only the end of the file takes no bytes");
        require(*size == 0 || m_file.pos() == qint64(position), "the file is back at the element's beginning");
        return status;
    }

    void finalizeParsing() override
    {
        require(m_levelEnds.size() == 1 && m_levelEnds.last() == m_file.size(), "all lists have ended");
        require(m_position == quint64(m_file.size()), "the walk ends where the file does");
        require(ContainerAbstractPrivate::of(*this).openNodes == 0, "all nodes have ended");
        ContainerAVI::finalizeParsing();
    }

private:
    const quint64 m_workLimit;
};

struct RunSettings
{
    RunLimits limits;
    quint64 workLimit = std::numeric_limits<quint64>::max(); ///< bytes read, after detection
    SourceFaults faults;
    quint64 failAt = 0; ///< call of the sink, from 1, from which on it takes no more; 0 is never
    quint64 cancelAt = 0; ///< call of the sink, from 1, during which the run is cancelled; 0 is never
    bool parsesJson = true; ///< reads the document that was printed again
};

struct CheckedResult
{
    RunResult result;
    QByteArray json;
    double seconds = 0; ///< of this thread, for the run alone
};

/// What the describer answers is bounded, and its video streams are those of the run.
inline void checkDescription(const AviDescriber &describer, const RunResult &result)
{
    const QVector<StreamDescription> streams = describer.streams();
    require(quint64(streams.size()) <= AviDescriber::mostStreams, "few streams are kept");
    int videoStreams = 0;
    for (int i = 0; i < int(streams.size()); ++i) {
        const StreamDescription &stream = streams.at(i);
        require(stream.ordinal == i, "streams are counted from 0");
        require(std::isfinite(stream.frameRate) && stream.frameRate >= 0, "a frame rate is a number");
        require(stream.name.size() + stream.codecCode.size() + stream.codecName.size() < 1000, "texts are clipped");
        if (stream.kind == StreamDescription::Kind::Video)
            require(stream.videoOrdinal == videoStreams++, "video streams are counted from 0");
        else
            require(stream.videoOrdinal == -1, "no other stream has an ordinal among video streams");
    }
    if (quint64(streams.size()) < AviDescriber::mostStreams)
        require(videoStreams == int(result.videoStreams.size()), "every video stream of the run is described");
    for (const DescriptionRow &row : describer.rows())
        require(!row.label.isEmpty() && !row.text.isEmpty() && row.text.size() < 1000, "rows are short texts");
}

/// Walks `bytes` with every promise of parser, run and sinks looked after, printing while it walks and from a tree.
inline CheckedResult checkedRun(const QByteArray &bytes, const RunSettings &settings)
{
    BoundedOutput output;
    JsonWriter writer(output);
    ElementTree tree;
    AviDescriber describer;
    CheckingSink sink{&writer, &tree, &describer};
    ContainerRun run(settings.limits);
    sink.itemLimit = settings.limits.itemsFor(bytes.size());
    sink.depthLimit = settings.limits.maxDepth;
    sink.failAt = settings.failAt;
    sink.cancelAt = settings.cancelAt;
    sink.cancel = [&run] { run.cancel(); };
    run.setOpener([&](const QString &, QString *) { return sourceOf(bytes, settings.faults); });
    const QVector<ParserFactory> parsers{{QStringLiteral("AVI"), {}, {}, [&settings] {
                                              return std::unique_ptr<ContainerAbstract>(
                                                  new CheckedParser(settings.workLimit));
                                          }}};

    CheckedResult checked;
    const double begin = threadSeconds();
    checked.result = run.run(QStringLiteral("memory.avi"), parsers, sink);
    checked.seconds = threadSeconds() - begin;
    checked.json = output.bytes();
    require(checked.result.error.kind != FileError::Parser, "no bytes make the parser break its rules");
    checkDescription(describer, checked.result);

    BoundedOutput replayed;
    JsonWriter replayWriter(replayed);
    require(tree.replay(replayWriter), "a tree can be printed");
    require(replayed.bytes() == checked.json, "a document is printed alike from a tree and while it is walked");
    if (settings.parsesJson) {
        JsonDocument document;
        parseJson(checked.json, &document);
        require(jsonMember(document, u"status").GetInt() == checked.result.status, "the document has its status");
    }
    return checked;
}

} // namespace quenlofar
