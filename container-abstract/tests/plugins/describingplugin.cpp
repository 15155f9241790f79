// A complete plug-in with the optional export and a version. Its texts are literals, which go when it is unloaded.
#include "containerdescriber.h"
#include "dummyparser.h"
#include "pluginexports.h"
#include "pluginversion.h"

using namespace quenlofar;

namespace {

class DummyDescriber : public ContainerDescriber
{
public:
    bool beginElement(quint64, quint64, QStringView, qint64) override { return true; }
    bool addField(const Field &) override { return true; }
    bool endElement() override { return true; }
    bool reportFrame(const Frame &) override { return true; }
    QVector<DescriptionRow> rows() const override { return {{QStringLiteral("title"), QStringLiteral("Dummies")}}; }
    QVector<StreamDescription> streams() const override
    {
        StreamDescription stream;
        stream.name = QStringLiteral("English");
        stream.codecCode = QStringLiteral("DUMY");
        stream.codecName = QStringLiteral("Dummy codec");
        return {stream};
    }
};

} // namespace

QUENLOFAR_PLUGIN_VERSION("1.20-beta");

QString containerName()
{
    return QStringLiteral("Described");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("dsc")};
}

ContainerAbstract *createParser()
{
    return new DummyParser;
}

ContainerDescriber *createDescriber()
{
    return new DummyDescriber;
}
