#include "planchange.h"

#include "bytesource.h"
#include "filedevice.h"
#include "findingpaths.h"

#include <QCryptographicHash>

#include <algorithm>
#include <memory>

namespace quenlofar {

QByteArray newBytes(const RepairPlan &plan, const PlanChange &change)
{
    return plan.recipe.newBytes().mid(int(change.piece.from), int(change.piece.size));
}

std::vector<PlanChange> changesOf(const RepairPlan &plan, const QString &path, const QVector<ParserFactory> &parsers,
                                  const SourceOpener &opener, ContainerRun &run)
{
    std::vector<PlanChange> changes;
    QString error;
    const std::unique_ptr<ByteSource> source = opener ? opener(path, &error) : openFileSource(path, &error);
    std::vector<ByteRange> places;
    const bool isMoved = !plan.recipe.movesNothing();
    for (const Recipe::Piece &piece : plan.recipe.pieces()) {
        if (!piece.isNew && !isMoved)
            continue;
        PlanChange change{piece, {}, {}};
        const bool isThere = !isMoved && piece.offset < plan.recipe.originalSize();
        if (source && isThere) {
            change.old.resize(int(piece.size));
            source->readAt(qint64(piece.offset), change.old.data(), change.old.size());
        }
        places.push_back({piece.offset, isThere ? piece.size : 0});
        changes.push_back(std::move(change));
    }
    // A name for each of a million entries of an index helps nobody.
    constexpr size_t mostNamed = 1000;
    if (changes.empty() || changes.size() > mostNamed || isMoved)
        return changes;
    PlacePaths paths(places);
    run.run(path, parsers, paths);
    for (size_t number = 0; number < changes.size(); ++number) {
        if (!changes[number].old.isEmpty())
            changes[number].path = paths.path(number);
    }
    return changes;
}

QByteArray digestOfOldBytes(const Recipe &recipe, ByteSource &original)
{
    constexpr quint64 pieceSize = quint64(1) << 16;
    QCryptographicHash digest(QCryptographicHash::Sha256);
    QByteArray bytes;
    for (const ByteRange &range : recipe.bytesNotCopied()) {
        for (quint64 done = 0; done < range.size; done += quint64(bytes.size())) {
            bytes.resize(int(std::min(pieceSize, range.size - done)));
            if (original.readAt(qint64(range.offset + done), bytes.data(), bytes.size()) != bytes.size())
                return {};
            digest.addData(bytes);
        }
    }
    return digest.result();
}

} // namespace quenlofar
