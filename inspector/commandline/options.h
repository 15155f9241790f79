#pragma once

#include "containerrun.h"
#include "rule.h"
#include "sizetext.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <limits>

namespace quenlofar {

/// For what depends on whether the output is a terminal.
enum class When { Auto, Always, Never };

/// Texts out of files in comma-separated values: harmless for terminals and spreadsheets (displayText, and an
/// apostrophe in front of what looks like a formula), or as they are.
enum class CsvTexts { Guarded, Raw };

/// Which files a command is to look at.
struct InputChoice
{
    QVector<QString> files; ///< named as arguments, see pathFromBytes
    QVector<QString> directories; ///< searched with all that is in them
    QStringList extensions; ///< of files in directories, without a dot; empty: those that plug-ins claim
    QString list; ///< a file that lists files, "-" for standard input; null for none
};

/// Where the output goes and how it looks.
struct OutputChoice
{
    QString file; ///< null for standard output
    When color = When::Auto;
    bool pager = false;
    bool hexOffsets = false;
    SizeUnits sizes = SizeUnits::Bytes;
};

/// What `tree` shows.
struct TreeChoice
{
    quint64 depth = std::numeric_limits<quint64>::max(); ///< levels of items, from 1
    QStringList only; ///< shell wildcards for titles and names; empty: everything
    QStringList where; ///< conditions on leaves; all have to hold
    When collapse = When::Auto;
    bool bytes = false; ///< the bytes of each leaf
    bool paths = false;
    bool frames = true;
};

/// What `frames` shows.
struct FrameChoice
{
    static constexpr quint64 everyStream = std::numeric_limits<quint64>::max();

    quint64 stream = everyStream;
    quint64 first = 0; ///< frame numbers, both included
    quint64 last = std::numeric_limits<quint64>::max();
    bool keyOnly = false;
};

/// What `packets` shows. Of each range both ends are included.
struct PacketChoice
{
    static constexpr quint64 everyStream = std::numeric_limits<quint64>::max();

    quint64 stream = everyStream; ///< among all streams
    QStringList kinds; ///< of streams, any of them: "video" and so on; empty: all
    bool keyOnly = false;
    quint64 firstNumber = 0; ///< within their streams
    quint64 lastNumber = std::numeric_limits<quint64>::max();
    quint64 firstOffset = 0; ///< where their data begins
    quint64 lastOffset = std::numeric_limits<quint64>::max();
    double firstSecond = -std::numeric_limits<double>::infinity(); ///< when they begin
    double lastSecond = std::numeric_limits<double>::infinity();
};

/// What is kept of a file's bytes.
enum class DigestChoice { None, Fast, Sha256 };

/// What `check` looks for.
struct CheckChoice
{
    /// From which severity on findings make the exit status 1.
    enum class FailOn { Note, Warning, Error, Never };

    Level level = Level::Default;
    FailOn failOn = FailOn::Error;
    QStringList only; ///< names of rules; empty: all
    QStringList except; ///< names of rules
    QString policy; ///< a file; null for none
    QString baseline; ///< a file; null for none
    bool fileFacts = false; ///< JSON has what a catalogue keeps of the file
    DigestChoice digest = DigestChoice::None; ///< among these facts
    bool listsRules = false; ///< instead of looking at files
    QString explained; ///< a rule that is to be explained, instead of looking at files; null for none

    /// Questions about rules need no file.
    bool isQuestion() const { return listsRules || !explained.isNull(); }
};

/// What `repair` mends, and what becomes of it.
struct RepairChoice
{
    Level level = Level::Deep;
    QStringList only; ///< names of rules; empty: all
    QStringList except; ///< names of rules
    QString copy; ///< the file that is written; null for none
    bool inPlace = false; ///< the file itself is changed
    QString journal; ///< takes the old bytes; null for none
    QString undo; ///< a journal that gives a file its old bytes back; null for none
    QString apply; ///< a plan that was saved; null for one that is made
    QString savePlan; ///< takes the plan as JSON; null for none
    QString directory; ///< takes copies of many files; null for none
    bool proves = false; ///< all data is compared
    bool rewrites = false; ///< bytes move for warnings and notes too
    bool cutsTrailing = false; ///< bytes behind the last element are left out
    QString like; ///< a file from which lost headers may come; null for none
    bool force = false;
};

/// What `catalogue` keeps, and what it says of it.
struct CatalogueChoice
{
    enum class Report { None, Text, Html, Csv, Json };

    QString database; ///< a file
    Level level = Level::Default;
    DigestChoice digest = DigestChoice::None;
    QStringList imports; ///< files with documents of `check`
    qint64 recheckSeconds = -1; ///< the age at which what seems unchanged is read again; -1: never
    Report report = Report::None; ///< None: only what is new and wrong
};

/// What the command line asks for.
struct Options
{
    enum class Command {
        None,
        Summary,
        Check,
        Repair,
        Catalogue,
        Tree,
        Streams,
        Packets,
        Frames,
        At,
        Bytes,
        Coverage,
        Diff,
        Plugins,
        CheckPlugin
    };
    enum class Format { Text, Json, Csv, Sarif, Junit, Lines };

    Command command = Command::None;
    QStringList pluginDirectories; ///< named as arguments, in their order
    QString pluginFile; ///< of `check-plugin`
    InputChoice input;
    OutputChoice output;
    Format format = Format::Text;
    bool pretty = false;
    CsvTexts csvTexts = CsvTexts::Guarded;
    /// No film nests deeper than ten levels; jq 1.6 reads documents with 84.
    static constexpr quint64 defaultDepth = 80;
    static constexpr quint64 deepestDepth = 1000; ///< what an ordinary stack holds with room to spare
    RunLimits limits = {RunLimits::defaultItems, defaultDepth};
    quint64 jobs = 1; ///< files that are looked at side by side
    When progress = When::Auto;
    bool quiet = false; ///< standard error has only what cannot be left unsaid

    TreeChoice tree;
    FrameChoice frames;
    PacketChoice packets;
    CheckChoice check;
    RepairChoice repair;
    CatalogueChoice catalogue;
    QStringList places; ///< of `at` and `bytes`: offsets, ranges, element paths, as they were typed
    bool compareOffsets = false; ///< of `diff`

    QByteArray information; ///< what is to be printed instead: help, or the version
    QString usageError; ///< why the command line is not understood; null when it is
};

/// Reads the command line. Prints nothing.
Options parseOptions(int argc, const char *const *argv);

} // namespace quenlofar
