#pragma once

namespace quenlofar {

class PluginLoader;
class ProgramOutput;
struct Options;

// One function per command. Each does what `options` asks for, prints to `output` and returns the exit status.

int summarise(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int showTrees(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int listStreams(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int listFrames(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int showPlaces(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int extractBytes(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int accountForBytes(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int compareFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int listPackets(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int checkFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int repairFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int catalogueFiles(const Options &options, const PluginLoader &plugins, ProgramOutput &output);
int checkPlugin(const Options &options, ProgramOutput &output);
int listPlugins(const PluginLoader &plugins, ProgramOutput &output);

} // namespace quenlofar
