#include "findingsview.h"

#include "displaytext.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSplitter>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>
#include <tuple>

namespace quenlofar {

FindingsView::FindingsView(Document &document, QWidget *parent)
    : QWidget(parent), m_document(document), m_list(new QTreeView(this)), m_explanation(new QPlainTextEdit(this)),
      m_level(new QComboBox(this)), m_least(new QComboBox(this)), m_repairable(new QCheckBox(this)),
      m_repair(new QPushButton(tr("Plan a repair"), this)), m_status(new QLabel(this))
{
    m_list->setObjectName(QStringLiteral("findingsList"));
    m_list->setAccessibleName(tr("Findings"));
    m_list->header()->setAccessibleName(tr("Columns of findings"));
    m_list->verticalScrollBar()->setAccessibleName(tr("Rows of findings"));
    m_list->horizontalScrollBar()->setAccessibleName(tr("Columns of findings"));
    m_list->setModel(&m_model);
    m_list->setUniformRowHeights(true);
    m_list->setAlternatingRowColors(true);
    constexpr int charactersOfMessage = 60;
    m_list->setColumnWidth(FindingsModel::MessageColumn, fontMetrics().averageCharWidth() * charactersOfMessage);
    m_explanation->setObjectName(QStringLiteral("findingExplanation"));
    m_explanation->setAccessibleName(tr("Explanation of the finding"));
    m_explanation->setReadOnly(true);
    m_explanation->setTabChangesFocus(true);
    m_explanation->verticalScrollBar()->setAccessibleName(tr("Explanation"));
    m_explanation->horizontalScrollBar()->setAccessibleName(tr("Explanation"));
    m_level->setObjectName(QStringLiteral("checkLevel"));
    m_level->setAccessibleName(tr("Level of the check"));
    m_level->addItems({tr("Quick"), tr("Default"), tr("Deep")}); // in the order of Level
    m_level->setCurrentIndex(int(m_document.level()));
    m_least->setObjectName(QStringLiteral("leastSeverity"));
    m_least->setAccessibleName(tr("Least severity"));
    m_least->addItems({tr("All findings"), tr("Warnings and errors"), tr("Errors")}); // in the order of Severity
    m_repairable->setObjectName(QStringLiteral("repairable"));
    m_repairable->setText(tr("Can be repaired"));
    m_repairable->setAccessibleName(m_repairable->text());
    m_repair->setAccessibleName(m_repair->text());
    m_status->setObjectName(QStringLiteral("findingsStatus"));
    m_status->setTextFormat(Qt::PlainText);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long text makes no window wider

    auto *const bar = new QHBoxLayout;
    for (QWidget *const widget : std::initializer_list<QWidget *>{m_level, m_least, m_repairable, m_repair})
        bar->addWidget(widget);
    bar->addWidget(m_status, 1);
    auto *const splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setObjectName(QStringLiteral("findingsAndExplanation"));
    splitter->addWidget(m_list);
    splitter->addWidget(m_explanation);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    splitter->setChildrenCollapsible(false);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(splitter, 1);
    setFocusProxy(m_list);

    connect(m_level, QOverload<int>::of(&QComboBox::activated), this,
            [this](int level) { m_document.setLevel(Level(level)); });
    const auto choose = [this] { setFilter({Severity(m_least->currentIndex()), m_repairable->isChecked()}); };
    connect(m_least, QOverload<int>::of(&QComboBox::activated), this, choose);
    connect(m_repairable, &QCheckBox::clicked, this, choose);
    connect(m_repair, &QPushButton::clicked, this, &FindingsView::repairWanted);
    connect(m_list, &QTreeView::activated, this,
            [this](const QModelIndex &index) { m_document.setFinding(m_model.idOf(index), Move::Jump); });
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, &FindingsView::showExplanation);
    connect(&m_document, &Document::checkCame, this, &FindingsView::showCheck);
    connect(&m_document, &Document::levelChanged, this, [this] {
        m_level->setCurrentIndex(int(m_document.level()));
        showStatus();
    });
    connect(&m_document, &Document::placeChanged, this, &FindingsView::followPlace);
    connect(&m_document, &Document::placeResolved, this, &FindingsView::followPlace);
    showStatus();
}

void FindingsView::setFilter(const FindingsFilter &filter)
{
    const int current = currentFinding();
    m_least->setCurrentIndex(int(filter.least));
    m_repairable->setChecked(filter.isRepairable);
    m_model.setFilter(filter);
    m_list->expandAll();
    setCurrentFinding(current);
    showStatus();
}

