#include "folderview.h"

#include "displaytext.h"
#include "filepath.h"
#include "tablesetup.h"

#include <QComboBox>
#include <QFile>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QSaveFile>
#include <QScrollBar>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quenlofar {

namespace {

/// The verdicts in the order of the list, behind "all".
constexpr Verdict verdicts[] = {Verdict::Damaged, Verdict::Warnings, Verdict::Unknown, Verdict::Conforms};

/// A field of a table in a file. Texts of files are fit to be shown, so they hold no tab and no line feed.
QString fieldText(QString text, QChar separator)
{
    if (separator == QLatin1Char('\t'))
        return text;
    // What a spreadsheet would take for a formula.
    if (!text.isEmpty() && QStringView(u"=+-@").contains(text.at(0)))
        text.prepend(QLatin1Char('\''));
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')))
        return text;
    text.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QByteArray lineOf(const FolderFile &file, QChar separator)
{
    QStringList cells;
    for (int column = 0; column < FolderModel::columns; ++column)
        cells.append(fieldText(folderCell(file, FolderColumn(column)), separator));
    return (cells.join(separator) + QLatin1Char('\n')).toUtf8();
}

bool writeTable(QSaveFile *file, const std::vector<FolderFile> &files, QChar separator,
                const std::atomic<bool> &isCancelled)
{
    if (!file->open(QIODevice::WriteOnly))
        return false;
    QStringList names;
    for (int column = 0; column < FolderModel::columns; ++column)
        names.append(FolderModel::columnName(FolderColumn(column)));
    QByteArray bytes = (names.join(separator) + QLatin1Char('\n')).toUtf8();
    constexpr int mostBytes = 1 << 16;
    for (const FolderFile &each : files) {
        bytes += lineOf(each, separator);
        if (int(bytes.size()) < mostBytes)
            continue;
        if (isCancelled || file->write(bytes) != bytes.size())
            return false;
        bytes.clear();
    }
    return file->write(bytes) == bytes.size() && file->commit();
}

} // namespace

FolderView::FolderView(const QString &folder, const DocumentOptions &options, QWidget *parent)
    : QWidget(parent), m_scan(folder, options), m_model(m_scan), m_table(new QTableView(this)),
      m_name(new QLineEdit(this)), m_verdict(new QComboBox(this)), m_stop(new QToolButton(this)),
      m_status(new QLabel(this))
{
    arrange();
    connect(m_name, &QLineEdit::textChanged, this, [this](const QString &text) {
        FolderQuery query = m_model.query();
        query.name = text;
        m_model.setQuery(query);
    });
    connect(m_verdict, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this](int row) {
        FolderQuery query = m_model.query();
        query.verdict = row == 0 ? std::optional<Verdict>() : verdicts[row - 1];
        m_model.setQuery(query);
    });
    connect(m_table->horizontalHeader(), &QHeaderView::sectionClicked, this, [this](int section) {
        const FolderQuery &query = m_model.query();
        setSorting(FolderColumn(section), int(query.column) == section && !query.isDescending);
    });
    connect(m_stop, &QToolButton::clicked, this, &FolderView::stop);
    connect(m_table, &QTableView::activated, this,
            [this](const QModelIndex &index) { Q_EMIT openWanted(m_model.file(index.row()).path); });
    connect(m_table->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &current) {
                if (current.isValid())
                    m_current = m_model.file(current.row()).path;
            });
    connect(&m_model, &FolderModel::modelReset, this, &FolderView::keepCurrent);
    connect(&m_model, &FolderModel::ordered, this, &FolderView::showStatus);
    connect(&m_scan, &FolderScan::changed, this, &FolderView::showStatus);
    connect(&m_exporting, &Errand::ended, this, &FolderView::showStatus);
    showStatus();
}

void FolderView::arrange()
{
    m_name->setObjectName(QStringLiteral("folderFilter"));
    m_name->setAccessibleName(tr("Name of files"));
    m_name->setPlaceholderText(tr("part of the name, or a pattern with * and ?"));
    m_name->setClearButtonEnabled(true);
    m_verdict->setObjectName(QStringLiteral("folderVerdict"));
    m_verdict->setAccessibleName(tr("Verdict of files"));
    m_verdict->addItem(tr("All files"));
    for (const Verdict verdict : verdicts)
        m_verdict->addItem(verdictText(verdict));
    m_stop->setObjectName(QStringLiteral("stopFolder"));
    m_stop->setText(tr("Stop"));
    m_status->setObjectName(QStringLiteral("folderStatus"));
    m_status->setTextFormat(Qt::PlainText);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long text makes no window wider
    m_table->setObjectName(QStringLiteral("folderTable"));
    setUpTable(*m_table, tr("Files of the folder"), tr("Rows of files"), tr("Columns of files"));
    m_table->setModel(&m_model);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    QHeaderView *const header = m_table->horizontalHeader();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(int(FolderColumn::Name), Qt::AscendingOrder);
    constexpr int charactersOfName = 50;
    header->resizeSection(int(FolderColumn::Name), fontMetrics().averageCharWidth() * charactersOfName);
    auto *const bar = new QHBoxLayout;
    bar->addWidget(m_name, 1);
    bar->addWidget(m_verdict);
    bar->addWidget(m_stop);
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_status);
    setFocusProxy(m_table);
}

