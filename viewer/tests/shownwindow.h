#pragma once

#include "analysistabs.h"
#include "mainwindow.h"
#include "pluginloader.h"
#include "testsources.h"

#include <QJsonArray>
#include <QTest>

namespace quenlofar {

inline QString utf8(const char *text)
{
    return QString::fromUtf8(text);
}

/// With the plug-ins that were built beside the tests.
inline DocumentOptions pluginOptions()
{
    auto plugins = std::make_shared<PluginLoader>();
    plugins->addDirectory(QCoreApplication::applicationDirPath() + QLatin1Char('/')
                          + QStringLiteral(QUENLOFAR_PLUGINS_FROM_TESTS));
    DocumentOptions options;
    options.plugins = plugins;
    return options;
}

/// A file of the folder "samples".
inline QString sample(const QString &name)
{
    return QStringLiteral(QUENLOFAR_SAMPLES_DIR) + QLatin1Char('/') + name;
}

/// A window that shows one file.
struct Shown
{
    explicit Shown(const DocumentOptions &options, const QString &path = QStringLiteral("made up")) : window(options)
    {
        window.resize(1200, 800);
        window.show();
        page = window.open(path);
    }
    bool waitUntilIdle() { return quenlofar::waitUntilIdle(window); }
    bool perform(const QString &name, const QString &value = {})
    {
        return window.perform(name, value, &error) && waitUntilIdle();
    }
    QJsonObject state(const QString &part) { return window.state()[part].toObject(); }
    QJsonObject place() { return state(QStringLiteral("place")); }
    QJsonObject view(const QString &name) { return state(QStringLiteral("analysis"))[name].toObject(); }
    int offset() { return place()[QStringLiteral("offset")].toInt(-1); }
    AnalysisTabs &analysis() { return page->analysis(); }

    MainWindow window;
    FilePage *page = nullptr;
    QString error;
};

} // namespace quenlofar
