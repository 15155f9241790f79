#pragma once

#include "recipe.h"

#include <QByteArray>

#include <map>
#include <vector>

namespace quenlofar {

class ByteSource;

/**
 * Changes to a file that move none of its bytes, made one after the other: a later one may change what an earlier one
 * has put there, and bytes that were appended. A field that several steps change belongs to the first of them.
 */
class PatchSet
{
public:
    /// No changes to a file of `originalSize` bytes.
    explicit PatchSet(quint64 originalSize) : m_originalSize(originalSize) { }

    /// Bytes with the changes.
    quint64 size() const { return m_originalSize + quint64(m_tail.size()); }
    /// Replaces bytes, all of which are there. What `current`, which reads the file as it is so far, has there already
    /// is no change. False where it cannot be read.
    bool replace(quint64 offset, const QByteArray &bytes, quint32 step, ByteSource &current);
    /// Adds bytes behind the last one.
    void append(const QByteArray &bytes, quint32 step);

    /// As a recipe with these steps, which the numbers of steps are those of.
    Recipe recipe(const std::vector<RecipeStep> &steps) const;

private:
    struct Patch
    {
        QByteArray bytes;
        quint32 step;
    };
    struct Tail
    {
        int begin; // in m_tail
        quint32 step;
    };

    void put(quint64 offset, const QByteArray &bytes, quint32 step);

    quint64 m_originalSize;
    std::map<quint64, Patch> m_patches; // by offset, without overlaps
    QByteArray m_tail; // what follows the original
    std::vector<Tail> m_tails; // by place
};

} // namespace quenlofar
