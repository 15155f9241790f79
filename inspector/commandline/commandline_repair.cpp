// The command that mends files.
#include "commandline.h"
#include "optionhelpers.h"
#include "options.h"

namespace quenlofar {

void CommandLine::defineRepair(CLI::App &command)
{
    addManyFiles(command);
    RepairChoice &repair = m_options.repair;
    addChoice(
        command, "--level", {"quick", "default", "deep"},
        [&repair](const std::string &word) { levelFromText(QString::fromStdString(word), &repair.level); },
        "How much is read to judge, before and after [deep]");
    addFormats(command, {"text", "json"});
    addRules(command, "--only", &repair.only, "Mend what these rules find, notes too; names, separated by commas");
    addRules(command, "--except", &repair.except, "Leave what these rules find as it is");
    command.add_flag("--rewrite", repair.rewrites,
                     "Put files together anew for warnings and notes too, not for errors alone");
    command.add_flag("--cut-trailing", repair.cutsTrailing, "Leave bytes behind the last element of a file out");
    command
        .add_option_function<std::string>(
            "--like", [&repair, this](const std::string &value) { repair.like = m_arguments.text(value); },
            "Take lost headers from this healthy file of the same recorder; refused where the data contradicts them")
        ->type_name("FILE");
    command
        .add_option_function<std::string>(
            "-o,--output",
            [&repair, this](const std::string &value) {
                repair.copy = m_arguments.text(value);
                if (repair.copy.isEmpty())
                    throw CLI::ValidationError("--output", "has to name a file");
            },
            "Write the mended file under this name, which appears when the file is complete; for one FILE")
        ->type_name("FILE");
    command
        .add_option_function<std::string>(
            "--output-dir", [&repair, this](const std::string &value) { repair.directory = m_arguments.text(value); },
            "Write mended files into this directory, under their names; of -r with the directories in which they are")
        ->type_name("DIR");
    command
        .add_option_function<std::string>(
            "--save-plan", [&repair, this](const std::string &value) { repair.savePlan = m_arguments.text(value); },
            "Write the plan as JSON into this new file, for --apply; for one FILE")
        ->type_name("FILE");
    command
        .add_option_function<std::string>(
            "--apply", [&repair, this](const std::string &value) { repair.apply = m_arguments.text(value); },
            "Make no plan but take this one; refused where the old bytes of FILE are others")
        ->type_name("FILE");
    command.add_flag("--prove", repair.proves,
                     "Read all data of both files and compare it: every packet has to be in the mended one");
    command.add_flag("--in-place", repair.inPlace,
                     "Change the file itself, where nothing has to move; needs --journal");
    command
        .add_option_function<std::string>(
            "--journal", [&repair, this](const std::string &value) { repair.journal = m_arguments.text(value); },
            "With --in-place: keeps the old bytes here, for --undo")
        ->type_name("FILE");
    command
        .add_option_function<std::string>(
            "--undo", [&repair, this](const std::string &value) { repair.undo = m_arguments.text(value); },
            "Give FILE its old bytes back, as this journal has them, also where a repair was interrupted")
        ->type_name("FILE");
    command.add_flag(
        "--force", repair.force,
        "Replace an existing file with -o; also mend what may still be recorded, and files with several names");
    addNumbers(command);
    addLimits(command);
    addStyle(command);
    addProgress(command);
    command.footer(
        "Without -o or --in-place the plan is shown and nothing is written. A step is kept when it clears a finding\n"
        "and brings none that is as bad. No frame or chunk is dropped, no payload is changed.\n"
        "What --in-place changed, repair --undo JOURNAL FILE takes back.\n"
        "Exit status: 0 nothing to repair, or all of it written; 1 errors stay, or there is something to repair;\n"
        "2 a file that could not be read or written, or wrong usage.\n"
        "Examples:\n"
        "  quenlofar repair film\n"
        "  quenlofar repair film -o mended\n"
        "  quenlofar repair --in-place --journal film.undo film");
}

} // namespace quenlofar
