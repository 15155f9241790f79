#include "damagemakers.h"

#include "avibuilder.h"

namespace quenlofar {

namespace damage {

using build::indexEntry;
using build::u16;
using build::u32;
using build::u64;
using build::zeros;

namespace {

/// Another number in a chunk that the file has.
QByteArray changed(const File &file, const Piece *piece, int at, quint32 number)
{
    return piece && int(piece->size) >= at + 4 ? file.withNumber(piece->data() + at, number) : QByteArray();
}
QByteArray changedHalf(const File &file, const Piece *piece, int at, quint16 number)
{
    return piece && int(piece->size) >= at + 2 ? file.withHalf(piece->data() + at, number) : QByteArray();
}
quint32 numberIn(const File &file, const Piece *piece, int at)
{
    return piece ? file.number(piece->data() + at) : 0;
}
/// The format of sound that is PCM; null without.
const Piece *pcmFormat(const File &file)
{
    const Piece *const format = file.ofStream("auds", "strf");
    return format && file.half(format->data()) == 1 ? format : nullptr;
}

/// The file with its idx1 changed entry by entry.
QByteArray withEntries(const File &file, void (*change)(QByteArray &entry, int number))
{
    if (file.entryCount() < 8)
        return {};
    QByteArray entries;
    for (int number = 0; number < file.entryCount(); ++number) {
        QByteArray entry = file.bytes.mid(file.entryAt(number), 16);
        change(entry, number);
        entries += entry;
    }
    return file.with(file.entryAt(0), entries);
}
void add(QByteArray &entry, int at, quint32 number)
{
    entry.replace(at, 4, u32(qFromLittleEndian<quint32>(entry.constData() + at) + number));
}
/// The file with other entries in idx1, of any number; nothing but sizes is corrected, so idx1 has to be the last.
QByteArray respliced(const File &file, int entry, int count, const QByteArray &entries)
{
    return file.entryCount() < 8 || file.find("AVIX")
        ? QByteArray()
        : file.resized(*file.find("idx1"), file.entryAt(entry), 16 * count, entries);
}
QByteArray entry(const File &file, int number)
{
    return file.bytes.mid(file.entryAt(number), 16);
}
/// An entry of a stream of this type in the middle of idx1; -1 without.
int middleEntry(const File &file, const char *type)
{
    const QByteArray digits = file.digitsOf(type);
    return digits.isEmpty() || file.entryCount() < 8 ? -1 : file.findEntry(digits.constData(), file.entryCount() / 2);
}
/// Whether entries of the stream of video have the flag of key frames besides the first one.
bool hasLaterKeyFrame(const File &file)
{
    const QByteArray digits = file.digitsOf("vids");
    const int first = file.findEntry(digits.constData());
    for (int number = first + 1; first >= 0 && number < file.entryCount(); ++number) {
        if (entry(file, number).startsWith(digits) && (file.number(file.entryAt(number) + 4) & 0x10) != 0)
            return true;
    }
    return false;
}
/// An index with entries that point at data, and one that points at those.
const Piece *superIndex(const File &file)
{
    const Piece *const index = file.find("indx");
    return index && file.bytes.at(index->data() + 3) == 0 ? index : nullptr;
}
const Piece *standardIndex(const File &file)
{
    return superIndex(file) ? file.find("ix00") : nullptr;
}

} // namespace

std::vector<Damage> headerDamages()
{
    return {
        {"a stream too many", "stream-count",
         [](const File &file) {
             const Piece *const avih = file.find("avih");
             return changed(file, avih, 24, numberIn(file, avih, 24) + 1);
         }},
        {"twice the frames", "frame-count",
         [](const File &file) {
             const Piece *const avih = file.find("avih");
             return file.ofStream("vids", "strh") ? changed(file, avih, 16, numberIn(file, avih, 16) * 2 + 5)
                                                  : QByteArray();
         }},
        {"frames that last no time", "frame-duration",
         [](const File &file) {
             return file.ofStream("vids", "strh") ? changed(file, file.find("avih"), 0, 0) : QByteArray();
         }},
        {"frames that last twice the time", "frame-duration",
         [](const File &file) {
             const Piece *const avih = file.find("avih");
             return file.ofStream("vids", "strh") ? changed(file, avih, 0, numberIn(file, avih, 0) * 2) : QByteArray();
         }},
        {"another picture width in avih", "picture-size",
         [](const File &file) {
             const Piece *const avih = file.find("avih");
             return file.ofStream("vids", "strh") ? changed(file, avih, 32, numberIn(file, avih, 32) + 16)
                                                  : QByteArray();
         }},
        {"a buffer of one byte", "buffer-too-small",
         [](const File &file) { return changed(file, file.find("avih"), 28, 1); }},
        {"a flag that means nothing", "flags-unknown",
         [](const File &file) {
             const Piece *const avih = file.find("avih");
             return changed(file, avih, 12, numberIn(file, avih, 12) | 0x40000000);
         }},
        {"the flag of an index is cleared", "index-without-flag",
         [](const File &file) {
             const Piece *const avih = file.find("avih");
             const bool isSet = (numberIn(file, avih, 12) & 0x10) != 0;
             return file.find("idx1") && isSet ? changed(file, avih, 12, numberIn(file, avih, 12) & ~0x10U)
                                               : QByteArray();
         }},
        {"dwScale is 0", "time-base-zero",
         [](const File &file) { return changed(file, file.ofStream("vids", "strh"), 20, 0); }},
        {"dwRate is 0", "time-base-zero",
         [](const File &file) { return changed(file, file.ofStream("vids", "strh"), 24, 0); }},
        {"dwRate of the sound is 0", "time-base-zero",
         [](const File &file) { return changed(file, file.ofStream("auds", "strh"), 24, 0); }},
        {"twice the length of the video", "stream-length",
         [](const File &file) {
             const Piece *const strh = file.ofStream("vids", "strh");
             return changed(file, strh, 32, numberIn(file, strh, 32) * 2 + 5);
         }},
        {"no length of the sound", "stream-length",
         [](const File &file) { return changed(file, file.ofStream("auds", "strh"), 32, 0); }},
        {"the sound begins after days", "stream-start",
         [](const File &file) { return changed(file, file.ofStream("auds", "strh"), 28, 0x7FFFFFFF); }},
        {"a stream of no type", "stream-type",
         [](const File &file) { return changed(file, file.ofStream("auds", "strh"), 0, 0); }},
        {"a buffer of one byte in strh", "stream-buffer-too-small",
         [](const File &file) { return changed(file, file.ofStream("vids", "strh"), 36, 1); }},
        {"pictures of no width", "video-picture-size",
         [](const File &file) { return changed(file, file.ofStream("vids", "strf"), 4, 0); }},
        {"a format that is larger than its chunk", "video-format-size",
         [](const File &file) { return changed(file, file.ofStream("vids", "strf"), 0, 10000); }},
        {"blocks of no bytes", "block-align-zero",
         [](const File &file) { return changedHalf(file, file.ofStream("auds", "strf"), 12, 0); }},
        {"sound of no channels", "audio-format-zero",
         [](const File &file) { return changedHalf(file, file.ofStream("auds", "strf"), 2, 0); }},
        {"sound of no samples", "audio-format-zero",
         [](const File &file) { return changed(file, file.ofStream("auds", "strf"), 4, 0); }},
        {"PCM of another byte rate", "pcm-byte-rate",
         [](const File &file) {
             const Piece *const format = pcmFormat(file);
             return changed(file, format, 8, numberIn(file, format, 8) * 2);
         }},
        {"PCM of other blocks", "pcm-block-align",
         [](const File &file) { return changedHalf(file, pcmFormat(file), 12, 7); }},
    };
}

std::vector<Damage> indexDamages()
{
    return {
        {"offsets count from elsewhere", "idx1-base",
         [](const File &file) { return withEntries(file, [](QByteArray &entry, int) { add(entry, 8, 100); }); }},
        {"offsets of chance", "idx1-base-unknown",
         [](const File &file) {
             return withEntries(
                 file, [](QByteArray &entry, int number) { add(entry, 8, quint32(number * 7919 % 1000 + 1)); });
         }},
        {"one offset is one too large", "idx1-no-such-chunk",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 0 ? QByteArray()
                               : file.withNumber(file.entryAt(number) + 8, file.number(file.entryAt(number) + 8) + 1);
         }},
        {"one offset leads behind the file", "idx1-no-such-chunk",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 0 ? QByteArray() : file.withNumber(file.entryAt(number) + 8, 0xFFFFFFF0);
         }},
        {"one entry names another stream", "idx1-no-such-chunk",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 0 ? QByteArray() : file.with(file.entryAt(number), "07");
         }},
        {"one entry names no stream", "idx1-no-such-chunk",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 0 ? QByteArray() : file.with(file.entryAt(number), "XXXX");
         }},
        {"one size is one too large", "idx1-chunk-size",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 0 ? QByteArray()
                               : file.withNumber(file.entryAt(number) + 12, file.number(file.entryAt(number) + 12) + 1);
         }},
        {"all sizes count the header", "idx1-chunk-size",
         [](const File &file) { return withEntries(file, [](QByteArray &entry, int) { add(entry, 12, 8); }); }},
        {"an entry is lost", "idx1-chunk-not-indexed",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 0 ? QByteArray() : respliced(file, number, 1, {});
         }},
        {"the second half of the entries is lost", "idx1-chunk-not-indexed",
         [](const File &file) {
             const int half = file.entryCount() / 2;
             return half < 4 ? QByteArray() : respliced(file, half, file.entryCount() - half, {});
         }},
        {"all entries are lost", "idx1-chunk-not-indexed",
         [](const File &file) { return respliced(file, 0, file.entryCount(), {}); }},
        {"an entry twice", "idx1-duplicate",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 0 ? QByteArray() : respliced(file, number, 0, entry(file, number));
         }},
        {"two entries exchanged", "idx1-order",
         [](const File &file) {
             const int number = middleEntry(file, "vids");
             return number < 1 ? QByteArray()
                               : file.with(file.entryAt(number - 1), entry(file, number) + entry(file, number - 1));
         }},
        {"no key frames", "idx1-no-key-frame",
         [](const File &file) {
             return file.ofStream("vids", "strh")
                 ? withEntries(file, [](QByteArray &entry, int) { entry.replace(4, 4, u32(0)); })
                 : QByteArray();
         }},
        {"the first frame is no key frame", "idx1-first-not-key",
         [](const File &file) {
             if (!hasLaterKeyFrame(file))
                 return QByteArray();
             return file.withNumber(file.entryAt(file.findEntry(file.digitsOf("vids").constData())) + 4, 0);
         }},
        {"idx1 has another name", "index-missing",
         [](const File &file) {
             return file.find("idx1") && !file.find("indx") ? file.with(file.find("idx1")->offset, "idxx")
                                                            : QByteArray();
         }},
        {"idx1 is missing", "index-missing",
         [](const File &file) {
             const Piece *const index = file.find("idx1");
             if (!index || file.find("indx") || file.find("AVIX"))
                 return QByteArray();
             return file.resized(*file.find("AVI "), index->offset, index->next() - index->offset, {});
         }},
        {"a rest behind the last entry", "idx1-size",
         [](const File &file) { return respliced(file, file.entryCount(), 0, "\x11\x22\x33\x44\x55\x66"); }},
        {"the last entry is cut", "idx1-size",
         [](const File &file) {
             const Piece *const index = file.find("idx1");
             return index && !file.find("AVIX") && index->size >= 128 ? file.resized(*index, index->end() - 6, 6, {})
                                                                      : QByteArray();
         }},

        {"dmlh counts too few", "total-frame-count",
         [](const File &file) { return changed(file, file.find("AVIX") ? file.find("dmlh") : nullptr, 0, 1); }},
        {"the super index has another width", "super-entry-width",
         [](const File &file) { return changedHalf(file, superIndex(file), 0, 2); }},
        {"a standard index has another width", "std-entry-width",
         [](const File &file) { return changedHalf(file, standardIndex(file), 0, 4); }},
        {"a standard index has no type", "index-type",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return index ? file.with(index->data() + 3, "\x55") : QByteArray();
         }},
        {"a standard index has too many entries", "index-entry-count",
         [](const File &file) { return changed(file, standardIndex(file), 4, 100000); }},
        {"a super index has too many entries", "index-entry-count",
         [](const File &file) { return changed(file, superIndex(file), 4, 100000); }},
        {"a super index forgot an entry", "odml-chunk-not-indexed",
         [](const File &file) {
             const Piece *const index = superIndex(file);
             const quint32 count = numberIn(file, index, 4);
             return count > 1 ? changed(file, index, 4, count - 1) : QByteArray();
         }},
        {"a standard index forgot an entry", "odml-chunk-not-indexed",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return changed(file, index, 4, numberIn(file, index, 4) - 1);
         }},
        {"a super index leads nowhere", "super-no-such-index",
         [](const File &file) {
             const Piece *const index = superIndex(file);
             return changed(file, index, 24, numberIn(file, index, 24) + 2);
         }},
        {"a super index states another size", "super-entry-size",
         [](const File &file) { return changed(file, superIndex(file), 32, 5); }},
        {"a super index states another duration", "super-duration",
         [](const File &file) {
             const Piece *const index = superIndex(file);
             return changed(file, index, 36, numberIn(file, index, 36) + 10);
         }},
        {"a base far behind the file", "std-base-beyond-file",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return index ? file.with(index->data() + 12, u64(quint64(1) << 40)) : QByteArray();
         }},
        {"a base that is two bytes off", "std-no-such-chunk",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return changed(file, index, 12, numberIn(file, index, 12) + 2);
         }},
        {"an offset in a standard index", "std-no-such-chunk",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return changed(file, index, 32, numberIn(file, index, 32) + 1);
         }},
        {"a size in a standard index", "std-chunk-size",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return changed(file, index, 36, numberIn(file, index, 36) + 1);
         }},
        {"a standard index names another stream", "index-stream-differs",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return index ? file.with(index->data() + 8, "01") : QByteArray();
         }},
        {"an index chunk with its id the other way round", "index-chunk-id",
         [](const File &file) {
             const Piece *const index = standardIndex(file);
             return index ? file.with(index->offset, "00ix") : QByteArray();
         }},
        {"the second RIFF is missing", "segment-missing",
         [](const File &file) {
             const Piece *const later = file.find("AVIX");
             return later && superIndex(file) ? file.bytes.left(later->offset) : QByteArray();
         }},
        {"the second RIFF is cut", "riff-beyond-file",
         [](const File &file) {
             const Piece *const later = file.find("AVIX");
             return later ? file.bytes.left(later->offset + int(later->size) / 2) : QByteArray();
         }},
        {"a stream of a film in parts has no index", "avix-without-indx",
         [](const File &file) {
             return superIndex(file) && file.find("AVIX") ? file.with(file.find("indx")->offset, "JUNK") : QByteArray();
         }},
    };
}

} // namespace damage

} // namespace quenlofar
