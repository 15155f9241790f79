// A complete plug-in of somebody who knows the names of the parser interface alone: no using-directive, no namespace
// named, and types of its own that are called as the framework calls some of its own.
#include "containerabstract.h"
#include "pluginexports.h"

struct Field
{
    int own;
};
struct Frame
{
    char own[3];
};
enum class Status { Own };
struct TextStyle
{
    double own;
};
namespace build {
inline int own = 0;
}

namespace {

struct Record : ContainerAbstract::CommonElement
{
    using CommonElement::CommonElement;
};

class PlainParser : public ContainerAbstract
{
protected:
    int verifyContainerFormat(const QString &path) override
    {
        if (const int status = openFile(path); status != 0)
            return status;
        const QByteArray first = m_file.read(2);
        closeFile();
        return first == "PL" ? 0 : 3;
    }
    int findBeginOfContainer(qint64 *offset) override
    {
        *offset = 0;
        return 0;
    }
    int parseElement(quint64 *size) override
    {
        const Record record(7, QStringLiteral("record"));
        const quint64 end = quint64(m_levelEnds.last());
        m_file.seek(qint64(m_position));
        char first[2] = {};
        const qint64 count = m_file.read(first, sizeof first);
        beginElement(m_position, end - m_position, record.name, -1);
        addField(false, m_position, 0, quint64(count), QStringLiteral("id"), bytesToText(QByteArray(first, int(count))),
                 QString(), QString(), -1);
        addField(false, m_position + 2, 0, end - m_position - 2, unparsedDataMarker.toString(), QString(), QString(),
                 QString(), -1);
        if (!m_videoStreams.isEmpty() && !m_streamFrameCounters.isEmpty()) {
            m_videoStreams.last()->codecId = 14;
            m_frameOffset = m_position;
            m_frameSize = 1;
            m_frameIsKey = 1;
            reportFrame(0, m_streamFrameCounters[0]++);
        }
        endElement();
        *size = end - m_position;
        return m_file.size() == qint64(end) ? 0 : 5;
    }
    void prepareParsing() override { }
    void finalizeParsing() override { }
};

} // namespace

QString containerName()
{
    return QStringLiteral("Plain");
}

QStringList supportedExtensions()
{
    return QStringLiteral("pln").split(QLatin1Char('|'));
}

ContainerAbstract *createParser()
{
    return new PlainParser;
}
