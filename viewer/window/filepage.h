#pragma once

#include "analysistabs.h"
#include "document.h"
#include "hexview.h"
#include "overviewbar.h"
#include "structureview.h"

#include <QJsonObject>
#include <QWidget>

#include <vector>

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
    AnalysisTabs &analysis() { return m_analysis; } ///< its packets, their plot and its findings
    OverviewBar &overview() { return m_overview; } ///< all of it in one bar
    /// The views in the order in which the focus goes through them; of those that share a place the one in front.
    std::vector<QWidget *> views();
    bool follow(); ///< Goes where the current place points at; false where it points nowhere.
    QString elementText(quint64 offset) const; ///< the names of the elements around a byte, the innermost last
    QString title() const; ///< the file's name without its folders, fit to be shown
    QStringList messages() const; ///< what is wrong with the file, one sentence each
    QString statusText() const; ///< the current place in words
    QJsonObject state(); ///< what is shown, see docs/viewer.md

Q_SIGNALS:
    void statusChanged(); ///< statusText() may say something else

private:
    void showMessages();
    void arrangeAnalysis(QWidget *upper);
    QString linksText() const;

    Document m_document;
    StructureView m_structureView;
    HexView m_hexView;
    AnalysisTabs m_analysis;
    OverviewBar m_overview;
    QLabel *m_bar;
};

} // namespace quenlofar
