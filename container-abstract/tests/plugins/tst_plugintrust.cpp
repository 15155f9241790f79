#include "pluginloader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <grp.h>
#include <link.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace quenlofar;

namespace {

constexpr uid_t nobody = 65534;
constexpr gid_t strangers = 65534;
constexpr uid_t unchanged = uid_t(-1);

QByteArray nameOf(const QString &path)
{
    return QFile::encodeName(path);
}

} // namespace

class TestPluginTrust : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void rootRefusesWhatOthersCanChange_data();
    void rootRefusesWhatOthersCanChange();
    void anAccessListCounts();
    void rootRunsWhatNobodyElseCanChange_data();
    void rootRunsWhatNobodyElseCanChange();
    void linksAreFollowedFirst();
    void aFolderBehindALinkCounts();
    void whatIsLoadedIsWhatWasLookedAt();
    void othersDecideForThemselves();

private:
    QString path(const char *name) const { return m_directory->filePath(QLatin1String(name)); }
    QString plugin() const { return path("outer/inner/libquenlofar-container-x.so"); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestPluginTrust::init()
{
    if (geteuid() != 0)
        QSKIP("only root is protected, and only root can give files to others");
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_directory->path()).mkpath(QStringLiteral("outer/inner")));
    QVERIFY(QFile::copy(QStringLiteral(QUENLOFAR_GOOD_PLUGIN), plugin()));
    QCOMPARE(chmod(nameOf(plugin()).constData(), 0644), 0);
    for (const char *const folder : {"outer", "outer/inner", ""})
        QCOMPARE(chmod(nameOf(path(folder)).constData(), 0755), 0);
}

void TestPluginTrust::rootRefusesWhatOthersCanChange_data()
{
    QTest::addColumn<QString>("changed");
    QTest::addColumn<uint>("mode");
    QTest::addColumn<uint>("owner");
    QTest::addColumn<uint>("group");
    QTest::addColumn<QString>("reason");
    const QString file = QStringLiteral("outer/inner/libquenlofar-container-x.so");
    const QString everybody = QStringLiteral("everybody may write to %1");
    const QString group = QStringLiteral("the group 65534 may write to %1");
    const QString owner = QStringLiteral("%1 belongs to the user 65534");
    QTest::newRow("a file that everybody may write to") << file << 0666U << 0U << 0U << everybody;
    QTest::newRow("its folder") << "outer/inner" << 0777U << 0U << 0U << everybody;
    QTest::newRow("a folder above it") << "outer" << 0757U << 0U << 0U << everybody;
    QTest::newRow("a file that a group may write to") << file << 0664U << 0U << 65534U << group;
    QTest::newRow("the folder of a group") << "outer/inner" << 0775U << 0U << 65534U << group;
    QTest::newRow("a folder of a group above it") << "outer" << 0775U << 0U << 65534U << group;
    QTest::newRow("somebody's file") << file << 0644U << 65534U << 0U << owner;
    QTest::newRow("somebody's folder") << "outer/inner" << 0755U << 65534U << 0U << owner;
    QTest::newRow("somebody's folder above it") << "outer" << 0755U << 65534U << 0U << owner;
    QTest::newRow("a file that nobody may write to but its owner") << file << 0444U << 65534U << 0U << owner;
    QTest::newRow("the sticky bit says nothing of a file") << file << 01666U << 0U << 0U << everybody;
    QTest::newRow("the sticky bit does not bind the owner of a folder") << "outer" << 01777U << 65534U << 0U << owner;
}

void TestPluginTrust::rootRefusesWhatOthersCanChange()
{
    QFETCH(QString, changed);
    QFETCH(uint, mode);
    QFETCH(uint, owner);
    QFETCH(uint, group);
    QFETCH(QString, reason);
    const QString place = m_directory->filePath(changed);
    QCOMPARE(chown(nameOf(place).constData(), owner, group), 0);
    QCOMPARE(chmod(nameOf(place).constData(), mode), 0);
    PluginLoader loader;
    loader.addDirectory(path("outer/inner"));
    QCOMPARE(loader.warnings(),
             QStringList(plugin() + QStringLiteral(" cannot be used: root runs no code that others can change, and ")
                         + reason.arg(QFileInfo(place).canonicalFilePath())));
    QCOMPARE(int(loader.plugins().size()), 0);
}

