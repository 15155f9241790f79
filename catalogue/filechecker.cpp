#include "filechecker.h"

#include "describingsink.h"
#include "filepath.h"
#include "streamfacts.h"

#include <utility>

namespace quenlofar {

namespace {

/// Describes a file, and knows what it is.
class KeptDescription : public DescribingSink
{
public:
    using DescribingSink::DescribingSink;

    DocumentStart start;

    bool beginDocument(const DocumentStart &begun) override
    {
        start = begun;
        return DescribingSink::beginDocument(begun);
    }
};

} // namespace

FileRecord RecordMaker::make(const QString &file, const std::optional<FileStamp> &stamp, FileCheck check) const
{
    FileRecord record;
    record.path = pathToBytes(file);
    if (stamp)
        record.stamp = *stamp;
    if (check.result.error.kind == FileError::None) {
        KeptDescription description(parsers);
        const RunResult walk = run.run(file, parsers, description);
        takeDescription(description.rows(), streamsOf(description, walk), &record);
        // Read twice, it may fail the second time. What a parser throws it would throw again.
        if (walk.error.kind != FileError::None && walk.error.kind != FileError::Parser)
            check.result.error = walk.error;
        if (check.start.container.isNull() && !description.start.container.isNull()) {
            check.start = description.start;
            check.notChecked.append(QStringLiteral("no rules for this container"));
        }
    }
    takeCheck(std::move(check), &record);
    if (!record.isUnreadable() && digest != DigestKind::None) {
        QString trouble;
        record.digestKind = digestKindText(digest);
        record.digest = fileDigest(file, digest, cancel, progress, &trouble);
        if (!trouble.isNull()) {
            record.status = QStringLiteral("unreadable");
            record.trouble = trouble;
        }
    }
    record.checked = currentTime();
    return record;
}

} // namespace quenlofar
