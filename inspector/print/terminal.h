#pragma once

namespace quenlofar {

struct OutputChoice;

/// The width of the terminal in characters; 80 where it does not tell.
int terminalWidth();
/// Whether text is to be coloured; `isTerminal` says that it goes to one.
bool wantsColour(const OutputChoice &choice, bool isTerminal);

} // namespace quenlofar
