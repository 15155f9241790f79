#pragma once

#include <QString>
#include <QStringList>

namespace quenlofar {

/// Whose word counts on where plug-ins are: their code runs with all rights of the program.
struct PluginPlaceTrust
{
    /// --plugin-dir and QUENLOFAR_PLUGIN_PATH: not where the program has more rights than who started it, as with a
    /// set-user-ID bit or with capabilities of its file.
    bool inCaller = true;
    /// The user's own directory: not there either, nor where the program runs for another user, as under sudo.
    bool inHome = true;

    /// What holds for this process.
    static PluginPlaceTrust ofProcess();
};

/**
 * Where parser plug-ins are looked for, in the order in which they count: `named`, the directories of the environment
 * variable QUENLOFAR_PLUGIN_PATH, the user's own ($XDG_DATA_HOME/quenlofar/ABI/plugins, where XDG_DATA_HOME is
 * ~/.local/share unless it is set), then the place that is the same relative to the program in an installation and in
 * a build tree. That one is printed as it is found, without "..".
 */
QStringList pluginPlaces(const QStringList &named, const PluginPlaceTrust &trust = PluginPlaceTrust::ofProcess());

} // namespace quenlofar
