#pragma once

#include "arguments.h"

#include <CLI/CLI.hpp>

#include <QStringList>

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace quenlofar {

// Kinds of options that several commands have.

constexpr quint64 anyNumber = std::numeric_limits<quint64>::max();

/// A whole decimal number from `least` to `most`, or a usage error.
quint64 parseNumber(const std::string &option, const std::string &text, quint64 least, quint64 most);
/// "A..B", "A.." or "..B", both ends included.
void parseRange(const std::string &option, const std::string &text, quint64 *first, quint64 *last);
/// Reads a range of offsets, which may be hexadecimal, as 0x3E8.
void parseOffsetRange(const std::string &option, const std::string &text, quint64 *first, quint64 *last);
/// Reads a range of seconds, which may have fractions.
void parseTimeRange(const std::string &option, const std::string &text, double *first, double *last);

void addNumber(CLI::App &command, const std::string &names, quint64 *number, quint64 least, quint64 most,
               const std::string &type, const std::string &description);
/// A flag that has an opposite: of the two the one that was typed last wins, so it acts as soon as it is read.
void addSwitch(CLI::App &command, const std::string &name, const std::function<void()> &choose,
               const std::string &description);
/// An option that takes one of a few words; `choose` gets the one that was typed.
CLI::Option *addChoice(CLI::App &command, const std::string &name, const std::vector<std::string> &words,
                       const std::function<void(const std::string &)> &choose, const std::string &description);
/// An option that may be given several times and takes one text each time, which is appended to `texts`.
void addTexts(CLI::App &command, const Arguments &arguments, const std::string &name, QStringList *texts,
              const std::string &type, const std::string &description);

QStringList textsOf(const Arguments &arguments, const std::vector<std::string> &values);

} // namespace quenlofar
