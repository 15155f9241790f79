#pragma once

#include "document.h"
#include "hexview.h"
#include "structureview.h"

#include <QJsonObject>
#include <QWidget>

class QLabel;

namespace quenlofar {

/// One open file in the window: its views, and a bar over them that says what is wrong with it.
class FilePage : public QWidget
{
    Q_OBJECT

public:
    /// Opens `path`.
    FilePage(const QString &path, const DocumentOptions &options, QWidget *parent = nullptr);

    Document &document() { return m_document; } ///< the file
    HexView &hexView() { return m_hexView; } ///< its bytes
    StructureView &structureView() { return m_structureView; } ///< its elements
    QString title() const; ///< the file's name without its folders, fit to be shown
    QStringList messages() const; ///< what is wrong with the file, one sentence each
    QString statusText() const; ///< the current place in words
    QJsonObject state() const; ///< what is shown, see docs/viewer.md

Q_SIGNALS:
    void statusChanged(); ///< statusText() may say something else

private:
    void showMessages();

    Document m_document;
    StructureView m_structureView;
    HexView m_hexView;
    QLabel *m_bar;
};

} // namespace quenlofar
