#pragma once

#include "elementsink.h"
#include "inputreader.h"

#include <QString>

#include <vector>

namespace quenlofar {

/// One call of a sink between beginDocument and endDocument.
struct SinkCall
{
    enum Kind : quint8 { Begin, Leaf, End, ReportFrame };

    Kind kind = End;
    bool flag = false;
    uchar code = 0;
    quint64 offset = 0;
    quint64 size = 0;
    qint64 index = -1;
    QString name; ///< or the title
    QString value;
    QString meaning;
    QString description;
    Frame frame = {};

    bool play(ElementSink &sink) const
    {
        switch (kind) {
        case Begin:
            return sink.beginElement(offset, size, name, index);
        case Leaf:
            return sink.addField({flag, code, offset, size, index, name, value, meaning, description});
        case End:
            return sink.endElement();
        case ReportFrame:
            break;
        }
        return sink.reportFrame(frame);
    }

    friend bool operator==(const SinkCall &a, const SinkCall &b)
    {
        return a.kind == b.kind && a.flag == b.flag && a.code == b.code && a.offset == b.offset && a.size == b.size
            && a.index == b.index && a.name == b.name && a.value == b.value && a.meaning == b.meaning
            && a.description == b.description && a.frame.stream == b.frame.stream && a.frame.number == b.frame.number
            && a.frame.offset == b.frame.offset && a.frame.size == b.frame.size && a.frame.key == b.frame.key;
    }
};

/// What a fuzzer's input makes a caller of a sink say: any document, well nested.
class CallScript
{
public:
    explicit CallScript(InputReader input, size_t mostCalls) : m_mostCalls(mostCalls)
    {
        takeDocument(input);
        while (!input.atEnd() && hasRoom())
            takeCalls(input);
        // A sink ends what is open itself; half of the scripts leave that to it.
        while (endsAll && m_open > 0)
            end();
    }

    /// Plays everything; the result is what the calls returned, all taken together.
    bool play(ElementSink &sink) const
    {
        bool taken = sink.beginDocument(document);
        for (const SinkCall &call : calls)
            taken = call.play(sink) && taken;
        return sink.endDocument(result) && taken;
    }

    DocumentStart document;
    RunResult result;
    bool endsAll = false;
    std::vector<SinkCall> calls;

private:
    void takeDocument(InputReader &input)
    {
        const quint8 parts = input.take<quint8>();
        document.file = input.takeText();
        if (parts & 0x01)
            document.container = input.takeText();
        document.fileSize = parts & 0x02 ? qint64(input.takeNumber()) : -1;
        endsAll = (parts & 0x04) != 0;
        result.cancelled = (parts & 0x08) != 0;
        result.status = parts & 0x10 ? input.take<qint32>() : 0;
        result.limit = RunLimit((parts >> 5) & 3);
        if (parts & 0x80) {
            result.error.kind = FileError::Kind(input.take<quint8>() % 4);
            result.error.offset = qint64(input.takeNumber());
            result.error.message = input.takeText();
        }
        for (int streams = input.take<quint8>() % 4; streams > 0; --streams) {
            VideoStream stream;
            stream.width = input.take<quint32>();
            stream.height = input.take<quint32>();
            stream.formatCode = input.take<quint32>();
            stream.codecId = input.take<qint32>();
            stream.frameRate = input.takeDouble();
            result.videoStreams.append(stream);
        }
    }

    void takeCalls(InputReader &input)
    {
        const quint8 what = input.take<quint8>();
        switch (what % 8) {
        case 0:
        case 1: {
            SinkCall begin = takeItem(input, SinkCall::Begin);
            begin.index = takeIndex(input);
            add(begin);
            break;
        }
        case 2:
        case 3: {
            SinkCall leaf = takeItem(input, SinkCall::Leaf);
            leaf.value = takeValue(input);
            if (what & 0x10)
                leaf.meaning = input.takeText();
            if (what & 0x20)
                leaf.description = input.takeText();
            if (what & 0x40) {
                leaf.flag = true;
                leaf.code = input.take<quint8>();
                leaf.index = takeIndex(input);
            }
            add(leaf);
            break;
        }
        case 4: {
            SinkCall unparsed = takeItem(input, SinkCall::Leaf);
            unparsed.name = unparsedDataMarker.toString();
            add(unparsed);
            break;
        }
        case 5: {
            SinkCall report;
            report.kind = SinkCall::ReportFrame;
            report.frame.stream = input.take<quint8>() & 1 ? input.take<quint32>() : 0;
            report.frame.number = input.takeNumber();
            report.frame.offset = input.takeNumber();
            report.frame.size = input.takeNumber();
            report.frame.key = (what & 0x10) != 0;
            add(report);
            break;
        }
        case 6:
            end();
            break;
        default:
            repeat(input.take<quint16>(), what);
            break;
        }
    }