QString FolderView::title() const
{
    QString path = m_scan.folder();
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    return displayText(QString::fromUtf8(pathForDisplay(name.isEmpty() ? path : name)));
}

/// Rows are other ones: the current file stays current where it is still shown.
void FolderView::keepCurrent()
{
    const int row = m_current.isEmpty() ? -1 : m_model.rowOf(m_current);
    if (row < 0)
        return;
    m_table->setCurrentIndex(m_model.index(row, 0));
}

QString FolderView::statusText() const
{
    const size_t count = m_scan.files().size();
    QStringList parts;
    if (m_model.rowCount() < int(count))
        parts.append(tr("%1 of %2 files").arg(m_model.rowCount()).arg(count));
    else
        parts.append(count == 1 ? tr("1 file") : tr("%1 files").arg(count));
    if (!m_scan.isListed() && !m_scan.isStopped())
        parts.append(tr("looking for more"));
    if (m_scan.isStopped())
        parts.append(tr("stopped, %1 were read").arg(m_scan.readCount()));
    else if (m_scan.readCount() < count)
        parts.append(tr("%1 were read").arg(m_scan.readCount()));
    if (m_scan.isCut())
        parts.append(tr("more are not listed"));
    if (m_scan.problemCount() > 0)
        parts.append(
            m_scan.problemCount() == 1
                ? m_scan.problems().first()
                : tr("%1, and %2 more problems").arg(m_scan.problems().first()).arg(m_scan.problemCount() - 1));
    if (!m_message.isEmpty())
        parts.append(m_message);
    return parts.join(QStringLiteral("; "));
}

void FolderView::showStatus()
{
    m_status->setText(statusText());
    m_status->setToolTip(m_scan.problems().mid(0, 20).join(QLatin1Char('\n')));
    m_stop->setEnabled(!m_scan.isDone());
    Q_EMIT statusChanged();
}

std::vector<QWidget *> FolderView::views()
{
    return {m_table, m_name, m_verdict};
}

bool FolderView::isIdle() const
{
    return m_scan.isDone() && m_model.isOrdered() && !m_exporting.isRunning();
}

void FolderView::setNameFilter(const QString &text)
{
    m_name->setText(text);
}

bool FolderView::setVerdictFilter(const QString &verdict)
{
    const auto found = std::find_if(std::begin(verdicts), std::end(verdicts),
                                    [&](Verdict each) { return verdictText(each) == verdict; });
    const bool isAll = verdict == QLatin1String("all");
    if (!isAll && found == std::end(verdicts))
        return false;
    m_verdict->setCurrentIndex(isAll ? 0 : int(found - std::begin(verdicts)) + 1);
    return true;
}

void FolderView::setSorting(FolderColumn column, bool isDescending)
{
    m_table->horizontalHeader()->setSortIndicator(int(column), isDescending ? Qt::DescendingOrder : Qt::AscendingOrder);
    FolderQuery query = m_model.query();
    query.column = column;
    query.isDescending = isDescending;
    m_model.setQuery(query);
}

void FolderView::openCurrent()
{
    const QModelIndex current = m_table->currentIndex();
    if (current.isValid())
        Q_EMIT openWanted(m_model.file(current.row()).path);
}

bool FolderView::exportTo(const QString &path, QString *error)
{
    const bool isCsv = path.endsWith(QLatin1String(".csv"), Qt::CaseInsensitive);
    if (!isCsv && !path.endsWith(QLatin1String(".tsv"), Qt::CaseInsensitive)) {
        *error = tr("The table can be exported to .csv and .tsv.");
        return false;
    }
    m_message.clear();
    m_exporting.start(
        [this, path, isCsv, files = m_model.filesInOrder()](const std::atomic<bool> &isCancelled) -> Errand::Delivery {
            QSaveFile file(QFile::decodeName(pathToBytes(path)));
            const bool isWritten = writeTable(&file, files, QLatin1Char(isCsv ? ',' : '\t'), isCancelled);
            const QString shown = QString::fromUtf8(pathForDisplay(path));
            return [this,
                    message = isWritten
                        ? tr("written to %1").arg(shown)
                        : tr("%1 cannot be written: %2").arg(shown, file.errorString())] { m_message = message; };
        });
    return true;
}

QStringList FolderView::rowsInSight() const
{
    QStringList rows;
    const int first = m_table->rowAt(0);
    const int behind = m_table->rowAt(m_table->viewport()->height() - 1);
    const int last = behind < 0 ? m_model.rowCount() - 1 : behind;
    for (int row = first; row >= 0 && row <= last; ++row) {
        QStringList cells;
        for (int column = 0; column < FolderModel::columns; ++column)
            cells.append(folderCell(m_model.file(row), FolderColumn(column)));
        rows.append(cells.join(QLatin1Char('\t')));
    }
    return rows;
}

} // namespace quenlofar
