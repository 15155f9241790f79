#include "avirules.h"

#include <vector>

namespace quenlofar {

namespace {

struct AllRules
{
    AllRules()
    {
        for (const AviRules &group :
             {structureRules(), structureListRules(), structureExtentRules(), mainHeaderRules(), streamRules(),
              formatRules(), legacyIndexRules(), openDmlRules(), chunkRules(), payloadRules()}) {
            for (const AviRule &rule : group) {
                rows.push_back(&rule);
                rules.push_back(&rule.rule);
            }
        }
    }

    std::vector<const AviRule *> rows;
    std::vector<const Rule *> rules;
};

const AllRules &allRules()
{
    static const AllRules all;
    return all;
}

} // namespace

RuleList aviRules()
{
    const std::vector<const Rule *> &rules = allRules().rules;
    return {rules.data(), int(rules.size())};
}

const AviRule &aviRule(int ordinal)
{
    return *allRules().rows[size_t(ordinal)];
}

} // namespace quenlofar
