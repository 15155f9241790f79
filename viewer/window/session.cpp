#include "session.h"

#include "viewersettings.h"

#include <algorithm>

namespace quenlofar {

namespace {

QString keptKey()
{
    return QStringLiteral("window/keepSession");
}

/// The names of settings.
struct SessionKeys
{
    const QString session = QStringLiteral("session");
    const QString geometry = QStringLiteral("geometry");
    const QString bars = QStringLiteral("bars");
    const QString splitters = QStringLiteral("splitters");
    const QString columns = QStringLiteral("columns");
    const QString offsetsInHex = QStringLiteral("offsetsInHex");
    const QString isUtf8 = QStringLiteral("utf8");
    const QString current = QStringLiteral("current");
    const QString tabs = QStringLiteral("tabs");
    const QString path = QStringLiteral("path");
    const QString offset = QStringLiteral("offset");
    const QString size = QStringLiteral("size");
    const QString analysis = QStringLiteral("analysis");
};

} // namespace

void Session::save() const
{
    const SessionKeys keys;
    const std::unique_ptr<QSettings> settings = viewerSettings();
    settings->remove(keys.session);
    settings->beginGroup(keys.session);
    settings->setValue(keys.geometry, geometry);
    settings->setValue(keys.bars, bars);
    for (auto splitter = splitters.begin(); splitter != splitters.end(); ++splitter)
        settings->setValue(keys.splitters + QLatin1Char('/') + splitter.key(), splitter.value());
    settings->setValue(keys.columns, columns);
    settings->setValue(keys.offsetsInHex, offsetsInHex);
    settings->setValue(keys.isUtf8, isUtf8);
    settings->setValue(keys.current, current);
    settings->beginWriteArray(keys.tabs);
    for (int i = 0; i < std::min(int(tabs.size()), mostTabs); ++i) {
        const SessionTab &tab = tabs[size_t(i)];
        settings->setArrayIndex(i);
        settings->setValue(keys.path, settingOfPath(tab.path));
        settings->setValue(keys.offset, tab.place.offset);
        settings->setValue(keys.size, tab.place.size);
        settings->setValue(keys.analysis, tab.analysis);
    }
    settings->endArray();
    settings->endGroup();
}

Session Session::load()
{
    const SessionKeys keys;
    const std::unique_ptr<QSettings> settings = viewerSettings();
    Session session;
    settings->beginGroup(keys.session);
    session.geometry = settings->value(keys.geometry).toByteArray();
    session.bars = settings->value(keys.bars).toByteArray();
    settings->beginGroup(keys.splitters);
    const QStringList splitters = settings->childKeys();
    for (const QString &splitter : splitters)
        session.splitters[splitter] = settings->value(splitter).toByteArray();
    settings->endGroup();
    session.columns = settings->value(keys.columns).toInt();
    session.offsetsInHex = settings->value(keys.offsetsInHex, true).toBool();
    session.isUtf8 = settings->value(keys.isUtf8).toBool();
    session.current = settings->value(keys.current, -1).toInt();
    const int count = std::min(settings->beginReadArray(keys.tabs), mostTabs);
    for (int i = 0; i < count; ++i) {
        settings->setArrayIndex(i);
        SessionTab tab;
        tab.path = pathOfSetting(settings->value(keys.path).toString());
        tab.place.offset = settings->value(keys.offset).toULongLong();
        tab.place.size = settings->value(keys.size).toULongLong();
        tab.analysis = settings->value(keys.analysis).toInt();
        if (!tab.path.isEmpty())
            session.tabs.push_back(tab);
    }
    settings->endArray();
    return session;
}

bool Session::isKept()
{
    return viewerSettings()->value(keptKey(), true).toBool();
}

void Session::setKept(bool isKept)
{
    viewerSettings()->setValue(keptKey(), isKept);
}

} // namespace quenlofar
