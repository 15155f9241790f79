#pragma once

#include "document.h"
#include "errand.h"
#include "fileoverview.h"

#include <QWidget>

namespace quenlofar {

/// A bar of the whole file: the kinds of its bytes, below them what the bytes look like, the findings as ticks, the
/// bookmarks and the current place. Click, drag and arrow keys go there.
class OverviewBar : public QWidget
{
    Q_OBJECT

public:
    /// Shows `document`, which outlives the view.
    explicit OverviewBar(Document &document, QWidget *parent = nullptr);

    const OverviewCells &cells() const { return m_cells; } ///< into which the file is cut
    /// By cell; of a file that no analyzer takes, Header stands for fields. Empty before they are known.
    const std::vector<RegionKind> &kinds() const { return m_kinds; }
    const std::vector<ByteClass> &classes() const { return m_classes; } ///< by cell; empty before they are known
    std::vector<int> ticks() const; ///< cells with findings, each once, ascending
    void setBookmarks(std::vector<quint64> places); ///< marks these bytes
    /// "offset 1000 of 2000, video, dense" of the current place.
    QString placeText() const;
    quint64 offsetAt(int x) const; ///< the first byte at a column of pixels
    int xOf(quint64 offset) const; ///< the column of pixels of a byte

    QSize sizeHint() const override;

Q_SIGNALS:
    void placeTextChanged(); ///< placeText() says something else

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void findKinds();
    void findClasses();
    QString textOf(quint64 offset) const;

    Document &m_document;
    OverviewCells m_cells;
    std::vector<RegionKind> m_kinds;
    std::vector<ByteClass> m_classes;
    std::vector<quint64> m_bookmarks;
    Errand m_kindsErrand;
    Errand m_classesErrand;
    bool m_hasClasses = false; // they were asked for
};

} // namespace quenlofar
