#pragma once

class PluginLoader;
struct Options;

/// `quenlofar tree`: prints the documents of all files. Returns the exit status.
int showTrees(const Options &options, const PluginLoader &plugins);
/// `quenlofar plugins`: one line per plug-in. Returns the exit status.
int listPlugins(const PluginLoader &plugins);
