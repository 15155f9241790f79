#include "textoutput.h"

#include "displaytext.h"
#include "filepath.h"
#include "report.h"
#include "runresult.h"
#include "sizetext.h"
#include "textwidth.h"

#include <QIODevice>
#include <QStringList>

#include <algorithm>

namespace quenlofar {

void TextOutput::line(const QString &line)
{
    m_bytes += pathForDisplay(line);
    endLine();
}

void TextOutput::asciiLine(std::string_view line)
{
    m_bytes.append(line.data(), int(line.size()));
    endLine();
}

void TextOutput::endLine()
{
    constexpr int enough = 1 << 16;
    m_bytes += '\n';
    if (m_bytes.size() >= enough)
        flush();
}

void TextOutput::heading(const DocumentStart &start)
{
    const QString file = displayText(start.file);
    if (start.fileSize < 0) {
        line(file + QStringLiteral(": not opened"));
        return;
    }
    const QString container =
        start.container.isNull() ? QStringLiteral("unknown container format") : displayText(start.container);
    line(QStringLiteral("%1: %2, %3").arg(file, container, sizeText(quint64(start.fileSize), SizeUnits::Bytes)));
}

void TextOutput::outcome(const RunResult &result)
{
    const QStringList reasons = reasonsOf(result);
    for (const QString &reason : reasons)
        line(displayText(reason));
}

bool TextOutput::flush()
{
    if (!m_failed && !m_bytes.isEmpty() && m_device.write(m_bytes) != m_bytes.size()) {
        m_failed = true;
        m_errorText = m_device.errorString();
    }
    m_bytes.clear();
    return !m_failed;
}

QString csvText(const QString &text, CsvTexts texts)
{
    QString cell = text;
    if (texts == CsvTexts::Guarded) {
        cell = displayText(text);
        // What a spreadsheet would take for a formula.
        if (!text.isEmpty() && QStringView(u"=+-@\t").contains(text.front()))
            cell.prepend(QLatin1Char('\''));
    }
    const bool needsQuotes = std::any_of(cell.cbegin(), cell.cend(),
                                         [](QChar character) { return QStringView(u",\"\r\n").contains(character); });
    if (!needsQuotes)
        return cell;
    cell.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + cell + QLatin1Char('"');
}

QStringList tableLines(const QVector<QStringList> &rows, const QVector<int> &numberColumns)
{
    QVector<int> widths;
    for (const QStringList &row : rows) {
        widths.resize(std::max(int(widths.size()), int(row.size())));
        for (int column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], textWidth(row[column], TextForm::Plain));
    }
    QStringList lines;
    for (const QStringList &row : rows) {
        QString line;
        for (int column = 0; column < row.size(); ++column) {
            const QString padding(widths[column] - textWidth(row[column], TextForm::Plain), QLatin1Char(' '));
            line += numberColumns.contains(column) ? padding + row[column] : row[column] + padding;
            line += QStringLiteral("  ");
        }
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        lines.append(line);
    }
    return lines;
}

QString offsetText(quint64 offset, bool isHex)
{
    return isHex ? QStringLiteral("0x") + QString::number(offset, 16) : QString::number(offset);
}

} // namespace quenlofar
