#pragma once

#include "containerrun.h"
#include "severity.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

namespace quenlofar {

class ByteSource;

/// A change to a file under which a plug-in is tried.
struct FileDamage
{
    enum class Kind : quint8 {
        None, ///< the file as it is
        Cut, ///< it ends at `position`
        Flip, ///< the byte at `position` is `value`
    };
    Kind kind = Kind::None;
    quint64 position = 0; ///< bytes from the start of the file
    uchar value = 0;

    /// "cut to 31 bytes".
    QString text() const;
};

/// Something that a plug-in does and should not, in one or many cases.
struct PluginFinding
{
    Severity severity = Severity::Error;
    QString text; ///< what, in the first of the cases
    FileDamage first; ///< that case
    quint64 cases = 0;
};

/// What trying a plug-in on one file has shown.
struct PluginReport
{
    quint64 cases = 0; ///< files that were walked, the file as it is included
    quint64 items = 0; ///< nodes and leaves of the file as it is
    double seconds = 0.0; ///< that one walk over it took
    double timesRead = 0.0; ///< bytes that the parser read of it, by its size
    std::vector<PluginFinding> findings; ///< one of a kind each
};

/// The changes to try: cuts and flips, all places of a small file, spread over a large one so that they take not much
/// longer than `seconds` where one walk takes `walkSeconds`.
std::vector<FileDamage> damagesFor(quint64 fileSize, double walkSeconds, double seconds = 20.0);

/**
 * Walks the file `path`, as it is and with each of its damages, with the one parser of `factory`, and looks at
 * everything that comes of it. The plug-in runs in processes of its own: where it crashes or does not come to an end,
 * that is a finding, and the next case is tried.
 */
PluginReport checkPluginWith(const QString &path, const ParserFactory &factory);

} // namespace quenlofar
