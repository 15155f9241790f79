#include "windowcommands.h"

#include "mainwindow.h"
#include "offsetargument.h"

#include <QAbstractAnimation>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QPixmap>
#include <QTimer>

#include <chrono>
#include <cstdio>

namespace quenlofar {

namespace {

constexpr std::chrono::milliseconds betweenSteps{10};
constexpr int idleStepsBefore = 2; // what an action asks for is only asked for when views are painted

void complain(const QString &text)
{
    std::fprintf(stderr, "quenlofar-viewer: %s\n", text.toUtf8().constData());
}

/// Brings what is fading in or out to its end; a picture would show how far it happened to be.
void endAnimations(const QObject &window)
{
    const auto animations = window.findChildren<QAbstractAnimation *>();
    for (QAbstractAnimation *const animation : animations) {
        if (animation->totalDuration() > 0) // others never end
            animation->setCurrentTime(animation->totalDuration());
    }
}

} // namespace

FileArgument FileArgument::parse(const QString &argument)
{
    const int at = int(argument.lastIndexOf(QLatin1Char('@')));
    if (at > 0 && FileOffset::parse(QStringView(argument).mid(at + 1)))
        return {argument.left(at), argument.mid(at + 1)};
    return {argument, {}};
}

WindowCommands::Action WindowCommands::Action::parse(const QString &text)
{
    const int equals = int(text.indexOf(QLatin1Char('=')));
    return equals < 0 ? Action{text, {}} : Action{text.left(equals), text.mid(equals + 1)};
}

CommandRunner::CommandRunner(MainWindow &window, WindowCommands commands)
    : m_window(window), m_commands(std::move(commands))
{
}

void CommandRunner::start()
{
    QTimer::singleShot(betweenSteps, this, &CommandRunner::step);
}

void CommandRunner::step()
{
    if (m_window.isIdle()) {
        // Making the state asks for the bytes that are in sight, and so does painting.
        if (m_commands.dumpsState)
            m_window.state();
        if (!m_commands.screenshot.isEmpty())
            m_window.grab();
    }
    m_idleSteps = m_window.isIdle() ? m_idleSteps + 1 : 0;
    if (m_idleSteps >= idleStepsBefore) {
        m_idleSteps = 0;
        if (m_next == m_commands.actions.size()) {
            QCoreApplication::exit(finish() ? 0 : 1);
            return;
        }
        const WindowCommands::Action &action = m_commands.actions[m_next++];
        QString error;
        if (!m_window.perform(action.name, action.value, &error)) {
            complain(error);
            QCoreApplication::exit(1);
            return;
        }
    }
    QTimer::singleShot(betweenSteps, this, &CommandRunner::step);
}

bool CommandRunner::finish()
{
    if (!m_commands.screenshot.isEmpty()) {
        endAnimations(m_window);
        if (!m_window.grab().save(m_commands.screenshot, "PNG")) {
            complain(tr("%1 cannot be written").arg(m_commands.screenshot));
            return false;
        }
    }
    if (m_commands.dumpsState) {
        const QByteArray text = QJsonDocument(m_window.state()).toJson();
        if (std::fwrite(text.constData(), 1, size_t(text.size()), stdout) != size_t(text.size())
            || std::fflush(stdout) != 0) {
            complain(tr("the state cannot be printed"));
            return false;
        }
    }
    return true;
}

} // namespace quenlofar
