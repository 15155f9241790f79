#pragma once

#include "byteaccounting.h"
#include "containerdescriber.h"
#include "describingsink.h"
#include "framestatistics.h"
#include "runresult.h"

#include <QString>
#include <QVector>

namespace quenlofar {

/// What `rows` of a describer say of streams that it left out, in its row "streams"; empty when it has none.
QString leftOutText(const QVector<DescriptionRow> &rows);

/// What a walk told of one file, in short. Takes at most 8 bytes per frame, and some for each place
/// where the file is unparsed or has a gap.
struct FileSummary
{
    DocumentStart start;
    QVector<DescriptionRow> rows;
    QVector<StreamDescription> streams;
    FrameStatistics frames;
    ByteAccounting bytes{ByteAccounting::Detail::Covered};
    QVector<KeptProblem> problems; ///< the first that the parser reported, at most mostProblems
    RunResult result;

    static constexpr int mostProblems = 8;

    /// Bits per second of a video stream, from its frames; 0 when they do not cover the stream, or the frame rate is
    /// not known.
    quint64 bitRate(uint videoOrdinal, const StreamFrames &streamFrames) const;

private:
    const StreamDescription *videoStream(uint videoOrdinal) const;
    double frameRate(uint videoOrdinal) const;
};

/// Fills a FileSummary during a walk. What it is good for begins when the walk has ended: print().
class SummarySink : public ElementSink
{
public:
    explicit SummarySink(const QVector<ParserFactory> &parsers) : m_describer(parsers) { }

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    bool setElementSize(quint64 size) override;
    bool reportProblem(const ReportedProblem &problem) override;
    QString errorText() const override { return m_errorText; }

protected:
    /// Prints what was found; null, or why that was not possible.
    virtual QString print(FileSummary &summary) = 0;

private:
    bool took(bool isTaken);

    FileSummary m_summary;
    DescribingSink m_describer;
    QString m_errorText;
};

} // namespace quenlofar
