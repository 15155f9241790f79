// What the window says of a file in short.
#include "mainwindow.h"

#include <QAction>
#include <QDialog>
#include <QFontDatabase>
#include <QMenu>
#include <QPlainTextEdit>
#include <QVBoxLayout>

namespace quenlofar {

void MainWindow::makeSummaryActions(QMenu *view)
{
    m_pageActions.push_back(addAction(view, "summary", tr("&Summary and streams"),
                                      QKeySequence::fromString(QStringLiteral("Ctrl+I")), &MainWindow::showSummary));
}

/// Opens a window beside this one with the summary of the current file, as it is known now.
void MainWindow::showSummary()
{
    FilePage *const page = currentPage();
    if (!page)
        return;
    auto *const dialog = new QDialog(page);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Summary of %1").arg(page->title()));
    auto *const text = new QPlainTextEdit(dialog);
    text->setObjectName(QStringLiteral("summaryText"));
    text->setAccessibleName(tr("Summary and streams"));
    text->setReadOnly(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text->setPlainText(tr("..."));
    auto *const layout = new QVBoxLayout(dialog);
    layout->addWidget(text);
    constexpr QSize size(760, 420);
    dialog->resize(size);
    connect(&page->summaryJob(), &SummaryJob::finished, text,
            [text, page] { text->setPlainText(page->summaryJob().text()); });
    page->summaryJob().start();
    dialog->show();
}

} // namespace quenlofar
