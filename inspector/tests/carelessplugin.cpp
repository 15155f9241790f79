// A plug-in for a format of its own, "CARE", a letter and four more bytes. The letter says what it does that parsers
// should not do, for the command that tries plug-ins; with "-" it does everything right.
#include "pluginexports.h"

#include "containerabstract.h"

#include <cstdlib>
#include <stdexcept>

using namespace quenlofar;

namespace {

constexpr quint64 wholeSize = 9;

class CarelessParser : public ContainerAbstract
{
protected:
    int verifyContainerFormat(const QString &path) override
    {
        if (const int status = openFile(path); status != StatusOk)
            return status;
        const QByteArray start = m_file.read(5);
        m_letter = start.size() == 5 ? start.at(4) : '-';
        closeFile();
        return start.startsWith("CARE") ? StatusOk : StatusNotRecognised;
    }
    int findBeginOfContainer(qint64 *offset) override
    {
        *offset = 0;
        return StatusOk;
    }
    void prepareParsing() override { }
    void finalizeParsing() override { }
    int parseElement(quint64 *size) override
    {
        static int walks = 0;
        const quint64 fileSize = quint64(m_file.size());
        const bool isCut = fileSize < wholeSize;
        *size = fileSize;
        beginElement(0, fileSize, u"care");
        addLeaf(0, fileSize, u"bytes", m_letter == 'R' ? QString::number(++walks) : QString());
        if (m_letter == 'O')
            addLeaf(2, 2, u"again", {});
        if (m_letter == 'B')
            addLeaf(fileSize, 4, u"beyond", {});
        if (m_letter == 'C' && isCut)
            std::abort();
        if (m_letter == 'T' && isCut)
            throw std::runtime_error("a cut file");
        for (volatile bool isEndless = m_letter == 'E'; isEndless;) { }
        if (m_letter == 'L')
            return StatusOk;
        endElement();
        if (m_letter == 'X')
            endElement();
        return StatusOk;
    }

private:
    char m_letter = '-';
};

} // namespace

QString containerName()
{
    return QStringLiteral("CARE");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("care")};
}

ContainerAbstract *createParser()
{
    return new CarelessParser;
}
