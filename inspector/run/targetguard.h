#pragma once

namespace quenlofar {

class PluginLoader;
class ProgramOutput;
struct Options;

/// False, and a message, when the file that the output goes to is named as an input as well, or is a media file: in
/// `summary -o *.avi` the shell makes the first film the target. Files from lists and directories are not known yet.
bool isTargetSafe(const Options &options, const PluginLoader &plugins, const ProgramOutput &output);

} // namespace quenlofar
