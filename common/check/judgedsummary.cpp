#include "judgedsummary.h"

namespace quenlofar {

QString JudgedSummary::print(FileSummary &summary)
{
    m_reading = readStrictly(summary.start, m_reader, true);
    summary.result = m_reading.outcome(summary.result);
    return printJudged(summary, m_reading);
}

} // namespace quenlofar
