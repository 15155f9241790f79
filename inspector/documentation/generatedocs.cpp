// generate-documentation PROSE OUTPUT VERSION DATE: writes the program's manual pages and completions to the directory
// OUTPUT, from its option definitions and from the texts in the directory PROSE. Their directories have to be there.

#include "arguments.h"
#include "commandline.h"
#include "commandmodel.h"
#include "completions.h"
#include "manualpages.h"
#include "options.h"

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

using namespace quenlofar;

namespace {

std::string readProse(const std::string &directory, const std::string &name)
{
    const std::string path = directory + '/' + name + ".mdoc";
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path + ": every command has a text there");
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void write(const std::string &path, const std::string &text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path);
}

void generate(const std::string &prose, const std::string &output, const std::string &version, const std::string &date)
{
    const Arguments arguments(0, nullptr);
    Options options;
    CommandLine commandLine(arguments, options);
    commandLine.define({});
    const ProgramDefinition definition = definitionOf(commandLine.definitions());

    const PageFrame frame{version, date, readProse(prose, "quenlofar")};
    const std::string pages = output + "/man/man1/quenlofar";
    write(pages + ".1", programPage(definition, frame));
    for (const CommandDefinition &command : definition.commands)
        write(pages + '-' + command.name + ".1", commandPage(command, readProse(prose, command.name), frame));
    write(output + "/bash-completion/completions/quenlofar", bashCompletion(definition));
    write(output + "/zsh/site-functions/_quenlofar", zshCompletion(definition));
    write(output + "/fish/vendor_completions.d/quenlofar.fish", fishCompletion(definition));
}

} // namespace

int main(int argc, char **argv)
{
    try {
        if (argc != 5)
            throw std::runtime_error("usage: generate-documentation PROSE OUTPUT VERSION DATE");
        generate(argv[1], argv[2], argv[3], argv[4]);
    } catch (const std::exception &exception) {
        std::cerr << "generate-documentation: " << exception.what() << '\n';
        return 1;
    }
    return 0;
}
