#include "commands.h"

#include "bytesource.h"
#include "elementpath.h"
#include "exitstatus.h"
#include "filewalker.h"
#include "hexdump.h"
#include "messages.h"
#include "offsetargument.h"
#include "options.h"
#include "programoutput.h"
#include "report.h"
#include "sizetext.h"
#include "statuscodes.h"
#include "textoutput.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace quenlofar {

namespace {

/// A path finder that ends the walk as soon as it knows the answer.
class EarlyFinder : public ElementPathFinder
{
public:
    EarlyFinder(const ElementPath &path, FileWalker &walker) : ElementPathFinder(path), m_walker(walker) { }

    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        return ElementPathFinder::beginElement(offset, size, title, index) && stopIfDecided();
    }
    bool addField(const Field &field) override { return ElementPathFinder::addField(field) && stopIfDecided(); }
    bool endElement() override { return ElementPathFinder::endElement() && stopIfDecided(); }

private:
    bool stopIfDecided()
    {
        if (isDecided())
            m_walker.stop();
        return true;
    }

    FileWalker &m_walker;
};

class Extraction
{
public:
    Extraction(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
        : m_file(options.input.files.first()), m_place(options.places.first()), m_walker(options, plugins),
          m_output(output)
    {
    }

    int run() { return m_walker.finish(m_output, extract()); }

private:
    int extract();
    std::optional<FileRange> find(const ElementPath &path, int *exitStatus);
    int tellWhyNotFound(const RunResult &result);
    int copy(const FileRange &range);
    int copy(ByteSource &source, quint64 offset, quint64 size);
    bool write(quint64 offset, const QByteArray &bytes);

    const QString m_file;
    const QString m_place;
    FileWalker m_walker;
    ProgramOutput &m_output;
};

int Extraction::extract()
{
    // What looks like a range is one. An element of such a name is still found by NAME[0].
    if (const std::optional<FileRange> range = FileRange::parse(m_place))
        return copy(*range);
    ElementPath path;
    QString error;
    if (!parseElementPath(m_place, &path, &error)) {
        printMessage(QStringLiteral("\"%1\" is neither OFFSET+LENGTH nor a path: %2").arg(m_place, error));
        return ExitFailure;
    }
    int exitStatus = ExitClean;
    const std::optional<FileRange> range = find(path, &exitStatus);
    return range ? std::max(exitStatus, copy(*range)) : exitStatus;
}

std::optional<FileRange> Extraction::find(const ElementPath &path, int *exitStatus)
{
    EarlyFinder finder(path, m_walker);
    RunResult result = m_walker.walk(m_file, finder);
    // Otherwise the finder ended the walk: it had its answer.
    if (finder.found() || !m_walker.wasInterrupted())
        result.cancelled = false;
    if (!finder.found()) {
        *exitStatus = tellWhyNotFound(result);
        return std::nullopt;
    }
    *exitStatus = m_walker.tell(reportOf(m_file, result, false));
    return FileRange{{finder.offset(), false}, finder.size()};
}

/// Returns the exit status.
int Extraction::tellWhyNotFound(const RunResult &result)
{
    FileReport report = reportOf(m_file, result, false);
    const bool wasStopped = result.limit != RunLimit::None;
    const bool isRecognised = result.status != StatusNotRecognised;
    // What is wrong with the file is then the reason, which is said in any case.
    if (wasStopped || !isRecognised)
        report.exitStatus = ExitFailure;
    const int exitStatus = m_walker.tell(report);
    if (!isRecognised || result.error.kind != FileError::None || m_walker.wasInterrupted())
        return exitStatus;
    printMessage(wasStopped
                     ? QStringLiteral("%1 was not found in what was walked of %2").arg(m_place, m_file)
                     : QStringLiteral("no element %1 in %2; quenlofar tree --paths lists them").arg(m_place, m_file));
    return ExitFailure;
}

int Extraction::copy(const FileRange &range)
{
    QString error;
    const std::unique_ptr<ByteSource> source = openFileSource(m_file, &error);
    if (!source) {
        printMessage(QStringLiteral("%1: cannot be opened: %2").arg(m_file, error));
        return ExitFailure;
    }
    const auto fileSize = quint64(source->size());
    const std::optional<quint64> offset = range.begin.in(fileSize);
    if (!offset) {
        printMessage(QStringLiteral("%1: %2 begins before the file, which has %3")
                         .arg(m_file, m_place, sizeText(fileSize, SizeUnits::Bytes)));
        return ExitFailure;
    }
    return copy(*source, *offset, range.size);
}

int Extraction::copy(ByteSource &source, quint64 offset, quint64 size)
{
    constexpr quint64 pieceSize = quint64(64) * 1024; // a multiple of a dump's line
    const auto fileSize = quint64(source.size());
    const quint64 present = offset < fileSize ? std::min(size, fileSize - offset) : 0;
    quint64 copied = 0;
    while (copied < present && !m_walker.wasInterrupted()) {
        QByteArray piece(int(std::min(present - copied, pieceSize)), Qt::Uninitialized);
        const qint64 count = source.readAt(qint64(offset + copied), piece.data(), piece.size());
        if (count < 0) {
            printMessage(QStringLiteral("%1: reading failed at byte %2: %3")
                             .arg(m_file, QString::number(offset + copied), source.errorText()));
            return ExitFailure;
        }
        piece.truncate(int(count));
        if (count == 0 || !write(offset + copied, piece))
            break;
        copied += quint64(count);
    }
    if (copied == size || m_output.hasFailed() || m_walker.wasInterrupted())
        return ExitClean;
    FileReport report;
    report.exitStatus = ExitFileProblem;
    report.messages.append(QStringLiteral("%1: the file ends at byte %2: %3 of %4 missing")
                               .arg(m_file, QString::number(offset < fileSize ? offset + copied : fileSize),
                                    QString::number(size - copied), sizeText(size, SizeUnits::Bytes)));
    return m_walker.tell(report);
}

/// As they are; a terminal gets a dump.
bool Extraction::write(quint64 offset, const QByteArray &bytes)
{
    if (!m_output.isTerminal())
        return m_output.write(bytes) == bytes.size();
    TextOutput text(m_output);
    const HexDump dump(offset + quint64(bytes.size()));
    constexpr int lineSize = int(HexDump::bytesPerLine);
    for (int begin = 0; begin < bytes.size(); begin += lineSize)
        text.line(dump.line(offset + quint64(begin), bytes.mid(begin, lineSize)));
    return text.flush();
}

} // namespace

int extractBytes(const Options &options, const PluginLoader &plugins, ProgramOutput &output)
{
    return Extraction(options, plugins, output).run();
}

} // namespace quenlofar
