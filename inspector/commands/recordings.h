#pragma once

#include "batch.h"
#include "filechecker.h"
#include "interrupt.h"
#include "options.h"

#include <QString>

namespace quenlofar {

class PluginLoader;

// What commands that make records for catalogues share.

/// The digest that an option asks for.
DigestKind digestKindOf(DigestChoice choice);
/// "quenlofar" and its version.
QString programVersion();
/// The rules of the plug-ins that are loaded, see rulesVersion.
QString loadedRules(const PluginLoader &plugins);
/// Makes the record of the file of `task`, which outlives it; a signal ends that.
RecordMaker recordMaker(const FileTask &task, DigestKind digest);

} // namespace quenlofar
