#pragma once

#include "elementsink.h"

#include <QString>
#include <QStringList>

/**
 * Writes every call down as a line of text, two blanks deeper inside each node:
 *   node         "LIST(hdrl) 12+192", with an index "idx1_entry#3 5000+16"
 *   leaf         "dwFlags 44+4 272 [AVIF_HASINDEX | AVIF_ISINTERLEAVED] {description}"
 *   unparsed     "unparsed 88+12"
 *   frame        "frame 0/3 5012+1000 key"
 */
class RecordingSink : public ElementSink
{
public:
    QStringList lines;
    DocumentStart document;
    RunResult result;
    int documentsBegun = 0;
    int documentsEnded = 0;
    int depth = 0;
    int ended = 0; // endElement calls
    /// From this call on (counted from 1 over begin, field, end, frame) the sink takes no more; 0 is never.
    int failAt = 0;
    int calls = 0;

    bool beginDocument(const DocumentStart &start) override
    {
        document = start;
        ++documentsBegun;
        return true;
    }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        const QString ordinal = index >= 0 ? QStringLiteral("#%1").arg(index) : QString();
        add(title.toString() + ordinal + place(offset, size));
        ++depth;
        return takes();
    }
    bool addField(const Field &field) override
    {
        QString line = field.isUnparsedData() ? QStringLiteral("unparsed") : field.name.toString();
        line += place(field.offset, field.size);
        if (!field.value.isEmpty())
            line += QLatin1Char(' ') + field.value.toString();
        if (!field.meaning.isEmpty())
            line += QStringLiteral(" [") + field.meaning.toString() + QLatin1Char(']');
        if (!field.description.isEmpty())
            line += QStringLiteral(" {") + field.description.toString() + QLatin1Char('}');
        if (field.flag || field.code != 0 || field.index != -1)
            line += QStringLiteral(" flag %1 code %2 index %3").arg(int(field.flag)).arg(field.code).arg(field.index);
        add(line);
        return takes();
    }
    bool endElement() override
    {
        --depth;
        ++ended;
        return takes();
    }
    bool reportFrame(const Frame &frame) override
    {
        add(QStringLiteral("frame %1/%2").arg(frame.stream).arg(frame.number) + place(frame.offset, frame.size)
            + (frame.key ? QStringLiteral(" key") : QString()));
        return takes();
    }
    bool endDocument(const RunResult &outcome) override
    {
        result = outcome;
        ++documentsEnded;
        return true;
    }
    QString errorText() const override { return QStringLiteral("the sink is full"); }

private:
    static QString place(quint64 offset, quint64 size) { return QStringLiteral(" %1+%2").arg(offset).arg(size); }
    void add(const QString &line) { lines.append(QString(2 * depth, QLatin1Char(' ')) + line); }
    bool takes()
    {
        ++calls;
        return failAt == 0 || calls < failAt;
    }
};
