#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace quenlofar {

class MainWindow;

/// A file on the command line, and where to go in it.
struct FileArgument
{
    QString file; ///< see pathFromBytes
    QString place; ///< as it is typed into "Go to"; empty for none

    /// "FILE" or "FILE@OFFSET". What follows the last "@" is an offset where it can be read as one; the disk is not
    /// asked whether there is a file of the whole name.
    static FileArgument parse(const QString &argument);
};

/// What is done with a window without a user.
struct WindowCommands
{
    /// An action and what it needs to know.
    struct Action
    {
        QString name; ///< see MainWindow::perform
        QString value; ///< empty for none
        /// "ACTION" or "ACTION=VALUE".
        static Action parse(const QString &text);
    };
    std::vector<Action> actions; ///< in this order, each once all work is done
    bool dumpsState = false; ///< what is shown is printed as JSON
    QString screenshot; ///< a PNG file that gets a picture of the window; empty for none

    /// There is something to do; the program ends afterwards.
    bool areAny() const { return !actions.empty() || dumpsState || !screenshot.isEmpty(); }
};

/// Does them one after the other, each when the window is idle, and then ends the event loop with 0, or 1 after a
/// message where one cannot be done.
class CommandRunner : public QObject
{
    Q_OBJECT

public:
    /// For `window`, which outlives the object.
    CommandRunner(MainWindow &window, WindowCommands commands);
    /// Begins; the event loop has to run.
    void start();

private:
    void step();
    bool finish();

    MainWindow &m_window;
    const WindowCommands m_commands;
    size_t m_next = 0;
    int m_idleSteps = 0;
};

} // namespace quenlofar
