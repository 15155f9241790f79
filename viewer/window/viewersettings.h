#pragma once

#include <QSettings>

#include <memory>

namespace quenlofar {

/// What is kept from run to run: a file below the user's configuration directory.
inline std::unique_ptr<QSettings> viewerSettings()
{
    return std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("quenlofar"),
                                       QStringLiteral("quenlofar-viewer"));
}

} // namespace quenlofar
