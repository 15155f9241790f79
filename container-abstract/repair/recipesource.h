#pragma once

#include "bytesource.h"
#include "recipe.h"

#include <memory>
#include <vector>

namespace quenlofar {

/**
 * The file that a recipe describes, read from the original and the new bytes without being written: any position in
 * time logarithmic in the number of pieces.
 */
class CONTAINERABSTRACT_EXPORT RecipeSource final : public ByteSource
{
public:
    /// `recipe` has no conflict() and is for `original`, whose size has not changed. Keeps a copy of the new bytes,
    /// which is shared.
    RecipeSource(const Recipe &recipe, std::unique_ptr<ByteSource> original);
    ~RecipeSource() override;

    /// Bytes of the new file.
    qint64 size() const override;
    /// Fails where the original does.
    qint64 readAt(qint64 position, char *data, qint64 maxSize) override;
    /// What the original says.
    QString errorText() const override;
    /// Of holes of the original, the parts that were copied; new bytes are none.
    qint64 holeEnd(qint64 position) override;

private:
    const Recipe::Piece *pieceAt(quint64 position) const;

    const std::vector<Recipe::Piece> m_pieces;
    const QByteArray m_newBytes;
    const std::unique_ptr<ByteSource> m_original;
};

} // namespace quenlofar
