#include "avibuilder.h"
#include "aviprobe.h"

#include <QRegularExpression>
#include <QTest>

using namespace quenlofar;
using namespace build;

class TestVideoProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsHeaderAndFields();
    void everyMemberIsUnsigned();
    void aspectRatio_data();
    void aspectRatio();
    void followsTheCount_data();
    void followsTheCount();
    void showsZerosPastTheEndOfTheFile();
};

void TestVideoProperties::showsHeaderAndFields()
{
    AviProbe parser(zeros(20)
                    + VideoProperties()
                          .format(1, 2)
                          .refreshRate(50)
                          .total(864, 625)
                          .aspectRatio(0x00100009)
                          .frame(720, 4294967295)
                          .fields(2)
                          .fieldInfo(100)
                          .fieldInfo(4294967288));
    QCOMPARE(parser.call(AviProbe::vprp, 20, 100), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("VideoFormatToken 20+4 1"),
                 QStringLiteral("VideoStandard 24+4 2"),
                 QStringLiteral("dwVerticalRefreshRate 28+4 50"),
                 QStringLiteral("dwHTotalInT 32+4 864"),
                 QStringLiteral("dwVTotalInLines 36+4 625"),
                 QStringLiteral("dwFrameAspectRatio 40+4 1048585 [16:9]"),
                 QStringLiteral("dwFrameWidthInPixels 44+4 720"),
                 QStringLiteral("dwFrameHeightInLines 48+4 4294967295"),
                 QStringLiteral("nbFieldsPerFrame 52+4 2"),
                 QStringLiteral("FieldFrameInfo 56+32 #0 {"),
                 QStringLiteral("  CompressedBMHeight 56+4 100"),
                 QStringLiteral("  CompressedBMWidth 60+4 101"),
                 QStringLiteral("  ValidBMHeight 64+4 102"),
                 QStringLiteral("  ValidBMWidth 68+4 103"),
                 QStringLiteral("  ValidBMXOffset 72+4 104"),
                 QStringLiteral("  ValidBMYOffset 76+4 105"),
                 QStringLiteral("  VideoXOffsetInT 80+4 106"),
                 QStringLiteral("  VideoYValidStartLine 84+4 107"),
                 QStringLiteral("}"),
                 QStringLiteral("FieldFrameInfo 88+32 #1 {"),
                 QStringLiteral("  CompressedBMHeight 88+4 4294967288"),
                 QStringLiteral("  CompressedBMWidth 92+4 4294967289"),
                 QStringLiteral("  ValidBMHeight 96+4 4294967290"),
                 QStringLiteral("  ValidBMWidth 100+4 4294967291"),
                 QStringLiteral("  ValidBMXOffset 104+4 4294967292"),
                 QStringLiteral("  ValidBMYOffset 108+4 4294967293"),
                 QStringLiteral("  VideoXOffsetInT 112+4 4294967294"),
                 QStringLiteral("  VideoYValidStartLine 116+4 4294967295"),
                 QStringLiteral("}"),
             }));
    QCOMPARE(parser.m_file.pos(), qint64(20));
}

void TestVideoProperties::everyMemberIsUnsigned()
{
    AviProbe parser(QByteArray(32, '\xFF') + u32(1) + QByteArray(32, '\xFF'));
    QCOMPARE(parser.call(AviProbe::vprp, 68), 0);
    QCOMPARE(parser.lines(),
             (QStringList{
                 QStringLiteral("VideoFormatToken 0+4 4294967295"),
                 QStringLiteral("VideoStandard 4+4 4294967295"),
                 QStringLiteral("dwVerticalRefreshRate 8+4 4294967295"),
                 QStringLiteral("dwHTotalInT 12+4 4294967295"),
                 QStringLiteral("dwVTotalInLines 16+4 4294967295"),
                 QStringLiteral("dwFrameAspectRatio 20+4 4294967295 [65535:65535]"),
                 QStringLiteral("dwFrameWidthInPixels 24+4 4294967295"),
                 QStringLiteral("dwFrameHeightInLines 28+4 4294967295"),
                 QStringLiteral("nbFieldsPerFrame 32+4 1"),
                 QStringLiteral("FieldFrameInfo 36+32 #0 {"),
                 QStringLiteral("  CompressedBMHeight 36+4 4294967295"),
                 QStringLiteral("  CompressedBMWidth 40+4 4294967295"),
                 QStringLiteral("  ValidBMHeight 44+4 4294967295"),
                 QStringLiteral("  ValidBMWidth 48+4 4294967295"),
                 QStringLiteral("  ValidBMXOffset 52+4 4294967295"),
                 QStringLiteral("  ValidBMYOffset 56+4 4294967295"),
                 QStringLiteral("  VideoXOffsetInT 60+4 4294967295"),
                 QStringLiteral("  VideoYValidStartLine 64+4 4294967295"),
                 QStringLiteral("}"),
             }));
}

