#include "containerabstract.h"

#include "containerabstract_p.h"
#include "texts.h"

#include <algorithm>

using namespace quenlofar;

ContainerAbstract::CommonElement::CommonElement() : type(0) { }

ContainerAbstract::CommonElement::CommonElement(int elementType, const QString &elementName)
    : type(elementType), name(elementName)
{
}

ContainerAbstract::CommonElement::CommonElement(const CommonElement &other) = default;
ContainerAbstract::CommonElement &ContainerAbstract::CommonElement::operator=(const CommonElement &other) = default;

ContainerAbstract::ContainerAbstract() : d(std::make_unique<ContainerAbstractPrivate>()) { }

ContainerAbstract::~ContainerAbstract() = default;

int ContainerAbstract::openFile(const QString &path)
{
    if (!d->opener)
        return m_file.open(path);
    QString error;
    std::unique_ptr<ByteSource> source = d->opener(path, &error);
    return m_file.open(std::move(source), error);
}

void ContainerAbstract::closeFile()
{
    m_file.close();
}

void ContainerAbstract::beginElement(quint64 offset, quint64 size, const QString &title, qint64 index)
{
    d->admitNode(m_file, offset);
    if (Q_UNLIKELY(!ParserProtocol::makesSense(offset, size, index))) {
        const ParserProtocol::Place right = d->protocol.putRight({offset, size, index}, m_file.pos());
        offset = right.offset;
        size = right.size;
        index = right.index;
    }
    if (!d->handOn([&](ElementSink &sink) { return sink.beginElement(offset, size, title, index); }))
        throw RunStopped();
}

void ContainerAbstract::endElement() noexcept
{
    if (Q_UNLIKELY(d->openNodes == 0)) {
        d->protocol.nodeEndedUnbegun(m_file.pos());
        return;
    }
    --d->openNodes;
    d->handOn([](ElementSink &sink) { return sink.endElement(); });
}

void ContainerAbstract::addField(bool flag, quint64 offset, uchar code, quint64 size, const QString &name,
                                 const QString &value, const QString &meaning, const QString &description, qint64 index)
{
    d->admitItem(m_file, offset);
    if (Q_UNLIKELY(!ParserProtocol::makesSense(offset, size, index))) {
        const ParserProtocol::Place right = d->protocol.putRight({offset, size, index}, m_file.pos());
        offset = right.offset;
        size = right.size;
        index = right.index;
    }
    const Field field{flag, code, offset, size, index, name, value, meaning, description};
    if (!d->handOn([&field](ElementSink &sink) { return sink.addField(field); }))
        throw RunStopped();
    if (Q_UNLIKELY(!meaning.isEmpty()) && d->recordsStreams && d->announcesVideoStream(field))
        d->addVideoStream(*this);
}

void ContainerAbstract::addUnparsed(quint64 offset, quint64 size)
{
    static const QString none;
    addLeaf(offset, size, d->nameText.borrow(unparsedDataMarker), none, none, none);
}

void ContainerAbstract::addRecord(quint64 offset, const RecordView &record, FieldRows rows)
{
    for (const FieldRow &row : rows)
        d->addFieldOf(*this, offset, record, row);
}

quint64 ContainerAbstract::addWholeFields(quint64 offset, const RecordView &record, FieldRows rows)
{
    int covered = 0;
    for (const FieldRow &row : rows) {
        if (size_t(row.offset) + size_t(row.width()) > record.size())
            break;
        d->addFieldOf(*this, offset, record, row);
        covered = row.offset + row.width();
    }
    return quint64(covered);
}

QString ContainerAbstract::bytesToText(const QByteArray &bytes)
{
    return ::bytesToText(bytes);
}

int ContainerAbstract::reportFrame(uint streamIndex, quint64 frameNumber)
{
    Frame frame{streamIndex, frameNumber, m_frameOffset, m_frameSize, m_frameIsKey != 0};
    // Without a run nobody announces streams.
    if (d->recordsStreams && Q_UNLIKELY(!d->protocol.takesFrame(&frame, d->streams.size(), m_file.pos())))
        return StatusOk;
    d->handOn([&frame](ElementSink &sink) { return sink.reportFrame(frame); });
    return StatusOk;
}

void ContainerAbstractPrivate::addFieldOf(ContainerAbstract &parser, quint64 offset, const RecordView &record,
                                          const FieldRow &row)
{
    const size_t at = size_t(row.valueAt());
    const QString value = fieldText(record, at, row.kind, row.width(), row.encoding);
    const uchar code = row.kind == FieldKind::Text && value.isEmpty() ? emptyTextCode : uchar(0);
    parser.addField(false, offset + quint64(row.offset), code, quint64(row.width()), nameText.borrow(row.name), value,
                    row.meaning ? row.meaning(record, row) : QString(), descriptionText.borrow(row.description), -1);
}

void ContainerAbstractPrivate::rememberSinkFailure()
{
    sinkFailed = true;
    if (stop == Stop::None)
        stop = Stop::SinkFailed;
}

void ContainerAbstractPrivate::keepSinkException() noexcept
{
    sinkException = std::current_exception();
    sink = nullptr;
    if (stop == Stop::None)
        stop = Stop::SinkFailed;
}

bool ContainerAbstractPrivate::noticeStop(const FileDevice &file, quint64 position, Stop reason)
{
    if (stop == Stop::None) {
        stopPosition = position;
        if (cancel && cancel->load(std::memory_order_relaxed))
            stop = Stop::Cancelled;
        else if (file.bytesRead() > workLimit)
            stop = Stop::Work;
        else if (isLate())
            stop = Stop::Time;
        else
            stop = reason;
    }
    return stop != Stop::None;
}

/// How many items are added between two looks at the clock.
constexpr quint64 itemsBetweenLooks = 16;

quint64 ContainerAbstractPrivate::firstLook() const
{
    return deadline == std::chrono::steady_clock::time_point::max() ? itemLimit
                                                                    : std::min(itemLimit, itemsBetweenLooks);
}

bool ContainerAbstractPrivate::isLate() const
{
    using Clock = std::chrono::steady_clock;
    return deadline != Clock::time_point::max() && Clock::now() >= deadline;
}

/// Ends the run if there are as many items as there may be, or if it is late.
void ContainerAbstractPrivate::look(const FileDevice &file, quint64 offset)
{
    if (items >= itemLimit)
        stopRun(file, offset, Stop::Items);
    if (isLate())
        stopRun(file, offset, Stop::Time);
    nextLook = std::min(itemLimit, items + itemsBetweenLooks);
}

void ContainerAbstractPrivate::stopRun(const FileDevice &file, quint64 offset, Stop reason)
{
    noticeStop(file, offset, reason);
    throw RunStopped();
}

bool ContainerAbstractPrivate::announcesVideoStream(const Field &field) const
{
    return field.meaning == videoStreamMeaning && field.name == videoStreamField;
}

void ContainerAbstractPrivate::dropEverything(ContainerAbstract &parser)
{
    items = openNodes = 0;
    streams.clear();
    parser.m_videoStreams.clear();
    parser.m_streamFrameCounters.clear();
}

void ContainerAbstractPrivate::addVideoStream(ContainerAbstract &parser)
{
    streams.emplace_back();
    parser.m_videoStreams.append(&streams.back());
    parser.m_streamFrameCounters.append(0);
}
