#pragma once

#include "textwriter.h"

#include <QString>
#include <QVector>

#include <string_view>

namespace quenlofar {

struct FileCheck;
struct FileSummary;
struct StreamPackets;
struct StrictReading;
class TextOutput;

/// Prints one file's summary for people, a label and a text per line; the labels have a column of their own.
class SummaryText
{
public:
    SummaryText(TextOutput &output, const TextStyle &style) : m_output(output), m_style(style) { }

    void print(FileSummary &summary, const StrictReading &reading);

private:
    struct Row
    {
        QString label;
        QString text;
        bool isTrouble;
    };

    void addFile(const FileSummary &summary);
    void addStreams(FileSummary &summary, const StrictReading &reading);
    void addFrames(FileSummary &summary, uint videoOrdinal);
    void addPackets(const StreamPackets &packets);
    void addBytes(const FileSummary &summary);
    void addProblems(const FileSummary &summary);
    void addStatus(const FileSummary &summary);
    void addVerdict(const FileCheck &check);
    void add(const QString &label, const QString &text, bool isTrouble = false);
    QString coloured(const QString &text, std::string_view colour) const;

    TextOutput &m_output;
    const TextStyle m_style;
    QVector<Row> m_rows;
};

} // namespace quenlofar
