#include "bytesource.h"
#include "chunkids.h"
#include "containerabstract_p.h"
#include "containeravi.h"
#include "elementtree.h"
#include "filedevice.h"
#include "jsonwriter.h"
#include "lenttext.h"

#include <QIODevice>
#include <QtEndian>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

using namespace quenlofar;

// One number for each of the loops that a walk over a large file spends its time in.

namespace {

/// Letters, digits and blanks make ids now and then; words of any bytes hardly ever.
enum WordKind { AnyBytes, Letters, StreamChunks };

std::vector<ChunkId> makeWords(WordKind kind)
{
    constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ abcdefghijklmnopqrstuvwxyz 0123456789";
    std::mt19937 random;
    std::vector<ChunkId> words;
    for (int i = 0; i < 4096; ++i) {
        char bytes[4];
        for (char &byte : bytes)
            byte = kind == AnyBytes ? char(random()) : letters[random() % (sizeof letters - 1)];
        words.push_back(ChunkId::fromBytes(kind == StreamChunks ? "00dc" : bytes));
    }
    return words;
}

void idLookup(benchmark::State &state, WordKind kind)
{
    const ChunkIdTable &ids = ChunkIdTable::instance();
    const std::vector<ChunkId> words = makeWords(kind);
    for (auto _ : state) {
        for (const ChunkId word : words)
            benchmark::DoNotOptimize(ids.find(word));
    }
    state.SetItemsProcessed(state.iterations() * int64_t(words.size()));
}
BENCHMARK_CAPTURE(idLookup, any_bytes, AnyBytes);
BENCHMARK_CAPTURE(idLookup, letters, Letters);
BENCHMARK_CAPTURE(idLookup, stream_chunks, StreamChunks);

/// One seek and one read of four bytes for each byte.
void seekAndReadFour(benchmark::State &state)
{
    constexpr qint64 size = 1 << 20;
    FileDevice file;
    file.open(memorySource(QByteArray(int(size), 'x')));
    for (auto _ : state) {
        for (qint64 at = 0; at + 4 <= size; ++at) {
            char bytes[4];
            file.seek(at);
            file.read(bytes, sizeof bytes);
            benchmark::DoNotOptimize(bytes);
        }
    }
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(seekAndReadFour);

void decimalText(benchmark::State &state)
{
    LentText text;
    quint64 number = quint64(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(text.decimal(++number).constData());
}
BENCHMARK(decimalText)->Arg(8)->Arg(16'000'000);

class NullSink final : public ElementSink
{
public:
    bool beginElement(quint64, quint64, QStringView, qint64) override { return true; }
    bool addField(const Field &) override { return true; }
    bool endElement() override { return true; }
    bool reportFrame(const Frame &) override { return true; }
};

class NullDevice final : public QIODevice
{
public:
    NullDevice() { open(WriteOnly | Unbuffered); }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *, qint64 size) override { return size; }
};

/// The AVI parser outside of a run, over bytes in memory.
class Parser final : public ContainerAVI
{
public:
    explicit Parser(const QByteArray &bytes = {})
    {
        ContainerAbstractPrivate::of(*this).sink = &m_sink;
        m_file.open(memorySource(bytes));
        m_levelEnds.append(m_file.size());
        m_videoStreams.append(&m_stream);
        m_streamFrameCounters.append(0);
    }
    using ContainerAVI::addField;
    using ContainerAVI::parseChunkIDX1;
    using ContainerAVI::parseChunkSTRH;
    using ContainerAVI::parseElement;

private:
    NullSink m_sink;
    VideoStream m_stream;
};

void addFieldIntoNullSink(benchmark::State &state)
{
    Parser parser;
    const QString name = QStringLiteral("size");
    const QString none;
    LentText value;
    quint64 offset = 0;
    for (auto _ : state) {
        ++offset;
        parser.addField(false, offset, 0, 4, name, value.decimal(offset), none, none, -1);
    }
}
BENCHMARK(addFieldIntoNullSink);

constexpr int entryCount = 10'000;

/// Nodes of four leaves, with a frame reported for each.
void indexEntries(benchmark::State &state)
{
    constexpr quint32 keyFrameFlag = 0x10;
    QByteArray stream("vids");
    stream.resize(56);
    QByteArray index;
    for (int i = 0; i < entryCount; ++i) {
        char entry[16] = {'0', '0', 'd', 'c'};
        qToLittleEndian(keyFrameFlag, entry + 4);
        qToLittleEndian(quint32(4 + 16 * i), entry + 8);
        qToLittleEndian(quint32(8), entry + 12);
        index.append(entry, sizeof entry);
    }
    Parser header(stream + index);
    header.parseChunkSTRH(0, quint32(stream.size())); // announces video stream 0
    for (auto _ : state)
        header.parseChunkIDX1(quint64(stream.size()), quint32(index.size()));
    state.SetItemsProcessed(state.iterations() * entryCount);
}
BENCHMARK(indexEntries);

QByteArray bytesWithoutIds(int size)
{
    std::mt19937 random;
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = char(random() | 0x80); // no character of an id
    return bytes;
}

/// Looks for a known id in an unknown chunk's data.
void lookAhead(benchmark::State &state)
{
    constexpr int size = 1 << 20;
    char header[8] = {'0', '0', '_', '_'};
    qToLittleEndian(quint32(size), header + 4);
    Parser parser(QByteArray(header, sizeof header) + bytesWithoutIds(size));
    quint64 parsed = 0;
    for (auto _ : state)
        parser.parseElement(&parsed);
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(lookAhead);

/// Steps over bytes that are no chunk.
void resynchronise(benchmark::State &state)
{
    constexpr int size = 1 << 20;
    Parser parser(bytesWithoutIds(size));
    quint64 parsed = 0;
    for (auto _ : state)
        parser.parseElement(&parsed);
    state.SetBytesProcessed(state.iterations() * size);
}
BENCHMARK(resynchronise);

/// An index entry of four leaves, as often as a large file has it.
void addEntries(ElementSink &sink)
{
    constexpr QStringView names[] = {u"chunk_id", u"Flags", u"Offset", u"Size"};
    constexpr QStringView values[] = {u"00dc", u"16", u"16000004", u"8"};
    for (quint64 entry = 0; entry < entryCount; ++entry) {
        sink.beginElement(16 * entry, 16, u"idx1_entry", qint64(entry));
        for (quint64 i = 0; i < 4; ++i) {
            const QStringView meaning = i == 1 ? QStringView(u"AVIIF_KEYFRAME") : QStringView();
            sink.addField({false, 0, 16 * entry + 4 * i, 4, -1, names[i], values[i], meaning, {}});
        }
        sink.endElement();
    }
}

void jsonEntries(benchmark::State &state)
{
    NullDevice device;
    JsonWriter writer(device);
    for (auto _ : state) {
        writer.beginDocument({});
        addEntries(writer);
        writer.endDocument({});
    }
    state.SetItemsProcessed(state.iterations() * entryCount);
}
BENCHMARK(jsonEntries);

void treeEntries(benchmark::State &state)
{
    ElementTree tree;
    for (auto _ : state) {
        tree.beginDocument({});
        addEntries(tree);
        tree.endDocument({});
    }
    state.SetItemsProcessed(state.iterations() * entryCount);
}
BENCHMARK(treeEntries);

/// Asks of every item what a viewer shows in a row.
void treeReading(benchmark::State &state)
{
    ElementTree tree;
    tree.beginDocument({});
    addEntries(tree);
    tree.endDocument({});
    for (auto _ : state) {
        const quint32 nodes = tree.childCount(tree.root());
        for (quint32 i = 0; i < nodes; ++i) {
            const ElementTree::Item node = tree.child(tree.root(), i);
            for (quint32 j = 0; j < tree.childCount(node); ++j) {
                const ElementTree::Item leaf = tree.child(node, j);
                benchmark::DoNotOptimize(tree.value(leaf).size() + qsizetype(tree.row(leaf)));
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * 4 * entryCount);
}
BENCHMARK(treeReading);

} // namespace

BENCHMARK_MAIN();
