#pragma once

#include "faultysource.h"
#include "scriptedparser.h"
#include "testing/recordingsink.h"

#include <QTest>

namespace quenlofar {

/// The path of the tests that read something else.
inline const QString clipPath = QStringLiteral("clip.avi");

/// A parser of elements of `step` bytes, one leaf each.
inline void parseInSteps(ScriptedParser &parser, quint64 step)
{
    parser.parse = [step](ScriptedParser &self, quint64 *size) {
        self.beginElement(self.m_position, step, QStringLiteral("part"), -1);
        self.addLeaf(self.m_position, step, QStringLiteral("bytes"));
        self.endElement();
        *size = step;
        return 0;
    };
}

/// Walks over `bytes` with one parser, named "TEST", that `setUp` has prepared.
inline RunResult runOver(const QByteArray &bytes, const std::function<void(ScriptedParser &)> &setUp, ElementSink &sink,
                         const RunLimits &limits = {})
{
    ContainerRun run(limits);
    run.setOpener(memoryOpener(bytes));
    return run.run(clipPath, {scriptedFactory(QStringLiteral("TEST"), setUp)}, sink);
}

/// Lets a run read the source of this state, whatever the path says.
inline SourceOpener faultyOpener(SourceState *state)
{
    return [state](const QString &, QString *) { return std::make_unique<FaultySource>(state); };
}

/// Every begun node and the one document are ended.
inline void verifyBalanced(const RecordingSink &sink)
{
    QCOMPARE(sink.depth(), 0);
    QCOMPARE(sink.documentsBegun, 1);
    QCOMPARE(sink.documentsEnded, 1);
}

} // namespace quenlofar
