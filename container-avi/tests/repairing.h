#pragma once

#include "avianalyzer.h"
#include "recipesource.h"
#include "repairplan.h"

#include <memory>

namespace quenlofar {
namespace film {

/// Counts what is read.
class CountingSource : public ByteSource
{
public:
    CountingSource(const QByteArray &bytes, quint64 *count) : m_source(memorySource(bytes)), m_count(count) { }
    qint64 size() const override { return m_source->size(); }
    qint64 readAt(qint64 position, char *bytes, qint64 maxSize) override
    {
        const qint64 came = m_source->readAt(position, bytes, maxSize);
        *m_count += quint64(std::max<qint64>(came, 0));
        return came;
    }
    QString errorText() const override { return m_source->errorText(); }

private:
    const std::unique_ptr<ByteSource> m_source;
    quint64 *const m_count;
};

/// A plan for what the settings' opener opens as film.avi, with the AVI analyzer alone.
inline RepairPlan repairPlan(const RepairSettings &settings)
{
    ParserFactory factory;
    factory.containerName = QStringLiteral("AVI");
    factory.extensions = QStringList(QStringLiteral("avi"));
    factory.createAnalyzer = [] { return std::make_unique<AviAnalyzer>(); };
    return planRepair(QStringLiteral("film.avi"), {factory}, settings, RunLimits(), nullptr, nullptr);
}

/// A plan for a film in memory.
inline RepairPlan repairPlan(const QByteArray &bytes, Level level = Level::Deep)
{
    RepairSettings settings;
    settings.level = level;
    settings.opener = [bytes](const QString &, QString *) { return memorySource(bytes); };
    return repairPlan(settings);
}

/// The film as the plan makes it; empty where it cannot be read.
inline QByteArray mended(const RepairPlan &plan, const QByteArray &bytes)
{
    RecipeSource source(plan.recipe, memorySource(bytes));
    QByteArray all(int(source.size()), '\0');
    if (source.readAt(0, all.data(), all.size()) != all.size())
        all.clear();
    return all;
}

} // namespace film
} // namespace quenlofar
