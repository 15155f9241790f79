#include "statuscodes.h"

#include "runresult.h"

namespace quenlofar {

namespace {

struct StatusRow
{
    int status;
    const char *text;
};

constexpr StatusRow statusRows[] = {
    {StatusOk, "walked to the end"},
    {StatusCannotOpen, "the file cannot be opened"},
    {StatusReadError, "reading the file failed"},
    {StatusNotRecognised, "no parser recognises the file"},
    {StatusUnknownStream, "an index names a video stream that no header announces"},
    {StatusEndOfFile, "the file ends inside an element"},
    {StatusUnknownId, "unknown element id"},
    {StatusOutOfMemory, "not enough memory for a buffer whose size the file asks for"},
};

} // namespace

QString statusText(int status)
{
    for (const StatusRow &row : statusRows) {
        if (row.status == status)
            return QString::fromLatin1(row.text);
    }
    return QStringLiteral("status %1").arg(status);
}

QString statusText(const RunResult &result)
{
    return result.ownStatusText.isNull() ? statusText(result.status) : result.ownStatusText;
}

} // namespace quenlofar
