#pragma once

#include "filecheck.h"
#include "options.h"
#include "report.h"
#include "rulecatalogue.h"
#include "textwriter.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QVector>

#include <memory>

#include <functional>

namespace quenlofar {

class JsonPrinter;

/// How the judgement on one file is printed.
struct CheckStyle
{
    Options::Format format = Options::Format::Text;
    bool pretty = false;
    CsvTexts csvTexts = CsvTexts::Guarded;
    TextStyle text;
    CheckChoice::FailOn failOn = CheckChoice::FailOn::Error;
    bool isFirst = true; ///< of the files that were asked for
    bool isOneOfMany = false;
    std::function<void(JsonPrinter &json)> facts = {}; ///< prints the member "fileFacts"; empty where there is none
};

/// Prints the judgement on one file; null, or why that was not possible. What stands around the files of formats that
/// have one document for all of them comes from sarifHead and so on.
QString printCheck(QIODevice &output, const FileCheck &check, const CheckStyle &style, const RuleCatalogue &catalogue);

/// "damaged, 2 errors, 1 warning"; what could not be judged says why: "unknown, no rules for this container".
QString verdictLine(const FileCheck &check);
/// Whether a finding is as severe as the exit status asks for.
bool fails(const FileCheck &check, CheckChoice::FailOn failOn);
bool fails(const Finding &finding, CheckChoice::FailOn failOn);

/// The members of a summary about the verdict: "verdict", "counts" and "causes", of these the first `most`.
void printVerdict(JsonPrinter &json, const FileCheck &check, size_t most);

// One document for all files: SARIF 2.1.0, and JUnit's XML as CI servers read it. A file's part of the first begins
// with a comma.
QByteArray sarifHead(const RuleCatalogue &catalogue);
QByteArray sarifTail(const QVector<FileReport> &reports);
QString printSarif(QIODevice &output, const FileCheck &check, const RuleCatalogue &catalogue);
QByteArray junitHead();
QByteArray junitTail();
QString printJunit(QIODevice &device, const FileCheck &check, CheckChoice::FailOn failOn);

} // namespace quenlofar
