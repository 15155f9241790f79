#pragma once

#include "byterange.h"
#include "containerabstract_export.h"
#include "rule.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

namespace quenlofar {

/// One thing that a recipe does, for findings of one kind.
struct RecipeStep
{
    QStringList rules; ///< whose findings it clears
    std::vector<quint32> findings; ///< their ids, from 1
    Repair repair = Repair::Patch; ///< what it takes: bytes of equal length, bytes at the end, or moved bytes
    QString reason; ///< a sentence for people
};

/**
 * How a new file comes from an original: edits in places of the original, each of which belongs to a step, and the
 * pieces that follow from them. Bytes that no edit names are copied.
 *
 * Memory is that of the new bytes and about 40 bytes an edit; a copied range takes none of its own. Calls may throw
 * std::bad_alloc; the recipe is then as it was.
 */
class CONTAINERABSTRACT_EXPORT Recipe
{
public:
    /// A stretch of the new file.
    struct Piece
    {
        quint64 offset; ///< in the new file
        quint64 size; ///< bytes, never 0
        quint64 from; ///< of copied bytes: their offset in the original; of new ones: in newBytes()
        quint32 step; ///< what put it there; noStep for bytes that follow one another as in the original
        bool isNew; ///< the bytes stand in newBytes()

        /// The first byte behind it in the new file.
        quint64 end() const { return offset + size; }
    };
    /// The step of bytes that no step put where they are.
    static constexpr quint32 noStep = 0xFFFFFFFF;
    /// Why bytes of the original are left out at their place.
    enum class Removal : quint8 {
        Moved, ///< copy() has put them elsewhere
        Superseded, ///< new bytes say what they said: sizes, headers and indexes that were made anew
        AskedFor, ///< an option names them
    };

    /// A copy of an original of `originalSize` bytes.
    explicit Recipe(quint64 originalSize = 0);

    quint64 originalSize() const { return m_originalSize; } ///< bytes

    /// A step for the edits that follow; returns its number, from 0.
    quint32 addStep(const RecipeStep &step);
    const std::vector<RecipeStep> &steps() const { return m_steps; } ///< by their numbers

    // Edits. Places are those of the original; of several edits at one place, the one that came first stands first.

    /// Replaces bytes by others of the same length, at least one, inside of the original.
    void replace(quint64 offset, const QByteArray &bytes, quint32 step);
    /// Puts new bytes in front of the byte at `offset`; at the end where that is the original's size. Empty ones are no
    /// edit.
    void insert(quint64 offset, const QByteArray &bytes, quint32 step);
    /// Copies bytes of the original in front of the byte at `offset`, too. They stay where they are, unless remove()
    /// names them as well: both together move them.
    void copy(const ByteRange &range, quint64 offset, quint32 step);
    /// Leaves bytes of the original out at their place.
    void remove(const ByteRange &range, quint32 step, Removal why = Removal::Moved);

    /// What the edits do to one another that they must not, in words: ranges that are replaced or removed twice, or
    /// reach out of the original. Null where all is well; pieces() and what builds on them need that.
    QString conflict() const;
    /// The pieces of the new file, in its order, side by side from its first byte on.
    std::vector<Piece> pieces() const;
    /// The bytes of all new pieces.
    const QByteArray &newBytes() const { return m_newBytes; }
    /// Bytes of the new file.
    quint64 newSize() const;
    /// True when bytes of the original keep their offsets: only bytes of equal length and bytes at the end are new.
    bool movesNothing() const;
    /**
     * Bytes of the original that are in no piece and were neither replaced nor superseded, in order: what the new file
     * would lose. Bytes that an option names are not among them. Empty for every recipe that may be carried out.
     */
    std::vector<ByteRange> lostBytes() const;
    /// Bytes that were left out for this reason, in order.
    std::vector<ByteRange> removed(Removal why) const;
    /// Bytes of the original that no piece copies, in order: those that were replaced, superseded or dropped.
    std::vector<ByteRange> bytesNotCopied() const;

private:
    /// What happens in front of, or from, the byte at `at` of the original.
    struct Edit
    {
        quint64 at;
        quint64 removed; // bytes from there on that are not copied
        quint64 from; // of what is put there, as in Piece
        quint64 added; // bytes that are put there
        quint32 step;
        bool isNew;
        Removal why = Removal::Moved; // where bytes are removed and none put there
    };

    quint64 keep(const QByteArray &bytes);
    std::vector<Edit> ordered() const;
    std::vector<ByteRange> copies() const;

    quint64 m_originalSize;
    std::vector<RecipeStep> m_steps;
    std::vector<Edit> m_edits; // in the order in which they came
    QByteArray m_newBytes;
};

} // namespace quenlofar
