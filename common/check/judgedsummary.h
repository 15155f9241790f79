#pragma once

#include "filesummary.h"
#include "strictreading.h"

namespace quenlofar {

/// A summary of a walk and of a strict reading behind it.
class JudgedSummary : public SummarySink
{
public:
    /// The strict reading is done by `reader`; the flags and numbers that it points to outlive the object.
    explicit JudgedSummary(const StrictReader &reader) : SummarySink(reader.parsers), m_reader(reader) { }

    /// What the file was judged to be; once printJudged() was called.
    const FileCheck &check() const { return m_reading.check; }
    /// How everything went, of which `walk` was the first part; once printJudged() was called.
    RunResult outcome(const RunResult &walk) const { return m_reading.outcome(walk); }

protected:
    QString print(FileSummary &summary) override;
    /// Prints what both found; null, or why that was not possible.
    virtual QString printJudged(FileSummary &summary, const StrictReading &reading) = 0;

private:
    const StrictReader m_reader;
    StrictReading m_reading;
};

} // namespace quenlofar