void FindingsView::setOffsetsInHex(bool isHex)
{
    const int current = currentFinding();
    m_model.setOffsetsInHex(isHex);
    m_list->expandAll();
    setCurrentFinding(current);
}

void FindingsView::showCheck()
{
    m_model.setCheck(m_document.check());
    m_list->expandAll();
    showStatus();
    followPlace();
    showExplanation();
}

QString FindingsView::statusText() const
{
    if (m_document.isJudging() || !m_document.check())
        return m_document.isOpened() && !m_document.openError().isNull() ? QString() : tr("The file is being checked.");
    const FileCheck &check = *m_document.check();
    if (!m_document.analyzer())
        return tr("No plug-in has rules for this file.");
    QStringList parts{verdictText(check.verdict)};
    const QString counts = countsText(check.counts);
    if (!counts.isNull())
        parts.append(counts);
    if (m_model.shownCount() < int(m_model.findings().size()))
        parts.append(tr("%1 of %2 findings shown").arg(m_model.shownCount()).arg(m_model.findings().size()));
    if (check.result.cancelled)
        parts.append(tr("the check was stopped"));
    if (!check.notChecked.isEmpty())
        parts.append(tr("not checked: %1").arg(displayText(check.notChecked.join(QStringLiteral("; ")))));
    return parts.join(QStringLiteral(". "));
}

void FindingsView::showStatus()
{
    m_status->setText(statusText());
    m_status->setToolTip(m_status->text());
}

int FindingsView::currentFinding() const
{
    return m_model.idOf(m_list->currentIndex());
}

void FindingsView::setCurrentFinding(int id)
{
    const QModelIndex index = m_model.indexOf(id);
    if (index.isValid()) {
        m_list->setCurrentIndex(index);
        m_list->scrollTo(index);
    } else {
        m_list->selectionModel()->clear();
    }
    showExplanation();
}

QString FindingsView::explanation() const
{
    const int id = currentFinding();
    if (id == 0)
        return {};
    const JudgedFinding &finding = m_model.findings()[size_t(id) - 1];
    QStringList lines{displayText(finding.message)};
    const auto append = [&lines](const QString &name, const QString &text) {
        if (!text.isEmpty())
            lines.append(name + QStringLiteral(": ") + text);
    };
    append(tr("Expected"), displayText(finding.expected));
    append(tr("Found"), displayText(finding.actual));
    if (finding.confidence == Confidence::Likely)
        lines.append(tr("Another reading of these bytes is possible."));
    append(tr("Does not count"), displayText(finding.suppressed));
    if (finding.causedBy > 0)
        append(tr("Caused by"), displayText(m_model.findings()[size_t(finding.causedBy) - 1].message));
    if (const Rule *const rule = m_document.rule(finding.rule)) {
        lines.append(QString());
        append(tr("Rule"), finding.rule + QStringLiteral(": ") + rule->title.toString());
        append(tr("Why"), rule->reason.toString());
        append(tr("Who notices"), rule->affected.toString());
        append(tr("What to do"), rule->advice.toString());
        append(tr("Source"), rule->source.toString());
    }
    append(tr("Repair"),
           finding.repair == Repair::None ? tr("not possible or not needed") : repairText(finding.repair));
    return lines.join(QLatin1Char('\n'));
}

void FindingsView::showExplanation()
{
    m_explanation->setPlainText(explanation());
}

void FindingsView::followPlace()
{
    const int id = m_document.place().finding;
    if (id != currentFinding())
        setCurrentFinding(id);
}

void FindingsView::goToNext(bool isForward)
{
    // Findings are few: equal ones are counted.
    std::vector<std::tuple<quint64, int>> places;
    for (const JudgedFinding &finding : m_model.findings()) {
        if (!finding.places.empty() && m_model.indexOf(finding.id).isValid())
            places.emplace_back(finding.places.front().offset, finding.id);
    }
    std::sort(places.begin(), places.end());
    const Place &place = m_document.place();
    // A place that is no finding's stands before those that begin there.
    const std::tuple<quint64, int> here(place.range.offset, place.finding);
    const auto behind = isForward ? std::upper_bound(places.begin(), places.end(), here)
                                  : std::lower_bound(places.begin(), places.end(), here);
    if (isForward ? behind == places.end() : behind == places.begin())
        return;
    m_document.setFinding(std::get<1>(isForward ? *behind : *std::prev(behind)), Move::Jump);
}

} // namespace quenlofar
