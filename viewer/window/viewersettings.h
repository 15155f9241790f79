#pragma once

#include "filepath.h"

#include <QSettings>

#include <memory>

namespace quenlofar {

/// What is kept from run to run: a file below the user's configuration directory.
inline std::unique_ptr<QSettings> viewerSettings()
{
    return std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("quenlofar"),
                                       QStringLiteral("quenlofar-viewer"));
}

/// A path (see pathFromBytes) as settings keep it: names of files need not be texts, and settings hold texts alone.
inline QString settingOfPath(const QString &path)
{
    return QString::fromLatin1(pathToBytes(path).toPercentEncoding("/"));
}

/// The path that settingOfPath made this of.
inline QString pathOfSetting(const QString &setting)
{
    return pathFromBytes(QByteArray::fromPercentEncoding(setting.toLatin1()));
}

} // namespace quenlofar
