// A complete plug-in for files that begin with the letter QUENLOFAR_LETTER or with a star. It is built twice, so that
// two claim the same extension.
#include "dummyparser.h"
#include "pluginexports.h"

using namespace quenlofar;

namespace {

class LetterParser : public DummyParser
{
protected:
    int verifyContainerFormat(const QString &path) override
    {
        if (const int status = openFile(path); status != StatusOk)
            return status;
        const QByteArray letter = m_file.read(1);
        closeFile();
        return letter == QUENLOFAR_LETTER || letter == "*" ? StatusOk : StatusNotRecognised;
    }
};

} // namespace

QString containerName()
{
    return QStringLiteral(QUENLOFAR_LETTER);
}

QStringList supportedExtensions()
{
    return {QStringLiteral("txt")};
}

ContainerAbstract *createParser()
{
    return new LetterParser;
}
