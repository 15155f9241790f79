#pragma once

#include <QString>

/// Prints "quenlofar: `text`" on standard error as one line, whatever characters stand in it.
void printMessage(const QString &text);
/// The operating system's words for an error number.
QString systemErrorText(int errorNumber);
