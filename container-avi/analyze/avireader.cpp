#include "avireader.h"

#include "aviheaders.h"
#include "aviindexreader.h"
#include "aviwalker.h"
#include "filedevice.h"

namespace quenlofar {

AnalysisResult readAvi(ByteSource &source, const AnalysisOptions &options, AviLayout &layout)
{
    FileDevice file;
    FileDevice ahead;
    openForAnalysis(file, source, options);
    openForAnalysis(ahead, source, options);
    ahead.setProgress(nullptr);

    layout.clear();
    layout.fileSize = quint64(file.size());
    layout.isWalked = options.level != Level::Quick;
    AviWalker walker(file, ahead, options.cancel, layout);
    walker.walk();
    readHeaders(file, layout);
    layout.packets.finish();
    AviIndexReader(file, options.cancel, layout).read();

    AnalysisResult result = analysisResult(file);
    const AnalysisResult aheadResult = analysisResult(ahead);
    if (result.error.kind == FileError::None)
        result.error = aheadResult.error;
    result.isLimited = walker.isLimited();
    result.isCancelled = result.isCancelled || aheadResult.isCancelled
        || (options.cancel && options.cancel->load(std::memory_order_relaxed));
    result.bytesRead += aheadResult.bytesRead;
    layout.isCutShort = layout.isCutShort || !result.isComplete();
    return result;
}

} // namespace quenlofar
