#include "containerabstract.h"

#include "containerabstract_p.h"
#include "decodetext.h"

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
    beginElement(offset, size, QStringView(title), index);
}

void ContainerAbstract::beginElement(quint64 offset, quint64 size, QStringView title, qint64 index)
{
    if (Q_UNLIKELY(size == sizeFromEnd)) {
        d->beginWithoutSize(m_file, offset, title, index);
        return;
    }
    d->admitNode(m_file, offset);
    if (Q_UNLIKELY(!ParserProtocol::makesSense(offset, size, index))) {
        const ParserProtocol::Place right = d->protocol.putRight({offset, size, index}, m_file.pos());
        offset = right.offset;
        size = right.size;
        index = right.index;
    }
    d->noteExtent(offset, size);
    if (!d->handOn([&](ElementSink &sink) { return sink.beginElement(offset, size, title, index); }))
        throw RunStopped();
}

void ContainerAbstract::endElement() noexcept
{
    d->endNode(m_file, sizeFromEnd);
}

void ContainerAbstract::endElement(quint64 size) noexcept
{
    d->endNode(m_file, size);
}

void ContainerAbstract::addField(bool flag, quint64 offset, uchar code, quint64 size, const QString &name,
                                 const QString &value, const QString &meaning, const QString &description, qint64 index)
{
    addField({flag, code, offset, size, index, name, value, meaning, description});
}

void ContainerAbstract::addField(const Field &field)
{
    d->admitItem(m_file, field.offset);
    if (Q_LIKELY(ParserProtocol::makesSense(field.offset, field.size, field.index)))
        d->handOnField(*this, field);
    else
        d->handOnPutRight(*this, field, m_file.pos());
}

