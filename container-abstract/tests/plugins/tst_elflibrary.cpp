#include "elflibrary.h"

#include "bytesource.h"

#include <QFile>
#include <QTest>

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>

using namespace quenlofar;

namespace {

QByteArray ownProgram()
{
    QFile file(QStringLiteral("/proc/self/exe"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

std::vector<std::string> namesIn(const QByteArray &bytes)
{
    const std::unique_ptr<ByteSource> source = memorySource(bytes);
    return ElfLibrary(*source).neededLibraries();
}

/// Everything that is asked of a library, for those that are broken.
void askAll(const QByteArray &bytes)
{
    const std::unique_ptr<ByteSource> source = memorySource(bytes);
    const ElfLibrary library(*source);
    library.isCutOff();
    library.neededLibraries();
    library.exports("containerName");
    library.exports("createDescriber");
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A library of one segment that is loaded as it stands in the file, and a table of symbols.
struct SmallElf
{
    QByteArray names = QByteArray("\0f\0g\0", 5); // "f" at 1, "g" at 3
    std::vector<ElfW(Sym)> symbols{{}, function()};
    qint64 tableTag = DT_HASH;
    std::vector<quint32> table{1, 2, 1, 0, 0}; // a bucket and two chains: the bucket has symbol 1, which is the last
    bool hasSymbols = true;
    bool hasNames = true;

    /// A function "f" that everybody sees.
    static ElfW(Sym) function(int kind = STT_FUNC, int seen = STV_DEFAULT, int section = 1)
    {
        ElfW(Sym) symbol = {};
        symbol.st_name = 1;
        symbol.st_info = static_cast<unsigned char>(ELF64_ST_INFO(STB_GLOBAL, kind));
        symbol.st_other = static_cast<unsigned char>(seen);
        symbol.st_shndx = quint16(section);
        return symbol;
    }

    QByteArray bytes() const
    {
        constexpr size_t dynamicAt = sizeof(ElfW(Ehdr)) + 2 * sizeof(ElfW(Phdr));
        constexpr size_t symbolsAt = dynamicAt + 4 * sizeof(ElfW(Dyn));
        const size_t namesAt = symbolsAt + symbols.size() * sizeof(ElfW(Sym));
        const size_t tableAt = (namesAt + size_t(names.size()) + 7) / 8 * 8;
        const size_t end = tableAt + table.size() * sizeof(quint32);
        QByteArray all(int(end), '\0');
        const auto write = [&all](size_t at, const void *from, size_t size) {
            std::memcpy(all.data() + at, from, size);
        };
        ElfW(Ehdr) header = {};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
        header.e_ident[EI_DATA] = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? ELFDATA2LSB : ELFDATA2MSB;
        header.e_phentsize = sizeof(ElfW(Phdr));
        header.e_phoff = sizeof header;
        header.e_phnum = 2;
        write(0, &header, sizeof header);
        ElfW(Phdr) segments[2] = {};
        segments[0].p_type = PT_LOAD;
        segments[0].p_filesz = end;
        segments[1].p_type = PT_DYNAMIC;
        segments[1].p_offset = dynamicAt;
        segments[1].p_filesz = 4 * sizeof(ElfW(Dyn));
        write(sizeof header, segments, sizeof segments);
        ElfW(Dyn) entries[4] = {};
        entries[0].d_tag = decltype(entries[0].d_tag)(tableTag);
        entries[0].d_un.d_ptr = tableAt;
        entries[1].d_tag = hasSymbols ? DT_SYMTAB : DT_DEBUG;
        entries[1].d_un.d_ptr = symbolsAt;
        entries[2].d_tag = hasNames ? DT_STRTAB : DT_DEBUG;
        entries[2].d_un.d_ptr = namesAt;
        write(dynamicAt, entries, sizeof entries);
        write(symbolsAt, symbols.data(), symbols.size() * sizeof(ElfW(Sym)));
        write(namesAt, names.constData(), size_t(names.size()));
        write(tableAt, table.data(), table.size() * sizeof(quint32));
        return all;
    }
    bool exports(const char *name) const
    {
        const std::unique_ptr<ByteSource> source = memorySource(bytes());
        return ElfLibrary(*source).exports(name);
    }
};

/// A library with the newer table: one bucket, from symbol 1 on, a word of filter, and these chain entries.
SmallElf withGnuTable(const std::vector<quint32> &chain, size_t symbols = 2)
{
    SmallElf elf;
    elf.tableTag = DT_GNU_HASH;
    elf.table = {1, 1, 1, 0};
    elf.table.resize(4 + sizeof(ElfW(Addr)) / sizeof(quint32));
    elf.table.push_back(1);
    elf.table.insert(elf.table.end(), chain.begin(), chain.end());
    elf.symbols.resize(symbols);
    elf.symbols.back() = SmallElf::function();
    return elf;
}

} // namespace

class TestElfLibrary : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesWhatAProgramIsLinkedWith()
    {
        const std::vector<std::string> names = namesIn(ownProgram());
        const std::string qt =
            "libQt" + std::to_string(QT_VERSION_MAJOR) + "Core.so." + std::to_string(QT_VERSION_MAJOR);
        QCOMPARE(std::count(names.begin(), names.end(), qt), std::ptrdiff_t(1));
        QCOMPARE(std::count(names.begin(), names.end(), "libquenlofar-container-abstract.so." QUENLOFAR_ABI),
                 std::ptrdiff_t(1));
    }

    void readsLittle()
    {
        // Counted by a source that is no memory: the program has megabytes with its debug information.
        struct Counting : ByteSource
        {
            QByteArray bytes = ownProgram();
            qint64 count = 0;
            qint64 size() const override { return bytes.size(); }
            qint64 readAt(qint64 position, char *data, qint64 maxSize) override
            {
                const QByteArray part = bytes.mid(int(position), int(maxSize));
                std::copy(part.begin(), part.end(), data);
                count += part.size();
                return part.size();
            }
        } source;
        const ElfLibrary program(source);
        QVERIFY(!program.neededLibraries().empty());
        QVERIFY(!program.exports("containerName"));
        QVERIFY(source.count < 32 * 1024);
    }

    void otherFilesNameNothing_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("no bytes") << QByteArray();
        QTest::newRow("a text") << QByteArray("no library, but a text that is longer than the header of one would be.");
        QTest::newRow("a beginning") << ownProgram().left(10);
        QTest::newRow("a header alone") << ownProgram().left(64);
        QByteArray otherClass = ownProgram();
        otherClass[4] = char(otherClass.at(4) ^ 3);
        QTest::newRow("another width of addresses") << otherClass;
        QByteArray otherOrder = ownProgram();
        otherOrder[5] = char(otherOrder.at(5) ^ 3);
        QTest::newRow("another byte order") << otherOrder;
        QByteArray nothingLoaded = ownProgram();
        ElfW(Ehdr) header;
        std::memcpy(&header, nothingLoaded.constData(), sizeof header);
        for (size_t number = 0; number < header.e_phnum; ++number) {
            char *const place = nothingLoaded.data() + header.e_phoff + number * sizeof(ElfW(Phdr));
            ElfW(Phdr) segment;
            std::memcpy(&segment, place, sizeof segment);
            if (segment.p_type == PT_LOAD)
                segment.p_type = PT_NULL;
            std::memcpy(place, &segment, sizeof segment);
        }
        QTest::newRow("the names are loaded from nowhere") << nothingLoaded;
    }
    void otherFilesNameNothing()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(namesIn(bytes).empty());
    }

    void exportsOfALibrary_data()
    {
        QTest::addColumn<QString>("library");
        QTest::addColumn<QByteArray>("function");
        QTest::addColumn<bool>("expected");
        const QString good = QStringLiteral(QUENLOFAR_GOOD_PLUGIN);
        const QString oldTable = QStringLiteral(QUENLOFAR_SYSV_PLUGIN);
        QTest::newRow("the first one") << good << QByteArray("containerName") << true;
        QTest::newRow("the second one") << good << QByteArray("supportedExtensions") << true;
        QTest::newRow("the third one") << good << QByteArray("createParser") << true;
        QTest::newRow("the optional one is not there") << good << QByteArray("createDescriber") << false;
        QTest::newRow("the optional one is there")
            << QStringLiteral(QUENLOFAR_DESCRIBING_PLUGIN) << QByteArray("createDescriber") << true;
        QTest::newRow("the beginning of a name is another name") << good << QByteArray("container") << false;
        QTest::newRow("so is a longer one") << good << QByteArray("containerNames") << false;
        QTest::newRow("no name") << good << QByteArray("") << false;
        QTest::newRow("what is only used is not exported") << good << QByteArray("_ZdlPvm") << false;
        QTest::newRow("a variable is no function")
            << QStringLiteral(QUENLOFAR_VARIABLE_PLUGIN) << QByteArray("containerName") << false;
        QTest::newRow("what a needed library exports is not exported")
            << QStringLiteral(QUENLOFAR_FOREIGN_QT_PLUGIN) << QByteArray("foreignFunction") << false;
        QTest::newRow("the older table: there") << oldTable << QByteArray("createParser") << true;
        QTest::newRow("the older table: not there") << oldTable << QByteArray("createDescriber") << false;
    }
    void exportsOfALibrary()
    {
        QFETCH(QString, library);
        QFETCH(QByteArray, function);
        const QByteArray bytes = bytesOf(library);
        const std::unique_ptr<ByteSource> source = memorySource(bytes);
        const ElfLibrary elf(*source);
        QVERIFY(elf.isLibrary());
        QTEST(elf.exports(std::string_view(function.constData(), size_t(function.size()))), "expected");
    }

    void symbolsThatAreExported()
    {
        const auto isExported = [](const ElfW(Sym) & symbol) {
            SmallElf elf;
            elf.symbols[1] = symbol;
            return elf.exports("f");
        };
        QVERIFY(isExported(SmallElf::function()));
        QVERIFY(isExported(SmallElf::function(STT_GNU_IFUNC)));
        QVERIFY(isExported(SmallElf::function(STT_FUNC, STV_PROTECTED)));
        QVERIFY(!isExported(SmallElf::function(STT_OBJECT)));
        QVERIFY(!isExported(SmallElf::function(STT_FUNC, STV_HIDDEN)));
        QVERIFY(!isExported(SmallElf::function(STT_FUNC, STV_DEFAULT, SHN_UNDEF)));
        QVERIFY(!SmallElf().exports("g"));
        SmallElf elf;
        elf.hasSymbols = false;
        QVERIFY(!elf.exports("f"));
        elf = SmallElf();
        elf.hasNames = false;
        QVERIFY(!elf.exports("f"));
        elf = SmallElf();
        elf.tableTag = DT_DEBUG;
        QVERIFY(!elf.exports("f"));
        elf = SmallElf();
        elf.names = '\0' + QByteArray(255, 'f') + '\0';
        QVERIFY(elf.exports(QByteArray(255, 'f').constData()));
        elf.names = '\0' + QByteArray(256, 'f') + '\0'; // longer than is read
        QVERIFY(!elf.exports(QByteArray(256, 'f').constData()));
    }

    void tablesThatDoNotEnd()
    {
        SmallElf circle;
        circle.table = {1, 2, 1, 0, 1}; // symbol 1 comes behind itself
        QVERIFY(circle.exports("f"));
        QVERIFY(!circle.exports("g"));
        SmallElf empty;
        empty.table = {0, 2, 1, 0, 0};
        QVERIFY(!empty.exports("f"));

        // The hash of "f" is 5381 * 33 + 102; its lowest bit is set, which ends the chain.
        constexpr quint32 hash = 177675;
        QVERIFY(withGnuTable({hash}).exports("f"));
        QVERIFY(!withGnuTable({hash}).exports("g"));
        QVERIFY(!withGnuTable({hash - 1}).exports("g")); // and the file ends there
        std::vector<quint32> chain(100);
        chain.push_back(hash);
        QVERIFY(withGnuTable(chain, 102).exports("f"));
        chain.assign(5000, 0); // more than are looked at
        chain.push_back(hash);
        QVERIFY(!withGnuTable(chain, 5002).exports("f"));
        SmallElf none = withGnuTable({hash});
        none.table[0] = 0;
        QVERIFY(!none.exports("f"));
        SmallElf far = withGnuTable({hash});
        far.table[2] = 0xFFFFFFFF; // words of the filter
        QVERIFY(!far.exports("f"));
    }

    void brokenFilesAreSurvived_data()
    {
        QTest::addColumn<QByteArray>("whole");
        QTest::newRow("a program") << ownProgram().left(64 * 1024);
        QTest::newRow("a plug-in") << bytesOf(QStringLiteral(QUENLOFAR_GOOD_PLUGIN)).left(64 * 1024);
        QTest::newRow("one with the older table") << bytesOf(QStringLiteral(QUENLOFAR_SYSV_PLUGIN)).left(64 * 1024);
    }
    void brokenFilesAreSurvived()
    {
        // The sanitizers look for what is read where nothing is.
        QFETCH(QByteArray, whole);
        for (int size = 0; size < 2000; ++size)
            askAll(whole.left(size));
        for (const char byte : {'\x00', '\x7F', '\xFF'}) {
            for (int at = 0; at < 1600; ++at) {
                QByteArray broken = whole;
                broken.replace(at, 4, QByteArray(4, byte));
                askAll(broken);
            }
        }
    }

    void aReadErrorNamesNothing()
    {
        struct Failing : ByteSource
        {
            qint64 size() const override { return 1000; }
            qint64 readAt(qint64, char *, qint64) override { return -1; }
        } source;
        const ElfLibrary library(source);
        QVERIFY(!library.isLibrary());
        QVERIFY(library.neededLibraries().empty());
        QVERIFY(!library.exports("containerName"));
    }
};

QTEST_APPLESS_MAIN(TestElfLibrary)
#include "tst_elflibrary.moc"
