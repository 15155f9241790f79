#pragma once

namespace quenlofar {

/// How the program ends. Of those up to ExitFailure the highest that applies wins.
enum ExitStatus : int {
    ExitClean = 0, ///< every file was walked and nothing was wrong with it
    ExitFileProblem = 1, ///< some file has a problem, is not recognised, or reached a limit
    ExitFailure = 2, ///< wrong usage, no plug-in, a file that could not be read, output that could not be written
    ExitBySignal = 128, ///< ended by the signal whose number is added, as shells report it
    ExitReaderGone = 141, ///< nobody reads standard output any more, as shells report SIGPIPE
};

} // namespace quenlofar
