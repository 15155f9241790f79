// What the window looks like, compared with the pictures of this folder's neighbour "pictures", which ./dev screenshots
// makes. Letters are drawn a little differently by each version of a library: a few pixels may differ.
#include "waiting.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

/// A line of pictures.txt.
struct Picture
{
    QString name;
    QString scale;
    QString file;
    QStringList actions;
};

QString picturesFolder()
{
    return QStringLiteral(QUENLOFAR_PICTURES);
}

QList<Picture> allPictures()
{
    QFile file(picturesFolder() + QStringLiteral("/pictures.txt"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<Picture> pictures;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QStringList words = line.simplified().split(QLatin1Char(' '));
        if (words.size() >= 3 && !line.startsWith(QLatin1Char('#')))
            pictures.append({words[0], words[1], words[2], words.mid(3)});
    }
    return pictures;
}

/// How much the most different of all areas of 32 x 32 pixels differ: 0 for the same, 255 for black and white.
double difference(const QImage &picture, const QImage &other)
{
    constexpr int area = 32;
    double most = 0;
    for (int top = 0; top < picture.height(); top += area) {
        for (int left = 0; left < picture.width(); left += area) {
            int sum = 0;
            int count = 0;
            for (int y = top; y < std::min(top + area, picture.height()); ++y) {
                for (int x = left; x < std::min(left + area, picture.width()); ++x) {
                    const QRgb a = picture.pixel(x, y);
                    const QRgb b = other.pixel(x, y);
                    sum += std::max(
                        {std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
                    ++count;
                }
            }
            most = std::max(most, double(sum) / count);
        }
    }
    return most;
}

} // namespace

class ViewerPicturesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void differencesAreSeen();
    void windowLooksAsItDid_data();
    void windowLooksAsItDid();
};

/// A comparison that nothing fails would prove nothing.
void ViewerPicturesTest::differencesAreSeen()
{
    QImage picture(100, 100, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QCOMPARE(difference(picture, picture), 0.0);
    QImage other = picture;
    for (int x = 40; x < 50; ++x) {
        for (int y = 40; y < 50; ++y)
            other.setPixel(x, y, qRgb(0, 0, 0));
    }
    QCOMPARE(difference(picture, other), 100 * 255.0 / (32 * 32));
}

void ViewerPicturesTest::windowLooksAsItDid_data()
{
    QTest::addColumn<int>("number");
    const QList<Picture> pictures = allPictures();
    QVERIFY(pictures.size() >= 9);
    for (int number = 0; number < int(pictures.size()); ++number)
        QTest::addRow("%s", qPrintable(pictures[number].name)) << number;
}

void ViewerPicturesTest::windowLooksAsItDid()
{
    QFETCH(int, number);
    const Picture picture = allPictures().at(number);
    const QTemporaryDir home;
    const QString made = home.filePath(QStringLiteral("made.png"));
    QProcessEnvironment environment;
    const std::pair<const char *, QString> variables[] = {
        {"HOME", home.path()},
        {"XDG_RUNTIME_DIR", home.path()},
        {"LC_ALL", QStringLiteral("C.UTF-8")},
        {"QT_QPA_PLATFORM", QStringLiteral("offscreen")},
        {"QT_SCALE_FACTOR", picture.scale},
        {"FONTCONFIG_FILE", picturesFolder() + QStringLiteral("/fonts.conf")}};
    for (const auto &[name, value] : variables)
        environment.insert(QString::fromLatin1(name), value);
    QStringList arguments{QStringLiteral("-style"), QStringLiteral("fusion"),
                          QStringLiteral(QUENLOFAR_SAMPLES_DIR "/") + picture.file};
    for (const QString &action : picture.actions)
        arguments += {QStringLiteral("--do"), action};
    arguments += {QStringLiteral("--screenshot"), made};
    QProcess viewer;
    viewer.setProcessEnvironment(environment);
    viewer.start(QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/quenlofar-viewer"), arguments);
    QVERIFY(viewer.waitForFinished(quenlofar::patience));
    QCOMPARE(viewer.exitCode(), 0);

    const QImage now(made);
    const QImage expected(picturesFolder() + QLatin1Char('/') + picture.name + QStringLiteral(".png"));
    QVERIFY(!expected.isNull());
    QCOMPARE(now.size(), expected.size());
    constexpr double mostDifference = 12; // a letter that moves by a pixel; a text that is another one has 20 and more
    const double found = difference(now, expected);
    if (found > mostDifference)
        now.save(QDir::current().filePath(picture.name + QStringLiteral("-now.png")));
    QVERIFY2(found <= mostDifference,
             qPrintable(QStringLiteral("differs by %1: see %2-now.png").arg(found).arg(picture.name)));
}

QTEST_GUILESS_MAIN(ViewerPicturesTest)
#include "tst_viewerpictures.moc"
