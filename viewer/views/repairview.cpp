#include "repairview.h"

#include "displaytext.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSplitter>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <map>

namespace quenlofar {

namespace {

enum RepairColumn { StepText, StepRules, StepClass, StepOffset, StepColumns };
constexpr int rulesRole = Qt::UserRole; // of a step: the names of its rules
constexpr int changeRole = Qt::UserRole + 1; // of a change: its number in the plan

/// More changes of a step are only counted.
constexpr int mostChanges = 200;
/// More bytes of a change are not shown: whole they are in the mended file.
constexpr int mostBytes = 4096;
constexpr int bytesInRow = 8;

/// "12 34 56" of some bytes of `bytes`, padded to a whole row; bytes that differ from `others` stand in brackets.
QString hexRow(const QByteArray &bytes, const QByteArray &others, int begin)
{
    QString row;
    for (int at = begin; at < begin + bytesInRow; ++at) {
        const bool differs = at < int(bytes.size()) && (at >= int(others.size()) || bytes[at] != others[at]);
        const QString hex =
            at < int(bytes.size()) ? QString::fromLatin1(bytes.mid(at, 1).toHex()) : QStringLiteral("  ");
        row += differs ? QLatin1Char('[') + hex + QLatin1Char(']') : QLatin1Char(' ') + hex + QLatin1Char(' ');
    }
    return row;
}

} // namespace

RepairView::RepairView(Document &document, RepairJob &job, QWidget *parent)
    : QWidget(parent), m_document(document), m_job(job), m_steps(new QTreeWidget(this)),
      m_bytes(new QPlainTextEdit(this)), m_status(new QLabel(this)), m_plan(new QPushButton(tr("Make a plan"), this)),
      m_mended(new QPushButton(tr("Look at the mended file"), this)),
      m_copy(new QPushButton(tr("Write a copy..."), this)), m_save(new QPushButton(tr("Save plan..."), this))
{
    m_steps->setObjectName(QStringLiteral("repairSteps"));
    m_steps->setAccessibleName(tr("Steps of the repair"));
    m_steps->header()->setAccessibleName(tr("Columns of steps"));
    m_steps->verticalScrollBar()->setAccessibleName(tr("Rows of steps"));
    m_steps->horizontalScrollBar()->setAccessibleName(tr("Columns of steps"));
    m_steps->setColumnCount(StepColumns);
    m_steps->setHeaderLabels({tr("What is done"), tr("Rules"), tr("Class"), tr("Offset")});
    m_steps->setUniformRowHeights(true);
    m_steps->setAlternatingRowColors(true);
    constexpr int charactersOfText = 60;
    m_steps->setColumnWidth(StepText, fontMetrics().averageCharWidth() * charactersOfText);
    m_bytes->setObjectName(QStringLiteral("repairBytes"));
    m_bytes->setAccessibleName(tr("Old and new bytes"));
    m_bytes->verticalScrollBar()->setAccessibleName(tr("Old and new bytes"));
    m_bytes->horizontalScrollBar()->setAccessibleName(tr("Old and new bytes"));
    m_bytes->setReadOnly(true);
    m_bytes->setTabChangesFocus(true);
    m_bytes->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_bytes->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_status->setObjectName(QStringLiteral("repairStatus"));
    m_status->setTextFormat(Qt::PlainText);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long text makes no window wider

    auto *const bar = new QHBoxLayout;
    for (QPushButton *const button : {m_plan, m_mended, m_copy, m_save}) {
        button->setAccessibleName(button->text());
        bar->addWidget(button);
    }
    bar->addWidget(m_status, 1);
    auto *const splitter = new QSplitter(Qt::Horizontal, this);
    splitter->addWidget(m_steps);
    splitter->addWidget(m_bytes);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    splitter->setChildrenCollapsible(false);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(splitter, 1);
    setFocusProxy(m_steps);

    connect(m_plan, &QPushButton::clicked, this, [this] { m_job.plan(m_job.except()); });
    connect(m_mended, &QPushButton::clicked, this, &RepairView::mendedWanted);
    connect(m_copy, &QPushButton::clicked, this, &RepairView::copyWanted);
    connect(m_save, &QPushButton::clicked, this, &RepairView::savingWanted);
    connect(m_steps, &QTreeWidget::itemChanged, this, &RepairView::itemChanged);
    connect(m_steps, &QTreeWidget::currentItemChanged, this, [this] { m_bytes->setPlainText(bytesText()); });
    connect(m_steps, &QTreeWidget::itemActivated, this, [this] {
        const PlanChange *const change = currentChange();
        if (change && !change->old.isEmpty())
            m_document.setBytes({change->piece.offset, change->piece.size}, Move::Jump);
    });
    connect(&m_job, &RepairJob::planChanged, this, &RepairView::showPlan);
    connect(&m_job, &RepairJob::messageChanged, this, &RepairView::showStatus);
    auto *const watch = new QTimer(this); // of what is written
    constexpr int milliseconds = 200;
    watch->setInterval(milliseconds);
    connect(watch, &QTimer::timeout, this, &RepairView::showStatus);
    connect(&m_job, &RepairJob::messageChanged, watch,
            [this, watch] { m_job.isWriting() ? watch->start() : watch->stop(); });
    showPlan();
}

QString RepairView::statusText() const
{
    if (m_job.isPlanning())
        return tr("Each step is tried by reading and checking the file as it would be.");
    if (m_job.isWriting() && m_job.progress() > 0)
        return tr("%1: %2 %").arg(m_job.message()).arg(m_job.progress());
    if (!m_job.message().isEmpty())
        return displayText(m_job.message());
    if (!m_job.planned())
        return tr("A plan writes nothing.");
    const RepairPlan &plan = m_job.planned()->plan;
    const QString before = verdictText(plan.before.verdict);
    if (plan.isEmpty())
        return m_job.except().isEmpty() ? tr("%1; nothing to repair").arg(before)
                                        : tr("%1; no step is left").arg(before);
    return tr("%1 -> %2; findings cleared: %3").arg(before, verdictText(plan.after.verdict)).arg(plan.cleared.size());
}

void RepairView::showStatus()
{
    m_status->setText(statusText());
    m_status->setToolTip(m_status->text());
    const bool canWrite = m_job.planned() && !m_job.isPlanning() && !m_job.isWriting();
    const bool hasSteps = canWrite && !m_job.planned()->plan.isEmpty();
    m_mended->setEnabled(hasSteps);
    m_copy->setEnabled(hasSteps);
    m_save->setEnabled(hasSteps);
}

void RepairView::showStep(const PlannedRepair &planned, quint32 number)
{
    const RecipeStep &step = planned.plan.recipe.steps()[number];
    auto *const row = new QTreeWidgetItem(m_steps);
    row->setText(StepText, displayText(step.reason));
    row->setText(StepRules, displayText(step.rules.join(QStringLiteral(", "))));
    row->setText(StepClass, repairText(step.repair));
    row->setData(StepText, rulesRole, step.rules);
    row->setFlags(row->flags() | Qt::ItemIsUserCheckable);
    row->setCheckState(StepText, Qt::Checked);
    for (const quint32 id : step.findings) {
        const JudgedFinding &finding = planned.plan.before.findings[id - 1];
        auto *const clears = new QTreeWidgetItem(row);
        clears->setText(StepText, tr("clears: %1").arg(displayText(finding.message)));
        clears->setText(StepRules, displayText(finding.rule));
        clears->setText(StepClass, severityName(finding.severity).toString());
    }
    int count = 0;
    for (size_t ordinal = 0; ordinal < planned.changes.size(); ++ordinal) {
        const PlanChange &change = planned.changes[ordinal];
        if (change.piece.step != number || !change.piece.isNew || ++count > mostChanges)
            continue;
        auto *const place = new QTreeWidgetItem(row);
        const QString what = change.old.isEmpty() ? tr("%1 bytes are added").arg(change.piece.size)
            : change.path.isEmpty()               ? tr("%1 bytes change").arg(change.piece.size)
                                                  : displayText(change.path);
        place->setText(StepText, what);
        place->setText(StepOffset, QString::number(change.piece.offset));
        place->setData(StepText, changeRole, qulonglong(ordinal));
    }
    if (count > mostChanges)
        (new QTreeWidgetItem(row))->setText(StepText, tr("and at %1 more places").arg(count - mostChanges));
}

/// A rule that people do not want a step for.
void RepairView::showUnwanted(const QString &rule)
{
    auto *const row = new QTreeWidgetItem(m_steps);
    row->setText(StepText, tr("not wanted"));
    row->setText(StepRules, displayText(rule));
    row->setData(StepText, rulesRole, QStringList{rule});
    row->setFlags(row->flags() | Qt::ItemIsUserCheckable);
    row->setCheckState(StepText, Qt::Unchecked);
}

void RepairView::showPlan()
{
    const QSignalBlocker blocker(m_steps);
    m_steps->clear();
    m_plan->setText(m_job.planned() ? tr("Plan again") : tr("Make a plan"));
    m_plan->setAccessibleName(m_plan->text());
    m_plan->setEnabled(!m_job.isPlanning());
    if (m_job.planned() && !m_job.isPlanning()) {
        const PlannedRepair &planned = *m_job.planned();
        for (quint32 number = 0; number < planned.plan.recipe.steps().size(); ++number)
            showStep(planned, number);
        for (const QString &rule : m_job.except())
            showUnwanted(rule);
        for (const OmittedStep &omitted : planned.plan.omitted) {
            auto *const row = new QTreeWidgetItem(m_steps);
            row->setText(StepText,
                         tr("left out: %1: %2").arg(displayText(omitted.step.reason), displayText(omitted.reason)));
            row->setText(StepRules, displayText(omitted.step.rules.join(QStringLiteral(", "))));
        }
        for (const JudgedFinding &finding : planned.plan.after.findings) {
            auto *const row = new QTreeWidgetItem(m_steps);
            row->setText(StepText, tr("stays: %1").arg(displayText(finding.message)));
            row->setText(StepRules, displayText(finding.rule));
            row->setText(StepClass, severityName(finding.severity).toString());
        }
    }
    constexpr int mostExpanded = 8;
    if (m_steps->topLevelItemCount() <= mostExpanded)
        m_steps->expandAll();
    m_bytes->setPlainText(bytesText());
    showStatus();
}

void RepairView::leaveOut(int step)
{
    if (QTreeWidgetItem *const row = m_steps->topLevelItem(step))
        row->setCheckState(StepText, Qt::Unchecked);
}

void RepairView::itemChanged(QTreeWidgetItem *item)
{
    const QStringList rules = item->data(StepText, rulesRole).toStringList();
    if (rules.isEmpty())
        return;
    QStringList except = m_job.except();
    for (const QString &rule : rules) {
        except.removeAll(rule);
        if (item->checkState(StepText) == Qt::Unchecked)
            except.append(rule);
    }
    if (except == m_job.except())
        return;
    // The row goes with the old plan: not before the list has ended telling of it.
    QTimer::singleShot(0, this, [this, except] { m_job.plan(except); });
}

const PlanChange *RepairView::currentChange() const
{
    const QTreeWidgetItem *const row = m_steps->currentItem();
    const QVariant ordinal = row ? row->data(StepText, changeRole) : QVariant();
    if (!ordinal.isValid() || !m_job.planned() || ordinal.toULongLong() >= m_job.planned()->changes.size())
        return nullptr;
    return &m_job.planned()->changes[size_t(ordinal.toULongLong())];
}

QString RepairView::bytesText() const
{
    const PlanChange *const change = currentChange();
    if (!change)
        return {};
    const QByteArray now = newBytes(m_job.planned()->plan, *change);
    QStringList lines{tr("Old bytes and new bytes; those that differ stand in brackets.")};
    const int shown = std::min(int(now.size()), mostBytes);
    for (int at = 0; at < shown; at += bytesInRow)
        lines.append(QStringLiteral("%1  %2 | %3")
                         .arg(change->piece.offset + quint64(at), 12)
                         .arg(hexRow(change->old, now, at), hexRow(now, change->old, at)));
    if (shown < int(now.size()))
        lines.append(tr("and %1 more bytes").arg(now.size() - shown));
    return lines.join(QLatin1Char('\n'));
}

} // namespace quenlofar
