#include "containeranalyzer.h"

#include "bytesource.h"
#include "filedevice.h"

namespace quenlofar {

namespace {

/// Reads a source that the caller owns.
class BorrowedSource final : public ByteSource
{
public:
    explicit BorrowedSource(ByteSource &source) : m_source(source) { }
    qint64 size() const override { return m_source.size(); }
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override
    {
        return m_source.readAt(position, data, maxSize);
    }
    QString errorText() const override { return m_source.errorText(); }
    const char *memory() const override { return m_source.memory(); }
    qint64 holeEnd(qint64 position) override { return m_source.holeEnd(position); }

private:
    ByteSource &m_source;
};

} // namespace

void openForAnalysis(FileDevice &file, ByteSource &source, const AnalysisOptions &options)
{
    file.open(std::make_unique<BorrowedSource>(source));
    file.setStopFlag(options.cancel);
    file.setProgress(options.progress);
}

AnalysisResult analysisResult(const FileDevice &file)
{
    AnalysisResult result;
    result.isCancelled = file.wasInterrupted();
    result.bytesRead = file.bytesRead();
    if (file.hasReadError()) {
        result.error.kind = FileError::Read;
        result.error.offset = file.readErrorOffset();
        result.error.message = file.errorText();
    }
    return result;
}

ContainerAnalyzer::~ContainerAnalyzer() = default;

void *ContainerAnalyzer::extension(int)
{
    return nullptr;
}

} // namespace quenlofar
