#pragma once

#include "elementsink.h"

#include <QString>
#include <QStringList>

namespace quenlofar {

/**
 * Writes down what it is given, one line per call, two blanks further in inside a node:
 *
 *     name offset+size value [meaning] (description)     a leaf; parts that are empty are left out
 *     unparsed offset+size                               a leaf of bytes that nobody interprets
 *     title offset+size #index {                         a node; "#index" is left out for -1
 *     problem error offset+size text                     a reported problem
 *     size 57                                            what a node that began without a size ("title offset+? {") has
 *     }
 *     frame stream/number offset+size key                a reported frame
 *
 * The value of a text that is there but empty (emptyTextCode) is shown as "". Any other leaf whose flag, code or index
 * is not false, 0 and -1 gets " flag 1 code 9 index 5" after it.
 */
class RecordingSink : public ElementSink
{
public:
    QStringList lines; ///< the calls, see above
    DocumentStart document; ///< what the latest document began with
    RunResult result; ///< what it ended with
    int documentsBegun = 0; ///< calls of beginDocument
    int documentsEnded = 0; ///< calls of endDocument
    int nodesEnded = 0; ///< calls of endElement
    int calls = 0; ///< of beginElement, addField, endElement and reportFrame
    int failAt = 0; ///< the call, counted from 1, from which on the sink takes no more; 0 is never

    /// Nodes that are open.
    int depth() const { return m_depth; }

    bool beginDocument(const DocumentStart &start) override
    {
        document = start;
        m_depth = 0; // a document that failed may have left nodes open
        ++documentsBegun;
        return true;
    }
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override
    {
        QString line =
            size == sizeFromEnd ? title.toString() + QStringLiteral(" %1+?").arg(offset) : place(title, offset, size);
        if (index != -1)
            line += QStringLiteral(" #%1").arg(index);
        add(line + QStringLiteral(" {"));
        ++m_depth;
        return takes();
    }
    bool addField(const Field &field) override
    {
        QString line = place(field.isUnparsedData() ? QStringView(u"unparsed") : field.name, field.offset, field.size);
        if (!field.value.isEmpty())
            line += QLatin1Char(' ') + field.value.toString();
        else if (field.isEmptyText())
            line += QStringLiteral(" \"\"");
        if (!field.meaning.isEmpty())
            line += QStringLiteral(" [") + field.meaning.toString() + QLatin1Char(']');
        if (!field.description.isEmpty())
            line += QStringLiteral(" (") + field.description.toString() + QLatin1Char(')');
        if (field.flag || (field.code != 0 && !field.isEmptyText()) || field.index != -1)
            line += QStringLiteral(" flag %1 code %2 index %3").arg(int(field.flag)).arg(field.code).arg(field.index);
        add(line);
        return takes();
    }
    bool endElement() override
    {
        --m_depth;
        ++nodesEnded;
        add(QStringLiteral("}"));
        return takes();
    }
    bool reportFrame(const Frame &frame) override
    {
        add(place(QStringLiteral("frame %1/%2").arg(frame.stream).arg(frame.number), frame.offset, frame.size)
            + (frame.key ? QStringLiteral(" key") : QString()));
        return takes();
    }
    bool setElementSize(quint64 size) override
    {
        add(QStringLiteral("size %1").arg(size));
        return takes();
    }
    bool reportProblem(const quenlofar::ReportedProblem &problem) override
    {
        const QString name = QStringLiteral("problem ") + severityName(problem.severity).toString();
        add(place(name, problem.offset, problem.size) + QLatin1Char(' ') + problem.text.toString());
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
    static QString place(QStringView name, quint64 offset, quint64 size)
    {
        return name.toString() + QStringLiteral(" %1+%2").arg(offset).arg(size);
    }
    void add(const QString &line) { lines.append(QString(2 * m_depth, QLatin1Char(' ')) + line); }
    bool takes()
    {
        ++calls;
        return failAt == 0 || calls < failAt;
    }

    int m_depth = 0;
};

} // namespace quenlofar
