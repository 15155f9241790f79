#pragma once

#include "filepath.h"

#include <QFile>
#include <QFileDialog>
#include <QString>

#include <functional>

namespace quenlofar {

/// Asks people for a path and calls `chosen` with it, see pathFromBytes; does not wait for them. Files are asked for to
/// be written where there is a filter, otherwise a folder to be read.
inline void askForPath(QWidget *parent, const QString &title, const QString &filter,
                       const std::function<void(const QString &path)> &chosen)
{
    auto *const dialog = new QFileDialog(parent, title, QString(), filter);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(filter.isEmpty() ? QFileDialog::Directory : QFileDialog::AnyFile);
    dialog->setAcceptMode(filter.isEmpty() ? QFileDialog::AcceptOpen : QFileDialog::AcceptSave);
    QObject::connect(dialog, &QFileDialog::fileSelected, parent,
                     [chosen](const QString &path) { chosen(pathFromBytes(QFile::encodeName(path))); });
    dialog->open();
}

} // namespace quenlofar
