#include "problem.h"

namespace quenlofar {

void ProblemCounts::add(Severity severity)
{
    ++(severity == Severity::Error ? errors : severity == Severity::Warning ? warnings : notes);
}

QString ProblemCounts::text() const
{
    QString text;
    const auto append = [&text](quint64 count, Severity severity) {
        if (count == 0)
            return;
        if (!text.isEmpty())
            text += QLatin1String(", ");
        text += QString::number(count) + QLatin1Char(' ') + severityName(severity).toString();
        if (count != 1)
            text += QLatin1Char('s');
    };
    append(errors, Severity::Error);
    append(warnings, Severity::Warning);
    append(notes, Severity::Note);
    return text;
}

} // namespace quenlofar
