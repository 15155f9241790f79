#pragma once

#include <QString>

namespace quenlofar {

/// Prints "quenlofar: `text`" on standard error as one line; displayText makes the characters in it harmless.
void printMessage(const QString &text);
/// Says on standard error, without taking any, that memory ran out.
void printOutOfMemory() noexcept;
/// The operating system's words for an error number.
QString systemErrorText(int errorNumber);

} // namespace quenlofar
