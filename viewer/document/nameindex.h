#pragma once

#include "elementtree.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <vector>

namespace quenlofar {

/**
 * Tells like-named children of one node apart in about constant time, for a node with more of them than a window may
 * look at before it answers. Names are those of paths, see pathName.
 *
 * Keeps for each block of children how many of a name came before it, for those names alone that the block has: at most
 * about 40 bytes for a child where each has a name of its own, and next to nothing where they have few names.
 */
class NameIndex
{
public:
    /// Nodes with fewer children need none.
    static constexpr quint32 fewestChildren = 4096;
    /// There is no child of that name and number.
    static constexpr quint32 none = ~quint32(0);

    /// Of the children of `node` from the child `skipped` on, which is row 0. `tree` is finished and outlives the
    /// object. May throw std::bad_alloc.
    NameIndex(const ElementTree &tree, ElementTree::Item node, quint32 skipped);

    ElementTree::Item node() const { return m_node; } ///< whose children they are
    /// How many children in rows before `row` have the name.
    quint32 countBefore(QStringView name, quint32 row) const;
    /// How many children have the name.
    quint32 count(QStringView name) const;
    /// The row of the child that has the name and `number` of its name before it; or none.
    quint32 row(QStringView name, quint32 number) const;
    /// The names that there are, in the order in which they first come, at most `most`.
    QStringList names(int most) const;

private:
    static constexpr quint32 rowsOfBlock = 1024;

    struct Name
    {
        quint32 row; // of the first child that has it
        quint32 hash;
        quint32 count; // of children
        quint32 begin; // of its entries
    };
    /// A block in which a name comes, and how many of that name come before.
    struct Entry
    {
        quint32 block;
        quint32 before;
    };

    ElementTree::Item childAt(quint32 row) const { return m_tree->child(m_node, row + m_skipped); }
    quint32 entryEnd(quint32 id) const
    {
        return id + 1 < m_names.size() ? m_names[id + 1].begin : quint32(m_entries.size());
    }
    quint32 find(QStringView name, quint32 hash, ElementTree::FieldReader *reader) const;
    quint32 find(QStringView name) const;
    quint32 add(quint32 row, quint32 hash);
    void place(quint32 id);

    const ElementTree *m_tree;
    ElementTree::Item m_node;
    quint32 m_skipped;
    quint32 m_rows;
    std::vector<Name> m_names;
    std::vector<quint32> m_slots; // open addressing: the number of a name and one, or 0
    std::vector<Entry> m_entries; // those of one name stand together
};

} // namespace quenlofar
