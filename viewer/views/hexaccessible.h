#pragma once

#include <QAccessibleWidget>

#include <vector>

namespace quenlofar {

class HexView;

/**
 * The hex view for screen readers: a list whose items are the rows that are shown, because a file may have more rows
 * than accessible children can be counted. Its value is the byte under the cursor: offset, value, element. The name of
 * an item is the offset of its row, its value the bytes, its description the elements that they belong to.
 */
class HexAccessible : public QAccessibleWidget
{
public:
    /// For `view`, which is a HexView.
    explicit HexAccessible(HexView *view);
    ~HexAccessible() override;

    /// Makes the accessible interfaces of hex views known to Qt; once.
    static void install();

    int childCount() const override;
    QAccessibleInterface *child(int index) const override;
    int indexOfChild(const QAccessibleInterface *child) const override;
    QAccessibleInterface *childAt(int x, int y) const override;
    QAccessibleInterface *focusChild() const override;
    QString text(QAccessible::Text text) const override;

private:
    HexView *view() const;

    mutable std::vector<QAccessible::Id> m_rows; // interfaces that were asked for, by place in the view; 0: none
};

} // namespace quenlofar
