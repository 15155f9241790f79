// A plug-in whose analyzer finds what the file asks for. A file is "JUDGED" and a line feed, then a line for each thing
// that is to be found: rule, stream (-1 for none), offset, size. "cause" explains "effect". A line "unchecked TEXT" is
// something that was not looked at; a line "stop" makes the analyzer end as if memory had run out.
#include "bytesource.h"
#include "containerabstract.h"
#include "containeranalyzer.h"
#include "finding.h"
#include "pluginexports.h"

#include <QStringList>

namespace {

using namespace quenlofar;

constexpr char signature[] = "JUDGED\n";

constexpr Rule rows[] = {
    {u"cause", Severity::Error, Level::Quick, Repair::Patch, u"Nothing is broken", u"Something is broken.",
     u"all readers", u"Mend it.", u"practice"},
    {u"effect",
     {Severity::Error, Severity::Warning},
     Level::Default,
     Repair::Append,
     u"Nothing follows from it",
     u"Something follows.",
     u"some readers",
     u"Mend the cause.",
     u"practice"},
    {u"remark", Severity::Note, Level::Deep, Repair::None, u"Nothing is unusual", u"Something is unusual.", u"nobody",
     u"Nothing.", u"practice"},
};
constexpr const Rule *rules[] = {&rows[0], &rows[1], &rows[2]};
constexpr QStringView causes[] = {u"cause"};
constexpr QStringView effects[] = {u"effect"};
constexpr CauseRow causeRows[] = {{causes, effects, CauseScope::File}};

class JudgingAnalyzer : public ContainerAnalyzer
{
public:
    JudgingAnalyzer() : m_references(m_packets), m_regions(m_packets) { }

    Recognition recognises(ByteSource &source) override
    {
        char bytes[sizeof signature] = {};
        source.readAt(0, bytes, sizeof signature - 1);
        return qstrncmp(bytes, signature, sizeof signature - 1) == 0 ? Recognition::Yes : Recognition::No;
    }
    AnalysisResult read(ByteSource &source, const AnalysisOptions &) override
    {
        m_script = QByteArray(int(source.size()), '\0');
        source.readAt(0, m_script.data(), m_script.size());
        m_packets.clear();
        m_packets.finish();
        return {};
    }
    const PacketTable &packets() const override { return m_packets; }
    const ReferenceTable &references() const override { return m_references; }
    const RegionTable &regions() const override { return m_regions; }
    RuleList rules() const override { return {::rules, 3}; }
    bool check(const CheckOptions &options, Findings &findings) override
    {
        findings.begin(rules(), causeRows, quint64(m_script.size()));
        const QList<QByteArray> lines = m_script.split('\n');
        for (int ordinal = 0; ordinal < 3 && ::rules[ordinal]->level <= options.level; ++ordinal) {
            findings.beginRule(ordinal);
            for (const QByteArray &line : lines) {
                const QList<QByteArray> words = line.split(' ');
                if (words.size() < 4 || QString::fromLatin1(words[0]) != ::rules[ordinal]->name)
                    continue;
                findings.add(ByteRange{words[2].toULongLong(), words[3].toULongLong()}, words[1].toInt())
                    .expected(QStringLiteral("order"))
                    .actual(words.size() > 4 ? QString::fromLatin1(words[4]) : QStringLiteral("disorder"))
                    .message(QStringLiteral("%1 things: ") + ::rules[ordinal]->reason.toString());
            }
        }
        for (const QByteArray &line : lines) {
            if (line.startsWith("unchecked "))
                findings.notChecked(QString::fromLatin1(line.mid(10)));
        }
        return !lines.contains("stop");
    }

private:
    QByteArray m_script;
    PacketTable m_packets;
    ReferenceTable m_references;
    RegionTable m_regions;
};

/// Shows a file as one node with a field for each of its first bytes, "a", "b" and so on.
class JudgedParser : public ContainerAbstract
{
protected:
    int verifyContainerFormat(const QString &path) override
    {
        const int status = openFile(path);
        if (status != StatusOk)
            return status;
        const QByteArray bytes = m_file.read(qint64(sizeof signature) - 1);
        closeFile();
        return bytes == signature ? StatusOk : StatusNotRecognised;
    }
    int findBeginOfContainer(qint64 *offset) override
    {
        *offset = 0;
        return StatusOk;
    }
    int parseElement(quint64 *size) override
    {
        *size = quint64(m_levelEnds.first());
        beginElement(0, *size, QStringLiteral("judged"), -1);
        for (int field = 0; field < 6; ++field)
            addField(false, quint64(field), 0, 1, QString(QChar(u'a' + field)), QStringLiteral("1"), {}, {}, -1);
        beginElement(6, 4, QStringLiteral("inner"), -1);
        endElement();
        endElement();
        return StatusOk;
    }
    void prepareParsing() override { }
    void finalizeParsing() override { }
};

} // namespace

QString containerName()
{
    return QStringLiteral("Judged");
}

QStringList supportedExtensions()
{
    return {QStringLiteral("judged")};
}

ContainerAbstract *createParser()
{
    return new JudgedParser;
}

ContainerAnalyzer *createAnalyzer()
{
    return new JudgingAnalyzer;
}
