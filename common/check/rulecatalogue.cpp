#include "rulecatalogue.h"

#include "containeranalyzer.h"

#include <algorithm>
#include <iterator>

namespace quenlofar {

RuleCatalogue::RuleCatalogue(const QVector<ParserFactory> &parsers)
{
    for (const ParserFactory &parser : parsers) {
        const std::unique_ptr<ContainerAnalyzer> analyzer = parser.createAnalyzer ? parser.createAnalyzer() : nullptr;
        const RuleList rules = analyzer ? analyzer->rules() : RuleList();
        for (int ordinal = 0; ordinal < rules.size(); ++ordinal)
            m_entries.push_back({parser.containerName, &rules[ordinal]});
    }
}

std::vector<RuleCatalogue::Entry> RuleCatalogue::find(QStringView name) const
{
    std::vector<Entry> found;
    std::copy_if(m_entries.begin(), m_entries.end(), std::back_inserter(found),
                 [name](const Entry &entry) { return entry.rule->name == name; });
    return found;
}

QStringList RuleCatalogue::unknown(const QStringList &names) const
{
    QStringList missing;
    std::copy_if(names.begin(), names.end(), std::back_inserter(missing), [this](const QString &name) {
        return std::none_of(m_entries.begin(), m_entries.end(),
                            [&name](const Entry &entry) { return entry.rule->name == name; });
    });
    return missing;
}

} // namespace quenlofar