void TestPluginTrust::anAccessListCounts()
{
    // The version; then kind, rights and holder of each entry: the owner, user 65534, the group, the mask, all
    // others.
    const QByteArray list = QByteArray::fromHex("02000000"
                                                "01000600ffffffff"
                                                "02000600feff0000"
                                                "04000400ffffffff"
                                                "10000600ffffffff"
                                                "20000400ffffffff");
    if (setxattr(nameOf(plugin()).constData(), "system.posix_acl_access", list.constData(), size_t(list.size()), 0)
        != 0)
        QSKIP("the file system has no access lists");
    PluginLoader loader;
    loader.addDirectory(path("outer/inner"));
    QCOMPARE(int(loader.plugins().size()), 0);
    QCOMPARE(int(loader.warnings().size()), 1);
    QVERIFY(loader.warnings().first().contains(QStringLiteral("an access list lets others write to ")));
}

void TestPluginTrust::rootRunsWhatNobodyElseCanChange_data()
{
    const group *const staff = getgrnam("staff");
    QTest::addColumn<QString>("changed");
    QTest::addColumn<uint>("mode");
    QTest::addColumn<uint>("group");
    const QString file = QStringLiteral("outer/inner/libquenlofar-container-x.so");
    QTest::newRow("what only root may write to") << "outer" << 0755U << 0U;
    QTest::newRow("the group root may write to it") << "outer" << 0775U << 0U;
    QTest::newRow("also to the file") << file << 0664U << 0U;
    QTest::newRow("a group that may only read") << "outer" << 0755U << 65534U;
    if (staff)
        QTest::newRow("the group staff, which looks after /usr/local") << "outer" << 02775U << uint(staff->gr_gid);
    // As in /tmp: no user can rename or remove another user's file.
    QTest::newRow("a sticky folder in which the next one is root's") << "outer" << 01777U << 0U;
    QTest::newRow("a sticky folder of a group") << "outer" << 01775U << 65534U;
    QTest::newRow("a sticky folder in which the file is root's") << "outer/inner" << 01777U << 0U;
}

void TestPluginTrust::rootRunsWhatNobodyElseCanChange()
{
    QFETCH(QString, changed);
    QFETCH(uint, mode);
    QFETCH(uint, group);
    const QByteArray place = nameOf(m_directory->filePath(changed));
    QCOMPARE(chown(place.constData(), unchanged, group), 0);
    QCOMPARE(chmod(place.constData(), mode), 0);
    PluginLoader loader;
    loader.addDirectory(path("outer/inner"));
    QCOMPARE(loader.warnings(), QStringList());
    QCOMPARE(int(loader.plugins().size()), 1);
}

void TestPluginTrust::linksAreFollowedFirst()
{
    // A user that may write beside the link may make it lead to another file, but only to one that root trusts, too.
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("open")));
    QCOMPARE(chmod(nameOf(path("open")).constData(), 0777), 0);
    QVERIFY(QFile::link(plugin(), path("open/libquenlofar-container-y.so")));
    PluginLoader loader;
    loader.addDirectory(path("open"));
    QCOMPARE(loader.warnings(), QStringList());
    QCOMPARE(int(loader.plugins().size()), 1);
    QCOMPARE(loader.plugins().first().file, path("open/libquenlofar-container-y.so"));
}

void TestPluginTrust::aFolderBehindALinkCounts()
{
    QVERIFY(QFile::link(path("outer"), path("link")));
    QCOMPARE(chmod(nameOf(path("outer")).constData(), 0777), 0);
    PluginLoader loader;
    loader.addDirectory(path("link/inner"));
    QCOMPARE(int(loader.plugins().size()), 0);
    QCOMPARE(int(loader.warnings().size()), 1);
    QVERIFY(loader.warnings().first().endsWith(QStringLiteral("everybody may write to ")
                                               + QFileInfo(path("outer")).canonicalFilePath()));
}

void TestPluginTrust::whatIsLoadedIsWhatWasLookedAt()
{
    QVERIFY(QFile::link(path("outer"), path("link")));
    PluginLoader loader;
    loader.addDirectory(path("link/inner"));
    QCOMPARE(int(loader.plugins().size()), 1);
    std::string opened = nameOf(QFileInfo(plugin()).canonicalFilePath()).toStdString();
    const auto isThis = [](dl_phdr_info *library, size_t, void *name) {
        return int(*static_cast<const std::string *>(name) == library->dlpi_name);
    };
    QCOMPARE(dl_iterate_phdr(isThis, &opened), 1);
}

void TestPluginTrust::othersDecideForThemselves()
{
    QCOMPARE(chmod(nameOf(plugin()).constData(), 0666), 0);
    QCOMPARE(chown(nameOf(path("outer")).constData(), nobody, strangers), 0);
    QCOMPARE(seteuid(nobody), 0);
    {
        PluginLoader loader;
        loader.addDirectory(path("outer/inner"));
        QCOMPARE(loader.warnings(), QStringList());
        QCOMPARE(int(loader.plugins().size()), 1);
    }
    QCOMPARE(seteuid(0), 0);
}

QTEST_APPLESS_MAIN(TestPluginTrust)
#include "tst_plugintrust.moc"
