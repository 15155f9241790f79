#pragma once

#include "cataloguereport.h"

#include <iterator>

namespace quenlofar {

/// A table of numbers in a report.
struct CountSection
{
    const char16_t *title; ///< for people
    const char *key; ///< for programs
    std::vector<ReportCount> Report::*counts;
};
/// A list of files in a report.
struct ListSection
{
    const char16_t *title; ///< for people
    const char *key; ///< for programs
    ReportList Report::*list;
};

inline constexpr CountSection countSections[] = {
    {u"Verdicts", "verdicts", &Report::verdicts},
    {u"Rules", "rules", &Report::byRule},
    {u"Writing software", "writers", &Report::byWriter},
    {u"Codecs", "codecs", &Report::byCodec},
};
inline constexpr ListSection listSections[] = {
    {u"New findings", "newFindings", &Report::newFindings},
    {u"Changed", "changed", &Report::changed},
    {u"Missing", "missing", &Report::missing},
    {u"Moved", "moved", &Report::moved},
    {u"Not checked", "notChecked", &Report::notChecked},
};

/// A path for people.
QString shownPath(const QByteArray &path);
/// "unknown" for an empty name.
QString shownName(const ReportCount &count);

QByteArray textReport(const Report &report); ///< ReportFormat::Text
QByteArray csvReport(const Report &report); ///< ReportFormat::Csv
QByteArray htmlReport(const Report &report); ///< ReportFormat::Html
QByteArray jsonReport(const Report &report); ///< ReportFormat::Json

} // namespace quenlofar
