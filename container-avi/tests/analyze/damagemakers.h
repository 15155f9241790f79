#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace quenlofar {

/// Damages of all kinds, one at a time, for any AVI file: so that each is found, and its cause told first.
namespace damage {

/// A list or chunk where its size says that it is. Made by following sizes and nothing else: files that are still
/// whole need no more.
struct Piece
{
    int offset = 0; ///< of its id
    QByteArray id;
    quint32 size = 0; ///< as stated
    QByteArray form; ///< of lists
    int parent = -1; ///< ordinal in File::pieces; -1 at the top

    int data() const { return offset + 8; } ///< where its data begins, or its form type
    int end() const { return offset + 8 + int(size); } ///< behind the last byte, padding not counted
    int next() const { return end() + int(size % 2); } ///< where the next one begins
};

/// A whole file, and where everything is in it.
class File
{
public:
    explicit File(const QByteArray &bytes);

    QByteArray bytes;
    std::vector<Piece> pieces; ///< parents first, in the order of the file
    std::vector<Piece> chunks; ///< the data chunks of all `movi`

    /// The piece number `number` of this id, of lists of this form; null where there are fewer.
    const Piece *find(const char *idOrForm, int number = 0) const;
    /// The `strl` child with this id, of the first stream of a type ("vids"); null where there is none.
    const Piece *ofStream(const char *type, const char *id) const;
    /// The data chunk at this share of them, from 0 to 1; null without chunks.
    const Piece *chunkAt(double share) const;
    /// A data chunk of odd size, or of even; null where there is none that others follow.
    const Piece *oddChunk() const;
    const Piece *evenChunk() const;

    quint32 number(int at) const; ///< the four bytes there
    quint16 half(int at) const; ///< the two bytes there

    /// The file with other bytes in the place of those that stand there.
    QByteArray with(int at, const QByteArray &other) const;
    QByteArray withNumber(int at, quint32 number) const; ///< the file with a number at `at`
    QByteArray withHalf(int at, quint16 number) const; ///< the file with a number of two bytes at `at`
    /// The file with `count` bytes at `at` replaced by others, of any number, and no size corrected.
    QByteArray spliced(int at, int count, const QByteArray &other) const;
    /// The file with bytes replaced inside of `owner`, the sizes of it and of the lists around it corrected. Offsets in
    /// indexes stay: for changes behind everything that they point at.
    QByteArray resized(const Piece &owner, int at, int count, const QByteArray &other) const;

    /// Entries of idx1.
    int entryCount() const;
    int entryAt(int entry) const; ///< where an entry stands
    /// The number of the first entry whose id begins so ("00"), from `first` on; -1 where there is none.
    int findEntry(const char *idBegin, int first = 0) const;
    /// The two digits of the first stream of a type ("vids"); empty where there is none.
    QByteArray digitsOf(const char *type) const;
    /// Offsets of idx1 count from `movi`, and nothing else is absolute: bytes may move with the whole list.
    bool isMovable() const;

private:
    void walk(int begin, int end, int parent);
};

/// One damage.
struct Damage
{
    const char *name; ///< what happened
    const char *rule; ///< the rule whose finding has to be among those without a cause
    /// The damaged file; empty where this file does not have what is damaged.
    QByteArray (*make)(const File &file);
};

/// Of sizes, lists, and bytes between chunks.
std::vector<Damage> structureDamages();
/// Of numbers in headers and formats.
std::vector<Damage> headerDamages();
/// Of idx1 and the OpenDML indexes.
std::vector<Damage> indexDamages();

} // namespace damage

} // namespace quenlofar
