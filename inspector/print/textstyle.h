#pragma once

#include "options.h"
#include "programoutput.h"
#include "terminal.h"
#include "textwriter.h"

namespace quenlofar {

/// How text is to look that goes to `output`.
inline TextStyle textStyle(const OutputChoice &choice, const ProgramOutput &output)
{
    TextStyle style;
    style.colour = wantsColour(choice, output.isTerminal());
    style.hexOffsets = choice.hexOffsets;
    style.sizes = choice.sizes;
    style.width = output.isTerminal() ? terminalWidth() : 0;
    return style;
}

} // namespace quenlofar
