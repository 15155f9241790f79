#pragma once

#include "recipe.h"

#include <QByteArray>

#include <map>
#include <vector>

namespace quenlofar {

class ByteSource;
struct FileLayout;

/**
 * Changes to a file, made one after the other: a later one may change what an earlier one has put there, and bytes that
 * were appended. Bytes stay where they are until the file is rearranged. A field that several steps change belongs to
 * the first of them.
 */
class PatchSet
{
public:
    /// No changes to a file of `originalSize` bytes.
    explicit PatchSet(quint64 originalSize);

    /// Bytes with the changes.
    quint64 size() const { return m_size; }
    /// Replaces bytes, all of which are there. What `current`, which reads the file as it is so far, has there already
    /// is no change. False where it cannot be read.
    bool replace(quint64 offset, const QByteArray &bytes, quint32 step, ByteSource &current);
    /// Adds bytes behind the last one.
    void append(const QByteArray &bytes, quint32 step);
    /// Puts the file as it is so far together anew. False, and nothing happens, where `layout` copies what is not
    /// there.
    bool rearrange(const FileLayout &layout, quint32 step);

    /// As a recipe with these steps, which the numbers of steps are those of.
    Recipe recipe(const std::vector<RecipeStep> &steps) const;

private:
    struct Piece
    {
        quint64 size;
        quint64 from; // in the original, or in m_newBytes
        quint32 step; // Recipe::noStep for bytes of the original
        bool isNew;
    };
    using Pieces = std::map<quint64, Piece>; // by offset, side by side

    void put(quint64 offset, const QByteArray &bytes, quint32 step);
    void split(quint64 offset);
    quint64 keep(const QByteArray &bytes);
    void addRemoved(const ByteRange &range, std::vector<ByteRange> *ranges) const;

    quint64 m_originalSize;
    quint64 m_size;
    Pieces m_pieces;
    QByteArray m_newBytes;
    quint32 m_rearranging = Recipe::noStep; // the latest step that moved bytes
    std::vector<ByteRange> m_superseded; // of the original
    std::vector<ByteRange> m_dropped; // of the original
};

} // namespace quenlofar