    static SinkCall takeItem(InputReader &input, SinkCall::Kind kind)
    {
        SinkCall item;
        item.kind = kind;
        item.offset = input.takeNumber();
        item.size = input.takeNumber();
        item.name = input.takeText();
        return item;
    }

    static qint64 takeIndex(InputReader &input)
    {
        const quint8 kind = input.take<quint8>();
        return kind & 1 ? qint64(input.takeNumber()) : -1;
    }

    /// Numbers and short texts are what a tree keeps in a special way.
    static QString takeValue(InputReader &input)
    {
        const quint8 kind = input.take<quint8>();
        if (kind & 1)
            return input.takeText();
        return QString::number(input.takeNumber())
            + (kind & 2 ? QString(QChar(quint16(input.take<quint8>()))) : QString());
    }

    /// Says the last call again and again, a bit further on each time.
    void repeat(int times, quint8 what)
    {
        if (calls.empty() || calls.back().kind == SinkCall::End)
            return;
        SinkCall call = calls.back();
        for (int i = 0; i < times && hasRoom(); ++i) {
            if (call.kind == SinkCall::ReportFrame) {
                ++call.frame.number;
                call.frame.offset += 16;
            } else {
                moveOn(&call, i, what);
            }
            add(call);
            if ((what & 0x80) != 0 && call.kind == SinkCall::Begin)
                end();
        }
    }

    static void moveOn(SinkCall *item, int step, quint8 what)
    {
        item->offset += 16;
        if (what & 0x08)
            item->index = qint64(quint64(item->index) + 1);
        if (what & 0x40)
            item->name = item->name.mid(1) + QChar(ushort(step));
        if (item->kind != SinkCall::Leaf)
            return;
        if (what & 0x10)
            item->value = QString::number(step);
        if (what & 0x20)
            item->meaning = QString::number(step / 2);
    }

    void add(const SinkCall &call)
    {
        if (call.kind == SinkCall::Begin)
            ++m_open;
        m_characters += call.name.size() + call.value.size() + call.meaning.size() + call.description.size();
        calls.push_back(call);
    }

    bool hasRoom() const { return calls.size() < m_mostCalls && m_characters < mostCharacters; }

    void end()
    {
        if (m_open == 0)
            return;
        --m_open;
        calls.push_back(SinkCall());
    }

    static constexpr qint64 mostCharacters = 80'000; // more would take too long to try

    const size_t m_mostCalls;
    qint64 m_characters = 0;
    quint64 m_open = 0;
};

/// Writes down what it is told.
class CallLog : public ElementSink
{
public:
    bool beginDocument(const DocumentStart &start) override
    {
        document = start;
        return true;
    }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        SinkCall call;
        call.kind = SinkCall::Begin;
        call.offset = offset;
        call.size = size;
        call.index = index;
        call.name = title.toString();
        calls.push_back(call);
        return true;
    }
    bool addField(const Field &field) override
    {
        SinkCall call;
        call.kind = SinkCall::Leaf;
        call.flag = field.flag;
        call.code = field.code;
        call.offset = field.offset;
        call.size = field.size;
        call.index = field.index;
        call.name = field.name.toString();
        call.value = field.value.toString();
        call.meaning = field.meaning.toString();
        call.description = field.description.toString();
        calls.push_back(call);
        return true;
    }
    bool endElement() override
    {
        calls.push_back(SinkCall());
        return true;
    }
    bool reportFrame(const Frame &frame) override
    {
        SinkCall call;
        call.kind = SinkCall::ReportFrame;
        call.frame = frame;
        calls.push_back(call);
        return true;
    }
    bool endDocument(const RunResult &outcome) override
    {
        result = outcome;
        return true;
    }

    DocumentStart document;
    RunResult result;
    std::vector<SinkCall> calls;
};

} // namespace quenlofar
