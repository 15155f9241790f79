#pragma once

#include "containerrun.h"

#include <QByteArray>
#include <QString>
#include <QVector>

/// What the command line asks for.
struct Options
{
    enum class Command { None, Tree, Plugins };
    enum class Format { Text, Json };

    Command command = Command::None;
    QString pluginDirectory; ///< null when none was named
    QVector<QString> files; ///< see pathFromBytes
    Format format = Format::Text;
    bool pretty = false;
    RunLimits limits;

    QByteArray information; ///< what is to be printed instead: help, or the version
    QString usageError; ///< why the command line is not understood; null when it is
};

/// Reads the command line. Prints nothing.
Options parseOptions(int argc, const char *const *argv);
