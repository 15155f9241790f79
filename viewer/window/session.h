#pragma once

#include "byterange.h"

#include <QByteArray>
#include <QMap>
#include <QString>

#include <vector>

namespace quenlofar {

/// A tab of a window, to be opened again.
struct SessionTab
{
    QString path; ///< of a file or a folder, see pathFromBytes
    ByteRange place; ///< that was current
    int analysis = 0; ///< the tab that was in front of those below structure and bytes
};

/// What a window shows, as it is kept from run to run.
struct Session
{
    static constexpr int mostTabs = 32; ///< more are not kept: all of them are read at once

    QByteArray geometry; ///< QWidget::saveGeometry
    QByteArray bars; ///< QMainWindow::saveState
    QMap<QString, QByteArray> splitters; ///< QSplitter::saveState, by the splitters' names
    int columns = 0; ///< of bytes; 0: none was kept
    bool offsetsInHex = true; ///< see HexStyle
    bool isUtf8 = false; ///< the text column
    std::vector<SessionTab> tabs; ///< from the left
    int current = -1; ///< the tab in front; -1: none

    void save() const; ///< writes it to the user's settings
    /// What was written last; settings that make no sense are passed over.
    static Session load();
    static bool isKept(); ///< sessions are kept: true until setKept() says something else
    static void setKept(bool isKept); ///< whether they are, from now on and in later runs
};

} // namespace quenlofar
