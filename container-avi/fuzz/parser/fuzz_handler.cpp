// Each chunk handler on its own, the walker and the look-up of ids, over any bytes, at any place and in any state.
#include "aviprobe.h"
#include "checkedrun.h"
#include "fuzztarget.h"
#include "inputreader.h"

#include <iterator>
#include <vector>

using namespace quenlofar;

namespace {

constexpr ContainerAVI::Handler handlers[] = {
    AviProbe::avih, AviProbe::dmlh,      AviProbe::vprp,          AviProbe::strh,
    AviProbe::strf, AviProbe::strfVideo, AviProbe::strfAudio,     AviProbe::idx1,
    AviProbe::indx, AviProbe::listInfo,  AviProbe::unknownObject,
};
constexpr size_t walkerCase = std::size(handlers);
constexpr size_t lookUpCase = walkerCase + 1;
constexpr size_t caseCount = lookUpCase + 1;

/// One call and all that it may depend on, in the order in which the input gives it.
struct Case
{
    explicit Case(InputReader &input)
        : what(input.take<quint8>() % caseCount), modes(input.take<quint8>()), streams(input.take<quint8>() % 8),
          numbers(input.take<quint8>() % 8), size(input.take<quint32>()), offset(input.take<quint64>()),
          streamType(input.take<quint32>()), timeBase(input.takeDouble()), moviOffset(input.take<quint64>()),
          videoStreamCount(input.take<quint32>())
    {
    }

    size_t what;
    quint8 modes;
    int streams; // records and counters of the host
    int numbers; // of video streams that the parser knows
    quint32 size;
    quint64 offset;
    quint32 streamType;
    double timeBase;
    quint64 moviOffset;
    quint32 videoStreamCount;
};

enum Mode : quint8 { WindowedSource = 0x01, OffsetInside = 0x02, SizeInside = 0x04, FewItems = 0x08 };

void prepare(AviProbe *probe, const Case &given, InputReader *input, VideoStream *records)
{
    probe->streamType() = given.streamType;
    probe->timeBase() = given.timeBase;
    probe->moviOffset() = given.moviOffset;
    probe->videoStreamCount() = given.videoStreamCount;
    for (int i = 0; i < given.numbers; ++i)
        probe->videoStreamNumbers().append(input->take<quint8>());
    for (int i = 0; i < given.streams; ++i) {
        probe->m_videoStreams.append(records + i);
        probe->m_streamFrameCounters.append(input->take<quint64>());
    }
}

void tryHandler(AviProbe *probe, const Case &given, const CheckingSink &sink)
{
    const int status = probe->call(handlers[given.what], given.offset, given.size);
    require(status == StatusOk || status == StatusUnknownStream || status == StatusEndOfFile
                || status == StatusOutOfMemory,
            "a handler returns one of the statuses that there are");
    require(sink.openNodes() == 0, "a handler ends the nodes that it began");
}

void tryWalker(AviProbe *probe, const Case &given, const CheckingSink &sink)
{
    // Lists end somewhere in the first 2^62 bytes: their ends are sums of places and sizes.
    probe->m_levelEnds.last() = qint64(given.moviOffset >> 2);
    probe->m_position = given.offset >> 2;
    probe->m_file.seek(qint64(probe->m_position));
    const quint64 position = probe->m_position;
    quint64 size = 1;
    const int status = probe->parseElement(&size);
    require(probe->m_position == position, "the position is back at the element's beginning");
    require(size == 0 ? status == StatusEndOfFile : probe->m_file.pos() == qint64(position),
            "the file is back at the element's beginning, unless it ended");
    require(sink.openNodes() == 0, "the walker ends the nodes that it began");
}

/// The two ways to look an id up agree, and so does the way from bytes to text.
void tryLookUp(AviProbe *probe, const QByteArray &bytes)
{
    for (int at = 0; at + 4 <= int(bytes.size()) && at < 4096; ++at) {
        const ChunkId id = ChunkId::fromBytes(bytes.constData() + at);
        const bool isKnown = ChunkIdTable::instance().find(id) != ChunkIdTable::unknown;
        require(isKnown == (probe->searchID(id.text(), nullptr) == StatusOk), "an id is known as text and as bytes");
        QString read;
        probe->m_file.seek(at);
        require(probe->getID(&read) == StatusOk && read == id.text(), "an id is read as what it is");
        quint32 word = 0;
        probe->m_file.seek(at);
        require(probe->getSize(&word) == StatusOk && word == id.word(), "a size is read as what it is");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    InputReader input(data, size);
    Case given(input);
    CheckingSink sink;
    sink.isWholeWalk = false;
    sink.beginDocument({});
    sink.itemLimit = given.modes & FewItems ? 50 : 20'000;
    sink.depthLimit = 200;

    AviProbe probe{QByteArray()};
    VideoStream records[8];
    prepare(&probe, given, &input, records);
    const QByteArray bytes = input.takeRest();
    if (given.modes & OffsetInside)
        given.offset %= quint64(bytes.size()) + 2;
    if (given.modes & SizeInside)
        given.size %= quint32(bytes.size()) + 2;
    SourceFaults faults;
    faults.isPlainMemory = (given.modes & WindowedSource) == 0;
    faults.mostAtOnce = 1 + (given.modes >> 4);
    probe.m_file.open(sourceOf(bytes, faults));
    ContainerAbstractPrivate &host = ContainerAbstractPrivate::of(probe);
    host.sink = &sink;
    host.itemLimit = sink.itemLimit;
    host.nextLook = host.firstLook();
    host.depthLimit = sink.depthLimit;
    host.workLimit = 4'000'000;
    probe.m_file.setReadLimit(host.workLimit);

    const QVector<VideoStream *> streams = probe.m_videoStreams;
    const auto counters = probe.m_streamFrameCounters.size();
    try {
        if (given.what == lookUpCase)
            tryLookUp(&probe, bytes);
        else if (given.what == walkerCase)
            tryWalker(&probe, given, sink);
        else
            tryHandler(&probe, given, sink);
    } catch (const RunStopped &) {
        // A bound was reached; the host would end the nodes that are open.
    }
    require(probe.m_levelEnds.size() == 1, "the ends of lists are as before");
    require(probe.m_videoStreams == streams, "the host's records are the host's");
    require(probe.m_streamFrameCounters.size() == counters, "the host's counters are the host's");
    return 0;
}