void ContainerAbstract::addUnparsed(quint64 offset, quint64 size)
{
    addLeaf(offset, size, unparsedDataMarker, {});
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

void ContainerAbstract::setByteOrder(ByteOrder order)
{
    d->byteOrder = order;
}

InputCursor ContainerAbstract::cursor(quint64 begin, quint64 end)
{
    return {m_file, begin, end, d->byteOrder};
}

StoredRecord ContainerAbstract::addRecord(InputCursor &cursor, FieldRows rows)
{
    StoredRecord record(cursor.peek(quint64(rows.width())), cursor.byteOrder());
    cursor.skip(addWholeFields(cursor.position(), record, rows));
    return record;
}

void ContainerAbstract::addData(InputCursor &cursor, QStringView name)
{
    if (cursor.atEnd())
        return;
    addLeaf(cursor.position(), cursor.bytesLeft(), name, {});
    cursor.skip(cursor.bytesLeft());
}

void ContainerAbstract::addText(InputCursor &cursor, QStringView name, TextEncoding encoding, quint64 shown)
{
    if (cursor.atEnd())
        return;
    const QString text = decodedText(cursor.peek(shown), encoding);
    const uchar code = text.isEmpty() && cursor.bytesLeft() <= shown ? emptyTextCode : uchar(0);
    addField({false, code, cursor.position(), cursor.bytesLeft(), -1, name, text, {}, {}});
    cursor.skip(cursor.bytesLeft());
}

void ContainerAbstract::addUnparsed(InputCursor &cursor)
{
    addData(cursor, unparsedDataMarker);
}

QString ContainerAbstract::bytesToText(const QByteArray &bytes)
{
    return ::bytesToText(bytes);
}

void ContainerAbstract::reportProblem(quint64 offset, quint64 size, quenlofar::Severity severity, QStringView text)
{
    d->admitProblem(m_file, offset);
    d->keepProblem(m_file, {offset, size, severity, text});
}

void ContainerAbstract::nameStatus(int status, QStringView text)
{
    if (status >= firstOwnStatus)
        d->statusNames.emplace_back(status, text.toString());
}

int ContainerAbstract::reportFrame(uint streamIndex, quint64 frameNumber)
{
    Frame frame{streamIndex, frameNumber, m_frameOffset, m_frameSize, m_frameIsKey != 0};
    // Without a run nobody announces streams.
    const bool isKnown = frame.stream < d->streams.size() && ParserProtocol::makesSense(frame.offset, frame.size, -1);
    if (Q_UNLIKELY(!isKnown) && d->recordsStreams && !d->protocol.takesFrame(&frame, d->streams.size(), m_file.pos()))
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
    const QString meaning = row.meaning ? row.meaning(record, row) : QString();
    parser.addField({false, code, offset + quint64(row.offset), quint64(row.width()), -1, row.name, value, meaning,
                     row.description});
}

void ContainerAbstractPrivate::beginWithoutSize(const FileDevice &file, quint64 offset, QStringView title, qint64 index)
{
    openSizes.reserve(openSizes.size() + 1);
    admitNode(file, offset);
    if (Q_UNLIKELY(!ParserProtocol::makesSense(offset, 0, index))) {
        const ParserProtocol::Place right = protocol.putRight({offset, 0, index}, file.pos());
        offset = right.offset;
        index = right.index;
    }
    openSizes.push_back({openNodes, offset, offset});
    if (!handOn([&](ElementSink &first) { return first.beginElement(offset, sizeFromEnd, title, index); }))
        throw RunStopped();
}

void ContainerAbstractPrivate::handOnPutRight(ContainerAbstract &parser, const Field &field, qint64 position)
{
    const ParserProtocol::Place right = protocol.putRight({field.offset, field.size, field.index}, position);
    Field sound = field;
    sound.offset = right.offset;
    sound.size = right.size;
    sound.index = right.index;
    handOnField(parser, sound);
}

void ContainerAbstractPrivate::widen(quint64 offset, quint64 size) noexcept
{
    // Neither number has its top bit, so the sum does not wrap.
    openSizes.back().end = std::max(openSizes.back().end, offset + size);
}

void ContainerAbstractPrivate::keepProblem(const FileDevice &file, const quenlofar::ReportedProblem &problem)
{
    constexpr int mostCharacters = 500;
    if (problemCounts.total() < mostProblems) {
        waitingProblems.push_back({openNodes, keptProblem(problem)});
        quenlofar::KeptProblem &kept = waitingProblems.back().problem;
        kept.text.truncate(mostCharacters);
        if (Q_UNLIKELY(!ParserProtocol::makesSense(kept.offset, kept.size, -1))) {
            const ParserProtocol::Place right = protocol.putRight({kept.offset, kept.size, -1}, file.pos());
            kept.offset = right.offset;
            kept.size = right.size;
        }
    }
    problemCounts.add(problem.severity);
}

void ContainerAbstractPrivate::finishNode(quint64 size) noexcept
{
    if (Q_UNLIKELY(!waitingProblems.empty() && waitingProblems.back().depth == openNodes)) {
        auto first = waitingProblems.end();
        while (first != waitingProblems.begin() && (first - 1)->depth == openNodes)
            --first;
        for (auto waiting = first; waiting != waitingProblems.end(); ++waiting)
            handOn([&](ElementSink &taker) { return taker.reportProblem(waiting->problem.lent()); });
        waitingProblems.erase(first, waitingProblems.end());
    }
    if (Q_LIKELY(openSizes.empty() || openSizes.back().depth != openNodes))
        return;
    const OpenSize node = openSizes.back();
    openSizes.pop_back();
    // What the parser tells may be nonsense; what is in the node is not.
    const quint64 told =
        size == sizeFromEnd ? node.end - node.offset : std::min(size, ParserProtocol::lastEnd - node.offset);
    noteExtent(node.offset, told);
    handOn([told](ElementSink &taker) { return taker.setElementSize(told); });
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
    openSizes.clear();
    waitingProblems.clear();
    problemCounts = {};
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
