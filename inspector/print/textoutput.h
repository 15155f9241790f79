#pragma once

#include "options.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <string_view>

class QIODevice;

namespace quenlofar {

struct DocumentStart;
struct RunResult;

/// Lines of text for people or as comma-separated values, on their way to a device. The first failure is remembered.
class TextOutput
{
public:
    /// `device` is open for writing and outlives the object.
    explicit TextOutput(QIODevice &device) : m_device(device) { }
    TextOutput(const TextOutput &) = delete;
    TextOutput &operator=(const TextOutput &) = delete;

    /// Prints `line`, in which texts from files were made fit to be shown (displayText), and a line feed.
    void line(const QString &line);
    /// Prints `line`, which consists of printable ASCII characters: for tables of millions of lines.
    void asciiLine(std::string_view line);
    /// Prints the line that every table about a file begins with: its name, container and size.
    void heading(const DocumentStart &start);
    /// How the walk went, in a line for each thing that was wrong with the file; nothing when it was clean.
    void outcome(const RunResult &result);

    /// Hands everything to the device; false when that failed, now or before.
    bool flush();
    bool works() const { return !m_failed; }
    QString errorText() const { return m_errorText; }

private:
    void endLine();

    QIODevice &m_device;
    QByteArray m_bytes;
    bool m_failed = false;
    QString m_errorText;
};

/// `text`, which comes from a file or is its name, as one field of comma-separated values (RFC 4180), in quotes where
/// it needs them.
QString csvText(const QString &text, CsvTexts texts);

/// `rows` as lines with aligned columns; those in `numberColumns` to the right. The last column is not padded.
QStringList tableLines(const QVector<QStringList> &rows, const QVector<int> &numberColumns);

/// A place in a file, in decimal or hexadecimal.
QString offsetText(quint64 offset, bool isHex);

} // namespace quenlofar
