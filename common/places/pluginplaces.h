#pragma once

#include <QString>
#include <QStringList>

/**
 * Where parser plug-ins are looked for, in the order in which they count: `named` if it is not null, the directories
 * of the environment variable QUENLOFAR_PLUGIN_PATH, then the places relative to the program, installed or built.
 */
QStringList pluginPlaces(const QString &named);
