#pragma once

#include "summaryrows.h"
#include "textwriter.h"

#include <QString>

#include <string_view>

namespace quenlofar {

struct FileCheck;
struct FileSummary;
struct StrictReading;
class TextOutput;

/// Prints one file's summary for people, a label and a text per line; the labels have a column of their own.
class SummaryText
{
public:
    SummaryText(TextOutput &output, const TextStyle &style)
        : m_output(output), m_style(style), m_rows(style.sizes, style.hexOffsets)
    {
    }

    /// Once.
    void print(FileSummary &summary, const StrictReading &reading);

private:
    void addStatus(const FileSummary &summary);
    void addVerdict(const FileCheck &check);
    QString coloured(const QString &text, std::string_view colour) const;

    TextOutput &m_output;
    const TextStyle m_style;
    SummaryRows m_rows;
};

} // namespace quenlofar
