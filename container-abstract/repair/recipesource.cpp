#include "recipesource.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace quenlofar {

RecipeSource::RecipeSource(const Recipe &recipe, std::unique_ptr<ByteSource> original)
    : m_pieces(recipe.pieces()), m_newBytes(recipe.newBytes()), m_original(std::move(original))
{
}

RecipeSource::~RecipeSource() = default;

qint64 RecipeSource::size() const
{
    return m_pieces.empty() ? 0 : qint64(m_pieces.back().end());
}

/// The piece with the byte at `position`; null at the end of the file and behind it.
const Recipe::Piece *RecipeSource::pieceAt(quint64 position) const
{
    const auto found = std::partition_point(m_pieces.begin(), m_pieces.end(),
                                            [position](const Recipe::Piece &piece) { return piece.end() <= position; });
    return found == m_pieces.end() ? nullptr : &*found;
}

qint64 RecipeSource::readAt(qint64 position, char *data, qint64 maxSize)
{
    const Recipe::Piece *piece = position < 0 ? nullptr : pieceAt(quint64(position));
    qint64 done = 0;
    for (; piece && piece != m_pieces.data() + m_pieces.size() && done < maxSize; ++piece) {
        const quint64 inPiece = quint64(position + done) - piece->offset;
        const qint64 count = std::min(maxSize - done, qint64(piece->size - inPiece));
        const auto from = qint64(piece->from + inPiece);
        if (piece->isNew) {
            std::memcpy(data + done, m_newBytes.constData() + from, size_t(count));
            done += count;
            continue;
        }
        const qint64 came = m_original->readAt(from, data + done, count);
        if (came < 0)
            return done > 0 ? done : came; // the next read tells the error
        done += came;
        if (came < count)
            break;
    }
    return done;
}

QString RecipeSource::errorText() const
{
    return m_original->errorText();
}

qint64 RecipeSource::holeEnd(qint64 position)
{
    const Recipe::Piece *const piece = position < 0 ? nullptr : pieceAt(quint64(position));
    if (!piece || piece->isNew)
        return position;
    const auto from = qint64(piece->from + (quint64(position) - piece->offset));
    const qint64 end = std::min(m_original->holeEnd(from), qint64(piece->from + piece->size));
    return position + (end - from);
}

} // namespace quenlofar