void TestVideoProperties::aspectRatio_data()
{
    QTest::addColumn<quint32>("ratio");
    QTest::addColumn<QString>("expected");

    QTest::newRow("upper half first: 16:9") << 0x00100009u << QStringLiteral("1048585 [16:9]");
    QTest::newRow("4:3") << 0x00040003u << QStringLiteral("262147 [4:3]");
    QTest::newRow("zero is a ratio too") << 0u << QStringLiteral("0 [0:0]");
    QTest::newRow("halves are unsigned") << 0xFFFF8000u << QStringLiteral("4294934528 [65535:32768]");
}

void TestVideoProperties::aspectRatio()
{
    QFETCH(quint32, ratio);
    QFETCH(QString, expected);
    AviProbe parser(VideoProperties().aspectRatio(ratio));
    QCOMPARE(parser.call(AviProbe::vprp, 36), 0);
    QCOMPARE(parser.lines().at(5), QStringLiteral("dwFrameAspectRatio 20+4 ") + expected);
}

void TestVideoProperties::followsTheCount_data()
{
    QTest::addColumn<quint32>("count");
    QTest::addColumn<quint32>("size");
    QTest::addColumn<QStringList>("expected"); // titles and unparsed bytes

    const QString first = QStringLiteral("FieldFrameInfo 36+32 #0 {");
    const QString second = QStringLiteral("FieldFrameInfo 68+32 #1 {");
    const QString third = QStringLiteral("FieldFrameInfo 100+32 #2 {");
    QTest::newRow("no field, nothing left") << 0u << 36u << QStringList{};
    QTest::newRow("no field, one byte left") << 0u << 37u << QStringList{QStringLiteral("unparsed 36+1")};
    QTest::newRow("no field, four bytes left") << 0u << 40u << QStringList{QStringLiteral("unparsed 36+4")};
    QTest::newRow("one field, nothing left") << 1u << 68u << QStringList{first};
    QTest::newRow("one field, two bytes left") << 1u << 70u << QStringList{first, QStringLiteral("unparsed 68+2")};
    QTest::newRow("two fields, nothing left") << 2u << 100u << QStringList{first, second};
    QTest::newRow("count beyond the chunk: fields past its end") << 3u << 68u << QStringList{first, second, third};
    QTest::newRow("count beyond the chunk by a byte") << 1u << 67u << QStringList{first};
    QTest::newRow("chunk shorter than the header: fields all the same") << 1u << 8u << QStringList{first};
    QTest::newRow("size as large as can be")
        << 1u << 4294967295u << QStringList{first, QStringLiteral("unparsed 68+4294967227")};
}

void TestVideoProperties::followsTheCount()
{
    QFETCH(quint32, count);
    QFETCH(quint32, size);
    QFETCH(QStringList, expected);
    AviProbe parser(VideoProperties().fields(count).fieldInfo(1).fieldInfo(2).fieldInfo(3));
    QCOMPARE(parser.call(AviProbe::vprp, size), 0);
    QCOMPARE(parser.lines().filter(QRegularExpression(QStringLiteral("^(FieldFrameInfo|unparsed)"))), expected);
    QCOMPARE(parser.lines().size(), 9 + int(count) * 10 + int(expected.size()) - int(count));
    QCOMPARE(parser.openNodes(), 0);
    QCOMPARE(parser.m_file.pos(), qint64(0));
}

void TestVideoProperties::showsZerosPastTheEndOfTheFile()
{
    // The second field has two whole words, the third nothing: what came before must not show through.
    AviProbe parser(VideoProperties().fields(3).fieldInfo(11) + u32(21) + u32(22));
    QCOMPARE(parser.call(AviProbe::vprp, 132), 0);
    QCOMPARE(parser.lines().mid(20, 3),
             (QStringList{QStringLiteral("  CompressedBMHeight 68+4 21"), QStringLiteral("  CompressedBMWidth 72+4 22"),
                          QStringLiteral("  ValidBMHeight 76+4 0")}));
    QCOMPARE(
        parser.lines().mid(29, 2),
        (QStringList{QStringLiteral("FieldFrameInfo 100+32 #2 {"), QStringLiteral("  CompressedBMHeight 100+4 0")}));
    QCOMPARE(parser.lines().size(), 39);
}

QTEST_APPLESS_MAIN(TestVideoProperties)
#include "tst_videoproperties.moc"
