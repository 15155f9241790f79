#pragma once

#include "containerabstract_export.h"
#include "containerdescriber.h"
#include "containerrun.h"

#include <QVector>

#include <memory>

namespace quenlofar {

/**
 * Describes each file that is walked into it, with the describer of the parser that accepts the file. Where that
 * parser's plug-in has none it takes every call and has nothing to say.
 *
 * The describer is plug-in code. It goes when the document ends; what it said of it is not bound to the plug-in. One
 * that throws is taken for one that failed, and one that saw memory run out is not asked what it knows.
 */
class CONTAINERABSTRACT_EXPORT DescribingSink : public ElementSink
{
public:
    /// `parsers` are those that the run gets, in the same order.
    explicit DescribingSink(const QVector<ParserFactory> &parsers);
    ~DescribingSink() override;

    bool beginDocument(const DocumentStart &start) override;
    bool beginElement(quint64 offset, quint64 size, QStringView title, qint64 index) override;
    bool addField(const Field &field) override;
    bool endElement() override;
    bool reportFrame(const Frame &frame) override;
    bool endDocument(const RunResult &result) override;
    bool setElementSize(quint64 size) override;
    bool reportProblem(const quenlofar::ReportedProblem &problem) override;
    QString errorText() const override;

    /// See ContainerDescriber; of the latest document, once it has ended.
    QVector<DescriptionRow> rows() const;
    /// What its describer says of the streams of the latest document.
    QVector<StreamDescription> streams() const;

private:
    template <typename Part> bool guarded(Part part);
    template <typename Call> bool pass(Call call);
    void setFailed(const QString &reason);

    QVector<ParserFactory> m_parsers;
    std::unique_ptr<ContainerDescriber> m_describer; // null where there is none
    QVector<DescriptionRow> m_rows;
    QVector<StreamDescription> m_streams;
    QString m_errorText;
};

} // namespace quenlofar
