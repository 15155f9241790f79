#pragma once

#include "containerrun.h"
#include "rule.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <vector>

namespace quenlofar {

/// The rules of all plug-ins that have an analyzer. They are lent: the plug-ins stay loaded as long as it is used.
class RuleCatalogue
{
public:
    /// A rule and whose it is.
    struct Entry
    {
        QString container; ///< "AVI"
        const Rule *rule = nullptr; ///< never null
    };

    /// Of the plug-ins behind `parsers`.
    explicit RuleCatalogue(const QVector<ParserFactory> &parsers);

    /// In the order of the plug-ins and of their tables.
    const std::vector<Entry> &entries() const { return m_entries; }
    /// All rules of this name: containers may have rules of one name.
    std::vector<Entry> find(QStringView name) const;
    /// The `names` that no rule has.
    QStringList unknown(const QStringList &names) const;

private:
    std::vector<Entry> m_entries;
};

} // namespace quenlofar
