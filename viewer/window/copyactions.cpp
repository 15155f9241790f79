// What the window copies from its files, to the clipboard and to other files.
#include "mainwindow.h"

#include "filepath.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>

namespace quenlofar {

namespace {

/// What the actions "copy" and "export" call a form.
struct FormName
{
    CopyRequest::Form form;
    const char *name;
};
constexpr FormName formNames[] = {
    {CopyRequest::Form::HexDump, "hex"}, {CopyRequest::Form::CArray, "c"},  {CopyRequest::Form::Base64, "base64"},
    {CopyRequest::Form::Raw, "bytes"},   {CopyRequest::Form::Json, "json"},
};

const FormName *formNamed(const QString &name)
{
    for (const FormName &each : formNames) {
        if (name == QLatin1String(each.name))
            return &each;
    }
    return nullptr;
}

} // namespace

void MainWindow::makeCopyActions()
{
    const auto keys = [](const char *text) { return QKeySequence::fromString(QString::fromLatin1(text)); };
    m_editMenu = menuBar()->addMenu(tr("&Edit"));
    struct CopyAction
    {
        const char *name; // of the action and what it copies
        QString text;
        const char *key;
    };
    const CopyAction actions[] = {{"copy-value", tr("Copy &value"), "Ctrl+C"},
                                  {"copy-path", tr("Copy &path"), "Ctrl+Shift+C"},
                                  {"copy-command", tr("Copy &command that shows the place"), "Ctrl+Alt+C"},
                                  {"copy-hex", tr("Copy bytes as &hex dump"), "Ctrl+Alt+H"},
                                  {"copy-c", tr("Copy bytes as C &array"), "Ctrl+Alt+A"},
                                  {"copy-base64", tr("Copy bytes as &Base64"), "Ctrl+Alt+B"},
                                  {"copy-json", tr("Copy element as &JSON"), "Ctrl+Alt+J"},
                                  {"export-bytes", tr("&Export bytes..."), "Ctrl+Shift+S"},
                                  {"export-json", tr("E&xport element as JSON..."), "Ctrl+Alt+S"}};
    for (const CopyAction &each : actions) {
        auto *const action = new QAction(each.text, this);
        const QString name = QString::fromLatin1(each.name);
        action->setObjectName(name);
        action->setShortcut(keys(each.key));
        connect(action, &QAction::triggered, this, [this, name] {
            const QString what = name.mid(name.indexOf(QLatin1Char('-')) + 1);
            QString error;
            const bool isDone =
                name.startsWith(QLatin1String("copy")) ? copy(what, &error) : exportByDialog(what, &error);
            if (!isDone && !error.isEmpty())
                statusBar()->showMessage(error);
        });
        m_editMenu->addAction(action);
        m_pageActions.push_back(action);
    }
}

void MainWindow::attachCopying(FilePage *page)
{
    connect(&page->copyJob(), &CopyJob::finished, this, [this, page] {
        const CopyJob &job = page->copyJob();
        updateActions();
        if (!job.error().isNull()) {
            statusBar()->showMessage(job.target().isEmpty() ? tr("Not copied: %1.").arg(job.error())
                                                            : tr("Not exported: %1.").arg(job.error()));
        } else if (job.target().isEmpty()) {
            QApplication::clipboard()->setText(QString::fromUtf8(job.result()));
            statusBar()->showMessage(tr("%1 characters copied.").arg(job.size()));
        } else {
            statusBar()->showMessage(
                tr("%1 bytes written to %2.").arg(job.size()).arg(QString::fromUtf8(pathForDisplay(job.target()))));
        }
    });
}

/// Copies "value", "path" or "command" of the current place, or starts to copy one of the forms.
bool MainWindow::copy(const QString &what, QString *error)
{
    FilePage *const page = currentPage();
    if (!page) {
        *error = tr("No file is open.");
        return false;
    }
    const Document &document = page->document();
    const Place &place = document.place();
    if (const FormName *const form = formNamed(what); form && form->form != CopyRequest::Form::Raw) {
        page->copyJob().start({form->form, place.range, place.item}, {});
        updateActions();
        return true;
    }
    QString text;
    if (what == QLatin1String("value"))
        text = document.tree().value(place.item);
    else if (what == QLatin1String("path"))
        text = document.tree().path(place.item);
    else if (what == QLatin1String("command"))
        text = QStringLiteral("quenlofar at %1 %2").arg(shellWord(document.path())).arg(place.range.offset);
    else {
        *error = tr("\"%1\" cannot be copied.").arg(what);
        return false;
    }
    QApplication::clipboard()->setText(text);
    statusBar()->showMessage(text.isEmpty() ? tr("There is nothing to copy here.")
                                            : tr("Copied: %1").arg(text.left(100)));
    return true;
}

bool MainWindow::exportTo(const QString &what, const QString &target, QString *error)
{
    FilePage *const page = currentPage();
    const FormName *const form = formNamed(what);
    if (!page)
        *error = tr("No file is open.");
    else if (!form || target.isEmpty())
        *error = tr("\"%1\" cannot be exported.").arg(what);
    else {
        page->copyJob().start({form->form, page->document().place().range, page->document().place().item}, target);
        updateActions();
        return true;
    }
    return false;
}

bool MainWindow::exportByDialog(const QString &what, QString *error)
{
    const QString target = QFileDialog::getSaveFileName(this, tr("Export"));
    return !target.isEmpty() && exportTo(what, pathFromBytes(QFile::encodeName(target)), error);
}

/// "copy=WHAT" and "export=FORM:FILE"; nothing where the action is another one.
std::optional<bool> MainWindow::performCopy(const QString &name, const QString &value, QString *error)
{
    if (name == QLatin1String("copy"))
        return copy(value, error);
    if (name != QLatin1String("export"))
        return std::nullopt;
    const int colon = int(value.indexOf(QLatin1Char(':')));
    return exportTo(value.left(colon), colon < 0 ? QString() : value.mid(colon + 1), error);
}

} // namespace quenlofar
