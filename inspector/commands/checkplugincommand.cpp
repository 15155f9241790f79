#include "commands.h"

#include "displaytext.h"
#include "exitstatus.h"
#include "filepath.h"
#include "messages.h"
#include "options.h"
#include "plugincheck.h"
#include "pluginloader.h"
#include "pluginplaces.h"
#include "programoutput.h"
#include "textoutput.h"

#include <QVector>

namespace quenlofar {

namespace {

QString findingText(const PluginFinding &finding)
{
    QString text = QStringLiteral("  %1: %2: %3")
                       .arg(severityName(finding.severity).toString(), finding.first.text(), finding.text);
    if (finding.cases > 1)
        text += QStringLiteral(" (and in %1 more)").arg(finding.cases - 1);
    return text;
}

} // namespace

int checkPlugin(const Options &options, ProgramOutput &output)
{
    // What runs with more rights than its caller runs no code that the caller names.
    if (!PluginPlaceTrust::ofProcess().inCaller) {
        printMessage(QStringLiteral("check-plugin does not run with more rights than you have"));
        return ExitFailure;
    }
    PluginLoader loader;
    if (!loader.addFile(options.pluginFile)) {
        const QStringList warnings = loader.warnings();
        for (const QString &warning : warnings)
            printMessage(warning);
        return ExitFailure;
    }
    QString lines = displayText(options.pluginFile) + QStringLiteral(": ")
        + displayText(loader.plugins().constFirst().containerName) + QLatin1Char('\n');
    const ParserFactory factory = loader.parsersFor({}).constFirst();
    bool hasErrors = false;
    for (const QString &file : options.input.files) {
        const PluginReport report = checkPluginWith(file, factory);
        lines += QStringLiteral("%1: %2 items, %3 s, read %4 times; %5 files tried\n")
                     .arg(displayText(file))
                     .arg(report.items)
                     .arg(report.seconds, 0, 'f', 3)
                     .arg(report.timesRead, 0, 'f', 1)
                     .arg(report.cases);
        for (const PluginFinding &finding : report.findings) {
            lines += displayText(findingText(finding)) + QLatin1Char('\n');
            hasErrors = hasErrors || finding.severity == Severity::Error;
        }
        if (report.findings.empty())
            lines += QStringLiteral("  nothing found\n");
    }
    const int status = output.print(pathForDisplay(lines));
    return status != ExitClean ? status : hasErrors ? ExitFileProblem : ExitClean;
}

} // namespace quenlofar
