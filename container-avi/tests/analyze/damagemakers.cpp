#include "damagemakers.h"

#include "avibuilder.h"

#include <QtEndian>

#include <algorithm>

namespace quenlofar {

namespace damage {

using build::chunk;
using build::u16;
using build::u32;
using build::zeros;

File::File(const QByteArray &whole) : bytes(whole)
{
    walk(0, int(bytes.size()), -1);
    const auto isData = [](const Piece &piece) {
        static const char *const letters[] = {"dc", "db", "wb", "pc", "tx", "sb", "__"};
        const QByteArray digits = piece.id.left(2);
        return digits >= "00" && digits <= "99"
            && std::any_of(std::begin(letters), std::end(letters),
                           [&piece](const char *each) { return piece.id.mid(2) == each; });
    };
    std::copy_if(pieces.begin(), pieces.end(), std::back_inserter(chunks), isData);
}

/// Lists within lists are three deep at most, `rec ` lists included.
void File::walk(int begin, int end, int parent)
{
    for (int at = begin; at + 8 <= end;) {
        Piece piece;
        piece.offset = at;
        piece.id = bytes.mid(at, 4);
        piece.size = number(at + 4);
        piece.parent = parent;
        const bool isList = piece.id == "RIFF" || piece.id == "LIST";
        if (isList)
            piece.form = bytes.mid(at + 8, 4);
        pieces.push_back(piece);
        if (isList)
            walk(at + 12, std::min(piece.end(), end), int(pieces.size()) - 1);
        at = piece.next();
    }
}

const Piece *File::find(const char *idOrForm, int wanted) const
{
    for (const Piece &piece : pieces) {
        if ((piece.form.isEmpty() ? piece.id : piece.form) == idOrForm && wanted-- == 0)
            return &piece;
    }
    return nullptr;
}

const Piece *File::ofStream(const char *type, const char *id) const
{
    for (int stream = 0; const Piece *const strl = find("strl", stream); ++stream) {
        const Piece *header = nullptr;
        const Piece *wanted = nullptr;
        for (const Piece &piece : pieces) {
            if (piece.parent < 0 || &pieces[size_t(piece.parent)] != strl)
                continue;
            header = piece.id == "strh" ? &piece : header;
            wanted = piece.id == id ? &piece : wanted;
        }
        if (header && bytes.mid(header->data(), 4) == type)
            return wanted;
    }
    return nullptr;
}

const Piece *File::chunkAt(double share) const
{
    return chunks.empty() ? nullptr : &chunks[size_t(share * double(chunks.size() - 1))];
}

const Piece *File::oddChunk() const
{
    for (size_t number = 0; number + 4 < chunks.size(); ++number) {
        if (chunks[number].size % 2 != 0 && chunks[number + 1].offset == chunks[number].next())
            return &chunks[number];
    }
    return nullptr;
}

const Piece *File::evenChunk() const
{
    for (size_t number = 1; number + 4 < chunks.size(); ++number) {
        if (chunks[number].size % 2 == 0 && chunks[number].size >= 6
            && chunks[number + 1].offset == chunks[number].next())
            return &chunks[number];
    }
    return nullptr;
}

quint32 File::number(int at) const
{
    return at + 4 <= bytes.size() ? qFromLittleEndian<quint32>(bytes.constData() + at) : 0;
}

quint16 File::half(int at) const
{
    return at + 2 <= bytes.size() ? qFromLittleEndian<quint16>(bytes.constData() + at) : quint16(0);
}

QByteArray File::with(int at, const QByteArray &other) const
{
    return spliced(at, int(other.size()), other);
}

QByteArray File::withNumber(int at, quint32 number) const
{
    return with(at, u32(number));
}

QByteArray File::withHalf(int at, quint16 number) const
{
    return with(at, u16(number));
}

QByteArray File::spliced(int at, int count, const QByteArray &other) const
{
    return QByteArray(bytes).replace(at, count, other);
}

QByteArray File::resized(const Piece &owner, int at, int count, const QByteArray &other) const
{
    QByteArray result = bytes;
    const int difference = int(other.size()) - count;
    const Piece *around = &owner;
    while (true) {
        result.replace(around->offset + 4, 4, u32(quint32(int(around->size) + difference)));
        if (around->parent < 0)
            break;
        around = &pieces[size_t(around->parent)];
    }
    return result.replace(at, count, other);
}

int File::entryCount() const
{
    const Piece *const index = find("idx1");
    return index ? int(index->size) / 16 : 0;
}

int File::entryAt(int entry) const
{
    return find("idx1")->data() + 16 * entry;
}

int File::findEntry(const char *idBegin, int first) const
{
    for (int entry = first; entry < entryCount(); ++entry) {
        if (bytes.mid(entryAt(entry), 4).startsWith(idBegin))
            return entry;
    }
    return -1;
}

QByteArray File::digitsOf(const char *type) const
{
    for (int stream = 0; const Piece *const header = find("strh", stream); ++stream) {
        if (bytes.mid(header->data(), 4) == type)
            return QByteArray::number(stream).rightJustified(2, '0');
    }
    return {};
}

bool File::isMovable() const
{
    const Piece *const movi = find("movi");
    const int entry = findEntry("0");
    return movi && !find("indx") && entry >= 0 && int(number(entryAt(entry) + 8)) < movi->offset;
}

namespace {

/// Bytes that are no id and no zeros.
QByteArray rubbish(int count)
{
    QByteArray bytes(count, '\0');
    for (int i = 0; i < count; ++i)
        bytes[i] = char(0x80 + i * 37 % 96);
    return bytes;
}

/// Another number for the size of a piece.
QByteArray withSize(const File &file, const Piece *piece, qint64 size)
{
    return piece && size >= 0 ? file.withNumber(piece->offset + 4, quint32(size)) : QByteArray();
}

/// Another id, or another form of a list.
QByteArray renamed(const File &file, const Piece *piece, const char *name)
{
    if (!piece)
        return {};
    return file.with(piece->form.isEmpty() ? piece->offset : piece->offset + 8, QByteArray(name, 4));
}

QByteArray cutAt(const File &file, int size)
{
    return file.bytes.left(size);
}

/// A piece of the file that lies in `movi` with enough chunks around it for a chain.
const Piece *middle(const File &file)
{
    return file.chunks.size() >= 8 ? file.chunkAt(0.5) : nullptr;
}

/// A chunk in the middle with data enough to lose some.
const Piece *largeMiddle(const File &file)
{
    for (size_t number = file.chunks.size() / 2; number + 4 < file.chunks.size() && number >= 4; ++number) {
        if (file.chunks[number].size >= 64)
            return &file.chunks[number];
    }
    return nullptr;
}

/// The file has one RIFF list.
bool isAlone(const File &file)
{
    return file.find("AVIX") == nullptr;
}

} // namespace

std::vector<Damage> structureDamages()
{
    return {
        {"cut inside of a chunk", "riff-beyond-file",
         [](const File &file) {
             const Piece *const chunk = largeMiddle(file);
             return chunk ? cutAt(file, chunk->data() + 20) : QByteArray();
         }},
        {"cut between two chunks", "riff-beyond-file",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? cutAt(file, chunk->next()) : QByteArray();
         }},
        {"cut inside of a chunk's header", "riff-beyond-file",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? cutAt(file, chunk->offset + 5) : QByteArray();
         }},
        {"cut before idx1", "riff-beyond-file",
         [](const File &file) {
             const Piece *const index = file.find("idx1");
             return index && isAlone(file) ? cutAt(file, index->offset) : QByteArray();
         }},
        {"cut inside of idx1", "riff-beyond-file",
         [](const File &file) {
             const Piece *const index = file.find("idx1");
             return index && isAlone(file) && index->size >= 64 ? cutAt(file, index->data() + 36) : QByteArray();
         }},
        {"the RIFF's size is 0", "size-open", [](const File &file) { return withSize(file, file.find("AVI "), 0); }},
        {"the RIFF's size is all ones", "size-open",
         [](const File &file) { return withSize(file, file.find("AVI "), 0xFFFFFFFF); }},
        {"the size of movi is 0", "size-open", [](const File &file) { return withSize(file, file.find("movi"), 0); }},
        {"the size of movi is all ones", "size-open",
         [](const File &file) { return withSize(file, file.find("movi"), 0xFFFFFFFF); }},
        {"no size was ever written", "size-open",
         [](const File &file) {
             const Piece *const movi = file.find("movi");
             if (!movi || !isAlone(file))
                 return QByteArray();
             return file.with(4, u32(0)).replace(movi->offset + 4, 4, u32(0)).left(movi->end());
         }},
        {"the RIFF's size is 1000 too large", "riff-beyond-file",
         [](const File &file) { return isAlone(file) ? file.withNumber(4, file.number(4) + 1000) : QByteArray(); }},
        {"the RIFF's size leads to the end of movi", "riff-too-short",
         [](const File &file) {
             const Piece *const movi = file.find("movi");
             return movi && isAlone(file) && file.find("idx1") ? file.withNumber(4, quint32(movi->next()) - 8)
                                                               : QByteArray();
         }},
        {"the size of movi leads into the middle of it", "child-beyond-parent",
         [](const File &file) {
             const Piece *const movi = file.find("movi");
             const Piece *const chunk = largeMiddle(file);
             return movi && chunk ? withSize(file, movi, chunk->data() + 21 - movi->data()) : QByteArray();
         }},
        {"the size of movi is 100 too large", "child-beyond-parent",
         [](const File &file) {
             const Piece *const movi = file.find("movi");
             return movi && file.find("idx1") && isAlone(file) && file.entryCount() > 12
                 ? withSize(file, movi, qint64(movi->size) + 100)
                 : QByteArray();
         }},
        {"the size of hdrl is 20 too small", "child-beyond-parent",
         [](const File &file) {
             const Piece *const hdrl = file.find("hdrl");
             return withSize(file, hdrl, qint64(hdrl->size) - 20);
         }},
        {"the size of a strl is 10 too small", "child-beyond-parent",
         [](const File &file) {
             const Piece *const strl = file.find("strl");
             return withSize(file, strl, qint64(strl->size) - 10);
         }},
        {"a chunk's size leads behind the next chunks", "chunk-swallows-others",
         [](const File &file) {
             const Piece *const chunk = largeMiddle(file);
             return withSize(file, chunk, chunk ? qint64(chunk->size) + 37 : 0);
         }},
        {"a chunk's size leads far behind the file", "chunk-swallows-others",
         [](const File &file) { return withSize(file, largeMiddle(file), 0x7FFFFFF0); }},
        {"a chunk's size is 22 too small", "foreign-bytes",
         [](const File &file) {
             const Piece *const chunk = largeMiddle(file);
             return withSize(file, chunk, chunk ? qint64(chunk->size) - 22 : 0);
         }},
        {"a chunk's size is 0", "foreign-bytes", [](const File &file) { return withSize(file, largeMiddle(file), 0); }},
        {"100 bytes put in between chunks", "foreign-bytes",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? file.spliced(chunk->offset, 0, rubbish(100)) : QByteArray();
         }},
        {"3 bytes put in between chunks", "foreign-bytes",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? file.spliced(chunk->offset, 0, rubbish(3)) : QByteArray();
         }},
        {"512 zero bytes put in between chunks", "zero-bytes",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? file.spliced(chunk->offset, 0, zeros(512)) : QByteArray();
         }},
        {"30 bytes put in inside of a chunk", "foreign-bytes",
         [](const File &file) {
             const Piece *const chunk = largeMiddle(file);
             return chunk ? file.spliced(chunk->data() + 8, 0, rubbish(30)) : QByteArray();
         }},
        {"10 bytes lost inside of a chunk", "chunk-swallows-others",
         [](const File &file) {
             const Piece *const chunk = largeMiddle(file);
             return chunk ? file.spliced(chunk->data() + 8, 10, {}) : QByteArray();
         }},
        {"a sector of zeros over a chunk's header", "zero-bytes",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             if (!chunk || chunk->size < 600)
                 return QByteArray();
             return file.with(chunk->offset, zeros(512));
         }},
        {"a sector of rubbish over a chunk's header", "foreign-bytes",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             if (!chunk || chunk->size < 600)
                 return QByteArray();
             return file.with(chunk->offset, rubbish(512));
         }},
        {"a byte of padding is missing", "pad-missing",
         [](const File &file) {
             // As a writer leaves it out that counts what it writes.
             const Piece *const chunk = file.oddChunk();
             return chunk && isAlone(file) ? file.resized(*file.find("movi"), chunk->end(), 1, {}) : QByteArray();
         }},
        {"a byte of padding is not 0", "pad-not-zero",
         [](const File &file) {
             const Piece *const chunk = file.oddChunk();
             return chunk ? file.with(chunk->end(), "\x55") : QByteArray();
         }},
        {"a chunk of a stream that is not declared", "undeclared-stream",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? file.with(chunk->offset, "09") : QByteArray();
         }},
        {"an id that says nothing", "unknown-chunk",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? file.with(chunk->offset, "qqqq") : QByteArray();
         }},
        {"an id that is not printable", "fourcc-not-ascii",
         [](const File &file) {
             const Piece *const chunk = middle(file);
             return chunk ? file.with(chunk->offset, "\x01\x02\x03\x04") : QByteArray();
         }},
        {"rubbish behind the file", "trailing-bytes", [](const File &file) { return file.bytes + rubbish(100); }},
        {"zeros behind the file", "trailing-zeros", [](const File &file) { return file.bytes + zeros(2048); }},
        {"the first id is another", "riff-missing", [](const File &file) { return file.with(0, "\x80\x81\x82\x83"); }},
        {"the first bytes are lost", "riff-missing",
         [](const File &file) { return file.isMovable() ? file.spliced(0, 12, {}) : QByteArray(); }},
        {"the form type ends in another byte", "riff-form-unusual",
         [](const File &file) { return file.with(11, "\x2A"); }},
        {"movi has another name", "movi-count",
         [](const File &file) { return renamed(file, file.find("movi"), "mov_"); }},
        {"hdrl has another name", "hdrl-missing",
         [](const File &file) { return renamed(file, file.find("hdrl"), "hdr_"); }},
        {"avih has another name", "hdrl-missing",
         [](const File &file) { return renamed(file, file.find("avih"), "avi_"); }},
        {"strh has another name", "strh-missing",
         [](const File &file) { return renamed(file, file.find("strh"), "str_"); }},
        {"strf has another name", "strf-missing",
         [](const File &file) { return renamed(file, file.find("strf"), "str_"); }},
        {"avih stands behind something else", "avih-not-first",
         [](const File &file) {
             const Piece *const hdrl = file.find("hdrl");
             return file.isMovable() ? file.resized(*hdrl, hdrl->offset + 12, 0, chunk("JUNK", zeros(4)))
                                     : QByteArray();
         }},
        {"a second avih", "duplicate-chunk",
         [](const File &file) {
             const Piece *const hdrl = file.find("hdrl");
             const Piece *const avih = file.find("avih");
             return file.isMovable()
                 ? file.resized(*hdrl, avih->next(), 0, file.bytes.mid(avih->offset, avih->next() - avih->offset))
                 : QByteArray();
         }},
        {"idx1 twice", "duplicate-chunk",
         [](const File &file) {
             const Piece *const index = file.find("idx1");
             return index && isAlone(file) ? file.resized(*file.find("AVI "), index->next(), 0,
                                                          file.bytes.mid(index->offset, 8 + int(index->size)))
                                           : QByteArray();
         }},
        {"a second RIFF that is no part", "riff-later-form",
         [](const File &file) { return renamed(file, file.find("AVIX"), "AVIY"); }},
    };
}

} // namespace damage

} // namespace quenlofar
