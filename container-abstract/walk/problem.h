#pragma once

#include "containerabstract_export.h"
#include "severity.h"

#include <QString>
#include <QStringView>

namespace quenlofar {

/// A problem that a parser has found at a place of the file. The text is lent for the call.
struct ReportedProblem
{
    quint64 offset; ///< first byte that it is about, from the start of the file
    quint64 size; ///< bytes; 0 for a place between two bytes, or where something is missing
    Severity severity; ///< how bad it is
    QStringView text; ///< what is wrong, in words, without a full stop
};

/// A problem with a text of its own, for a sink that keeps it.
struct KeptProblem
{
    quint64 offset; ///< see ReportedProblem
    quint64 size; ///< see ReportedProblem
    Severity severity; ///< see ReportedProblem
    QString text; ///< see ReportedProblem

    /// What it is made of, for as long as it lives.
    ReportedProblem lent() const { return {offset, size, severity, text}; }
};

/// A problem with a copy of its text.
inline KeptProblem keptProblem(const ReportedProblem &problem)
{
    return {problem.offset, problem.size, problem.severity, problem.text.toString()};
}

/// How many problems of each severity a parser has reported.
struct CONTAINERABSTRACT_EXPORT ProblemCounts
{
    quint64 errors = 0; ///< of Severity::Error
    quint64 warnings = 0; ///< of Severity::Warning
    quint64 notes = 0; ///< of Severity::Note

    /// Counts one more.
    void add(Severity severity);
    /// All together.
    quint64 total() const { return errors + warnings + notes; }
    /// "2 errors, 1 warning"; empty when there are none.
    QString text() const;
};

} // namespace quenlofar
