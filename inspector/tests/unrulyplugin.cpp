// A plug-in that breaks rules: "UNRULY", and then a letter for each thing that it does.
#include "containerabstract.h"
#include "containerdescriber.h"

#include <QStringList>

#include <limits>
#include <stdexcept>

#ifdef __clang__
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

using namespace quenlofar;

namespace {

const QByteArray signature = "UNRULY";

class UnrulyParser : public ContainerAbstract
{
protected:
    int verifyContainerFormat(const QString &path) override
    {
        const int status = openFile(path);
        if (status != StatusOk)
            return status;
        m_letters = m_file.read(100);
        closeFile();
        if (!m_letters.startsWith(signature))
            return StatusNotRecognised;
        if (isAsked('D')) {
            beginElement(0, 1, QStringLiteral("too early"), -1);
            addStream();
        }
        return isAsked('d') ? int(StatusNotRecognised) : StatusOk;
    }
    int findBeginOfContainer(qint64 *offset) override
    {
        *offset = isAsked('b') ? -1 : isAsked('B') ? std::numeric_limits<qint64>::max() : isAsked('m') ? 3 : 0;
        return StatusOk;
    }
    int parseElement(quint64 *size) override
    {
        constexpr quint64 most = std::numeric_limits<quint64>::max();
        *size = isAsked('z') ? 0 : most;
        addLeaf(0, quint64(m_letters.size()), QString(), QStringLiteral("letters"));
        if (isAsked('o'))
            addLeaf(most - 1, most, QStringLiteral("over"), {});
        if (isAsked('i'))
            addField(false, 0, 0, 1, QStringLiteral("index"), {}, {}, {}, -2);
        if (isAsked('f'))
            reportFrame(4000000000, 0);
        if (isAsked('s'))
            addStream();
        if (isAsked('e'))
            endElement();
        if (isAsked('n'))
            beginElement(0, most, QString(), -9);
        if (isAsked('t'))
            throw std::runtime_error("unruly");
        return isAsked('-') ? std::numeric_limits<int>::min() : 0;
    }
    void prepareParsing() override { }
    void finalizeParsing() override
    {
        if (isAsked('l'))
            beginElement(0, 1, QStringLiteral("late"), -1);
    }

private:
    bool isAsked(char letter) const { return m_letters.mid(signature.size()).contains(letter); }
    void addStream()
    {
        addLeaf(0, 0, QStringLiteral("fccType"), {}, QStringLiteral("Video"));
        m_videoStreams.last()->codecId = std::numeric_limits<qint32>::min();
        m_videoStreams.last()->frameRate = std::numeric_limits<double>::quiet_NaN();
    }

    QByteArray m_letters;
};

class UnrulyDescriber : public ContainerDescriber
{
public:
    bool beginElement(quint64, quint64, QStringView, qint64) override { return true; }
    bool addField(const Field &) override { return true; }
    bool endElement() override { return true; }
    bool reportFrame(const Frame &) override { return true; }
    QVector<DescriptionRow> rows() const override { return {{{}, QStringLiteral("no label")}}; }
    QVector<StreamDescription> streams() const override
    {
        StreamDescription stream;
        stream.ordinal = -3;
        stream.videoOrdinal = 5;
        stream.kind = StreamDescription::Kind(99);
        stream.frameRate = -std::numeric_limits<double>::infinity();
        stream.length = std::numeric_limits<qint64>::max();
        stream.timeBaseNumerator = stream.timeBaseDenominator = 1;
        return {stream};
    }
};

} // namespace

extern "C" {

Q_DECL_EXPORT QString containerName()
{
    return QStringLiteral("UNRULY");
}

Q_DECL_EXPORT QStringList supportedExtensions()
{
    return {QStringLiteral("unruly")};
}

Q_DECL_EXPORT ContainerAbstract *createParser()
{
    return new UnrulyParser;
}

Q_DECL_EXPORT ContainerDescriber *createDescriber()
{
    return new UnrulyDescriber;
}

} // extern "C"
