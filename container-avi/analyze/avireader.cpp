#include "avireader.h"

#include "aviheaders.h"
#include "aviindexreader.h"
#include "aviwalker.h"
#include "bytesource.h"
#include "filedevice.h"

namespace quenlofar {

namespace {

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

void open(FileDevice &device, ByteSource &source, const AnalysisOptions &options)
{
    device.open(borrowed(source));
    device.setStopFlag(options.cancel);
    device.setProgress(options.progress);
}

} // namespace

std::unique_ptr<ByteSource> borrowed(ByteSource &source)
{
    return std::make_unique<BorrowedSource>(source);
}

AnalysisResult readAvi(ByteSource &source, const AnalysisOptions &options, AviLayout &layout)
{
    FileDevice file;
    FileDevice ahead;
    open(file, source, options);
    open(ahead, source, options);
    ahead.setProgress(nullptr);

    layout.clear();
    layout.fileSize = quint64(file.size());
    layout.isWalked = options.level != Level::Quick;
    AviWalker walker(file, ahead, options.cancel, layout);
    walker.walk();
    readHeaders(file, layout);
    layout.packets.finish();
    AviIndexReader(file, options.cancel, layout).read();

    AnalysisResult result;
    result.isLimited = walker.isLimited();
    result.isCancelled = file.wasInterrupted() || ahead.wasInterrupted()
        || (options.cancel && options.cancel->load(std::memory_order_relaxed));
    result.bytesRead = file.bytesRead() + ahead.bytesRead();
    for (const FileDevice *device : {&file, &ahead}) {
        if (device->hasReadError() && result.error.kind == FileError::None) {
            result.error.kind = FileError::Read;
            result.error.offset = device->readErrorOffset();
            result.error.message = device->errorText();
        }
    }
    layout.isCutShort = layout.isCutShort || !result.isComplete();
    return result;
}

} // namespace quenlofar
