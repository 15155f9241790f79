#pragma once

#include <QString>

#include <string>

namespace quenlofar {

/// What comes of looking at a plug-in's file before it is opened.
struct PluginTrust
{
    std::string path; ///< under which it is to be opened
    QString objection; ///< why it is not to be opened; null where nothing speaks against it
};

/**
 * Whether the code in `file` is to run in this process. It is, unless the effective user is root: then nobody but root
 * and the owner of the running program may be able to change the file, or put another one into its place. So the file,
 * and each folder from it up to the root, belongs to one of them and cannot be written to by everybody or by a group
 * other than root and staff. A folder with the sticky bit, as /tmp has it, may be written to: in it nobody can rename
 * or remove another user's file, and every folder on the way belongs to root or the owner of the program.
 * Links are followed first, and `path` then has none: a user that may change a link only chooses among trusted files.
 */
PluginTrust trustInPlugin(const std::string &file);

} // namespace quenlofar
