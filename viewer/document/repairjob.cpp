#include "repairjob.h"

#include "document.h"
#include "filepath.h"
#include "planfile.h"
#include "pluginloader.h"
#include "recipesource.h"
#include "recipewriter.h"

#include <QFile>

#include <algorithm>
#include <utility>

namespace quenlofar {

namespace {

QString shown(const QString &path)
{
    return QString::fromUtf8(pathForDisplay(path));
}

/// Null, or why the plan is not there.
QString save(const PlannedRepair &planned, const QString &target)
{
    QFile file(QFile::decodeName(pathToBytes(target)));
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return file.errorString();
    const QString error = writePlan(file, planned.plan, planned.changes, planned.oldDigest, JsonLayout::Line);
    if (error.isNull() && file.flush())
        return {};
    QString reason = error.isNull() ? file.errorString() : error;
    file.remove();
    return reason;
}

} // namespace

RepairJob::RepairJob(Document &document, DocumentOptions options, QObject *parent)
    : QObject(parent), m_document(document), m_options(std::move(options)), m_planning(document), m_writing(document)
{
    connect(&m_planning, &Errand::ended, this, &RepairJob::planChanged);
    connect(&m_writing, &Errand::ended, this, &RepairJob::messageChanged);
}

QVector<ParserFactory> RepairJob::parsers() const
{
    return m_options.plugins ? m_options.plugins->parsersFor(m_document.path()) : m_options.parsers;
}

void RepairJob::say(const QString &message)
{
    m_message = message;
    Q_EMIT messageChanged();
}

void RepairJob::plan(const QStringList &except)
{
    m_except = except;
    RepairSettings settings;
    settings.except = except;
    settings.opener = m_options.opener;
    m_planning.start(
        [this, settings, path = m_document.path(), parsers = parsers(), plugins = m_options.plugins,
         limits = m_options.limits,
         open = m_document.sourceOpener()](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
            auto planned = std::make_shared<PlannedRepair>();
            planned->plan = planRepair(path, parsers, settings, limits, &isCancelled, nullptr);
            if (!isCancelled) {
                ContainerRun run(limits);
                run.setOpener(settings.opener);
                planned->changes = changesOf(planned->plan, path, parsers, settings.opener, run);
                QString error;
                const std::unique_ptr<ByteSource> original = open(path, &error);
                if (original)
                    planned->oldDigest = digestOfOldBytes(planned->plan.recipe, *original);
            }
            return [this, planned] { m_planned = planned; };
        },
        [this] { say(tr("There is not enough memory to plan.")); });
    Q_EMIT planChanged();
}

void RepairJob::write(const QString &target, bool isForced)
{
    if (!m_planned || m_options.opener) {
        say(tr("There is nothing on the disk that could be mended."));
        return;
    }
    if (!isForced && mayStillBeWritten(m_planned->plan, m_document.path())) {
        say(tr("The file was never closed and changed within the last minute: something may still write to it."));
        return;
    }
    m_written = std::make_shared<std::atomic<quint64>>(0);
    m_writing.start([this, target, isForced, planned = m_planned, written = m_written,
                     path = m_document.path()](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
        WriteOptions options;
        options.isForced = isForced;
        options.cancel = &isCancelled;
        options.written = written.get();
        const WriteResult result = writeCopy(planned->plan.recipe, path, target, options);
        return [this, result, target] {
            m_message =
                result.isDone() ? tr("Written: %1").arg(shown(target)) : tr("Not written: %1").arg(result.error);
        };
    });
    say(tr("Writing %1").arg(shown(target)));
}

void RepairJob::savePlan(const QString &target)
{
    if (!m_planned) {
        say(tr("There is no plan yet."));
        return;
    }
    m_writing.start([this, target, planned = m_planned](const std::atomic<bool> &) -> Errand::Delivery {
        const QString error = save(*planned, target);
        return [this, error, target] {
            m_message = error.isNull() ? tr("Plan saved: %1").arg(shown(target))
                                       : tr("Plan not saved: %1: %2").arg(shown(target), error);
        };
    });
    say(tr("Saving the plan"));
}

void RepairJob::cancel()
{
    const bool wasWriting = isWriting();
    m_planning.cancel();
    m_writing.cancel();
    if (wasWriting)
        say(tr("Writing was given up."));
}

int RepairJob::progress() const
{
    const quint64 size = m_planned ? m_planned->plan.recipe.newSize() : 0;
    return size == 0 || !m_written ? 0 : int(double(*m_written) / double(size) * 100);
}

std::optional<DocumentOptions> RepairJob::mendedOptions() const
{
    if (!m_planned || m_planned->plan.isEmpty())
        return std::nullopt;
    DocumentOptions options = m_options;
    options.note = tr("mended");
    options.opener = [planned = m_planned, original = m_document.sourceOpener()](
                         const QString &path, QString *error) -> std::unique_ptr<ByteSource> {
        std::unique_ptr<ByteSource> source = original(path, error);
        return source ? std::make_unique<RecipeSource>(planned->plan.recipe, std::move(source)) : nullptr;
    };
    return options;
}

} // namespace quenlofar
