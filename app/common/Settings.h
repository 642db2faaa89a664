// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the window remembers between runs, in $XDG_CONFIG_HOME/starloom42/console.ini.
#pragma once

#include <QByteArray>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace app {

/// One remembered value. A file edited by hand into nonsense reads as the value's kind of zero.
template <class T>
class Setting {
public:
    Setting(QSettings& store, const char* key, T initial)
        : m_store(store), m_key(QString::fromLatin1(key)), m_initial(std::move(initial)) {}

    T get() const {
        return m_store.value(m_key, QVariant::fromValue(m_initial)).template value<T>();
    }
    void set(const T& value) { m_store.setValue(m_key, QVariant::fromValue(value)); }

private:
    QSettings& m_store;
    QString m_key;
    T m_initial;
};

/// Written when it goes and now and then before. Several processes may share the file.
class Settings {
    QSettings m_store{QSettings::IniFormat, QSettings::UserScope, "starloom42", "console"};

public:
    Setting<QByteArray> geometry{m_store, "window/geometry", {}};
    Setting<QByteArray> panes{m_store, "window/panes", {}};
    Setting<bool> wholeScalesOnly{m_store, "picture/wholeScalesOnly", false};
    Setting<bool> badgeOnStage{m_store, "picture/badgeOnStage", false};
    Setting<bool> blackSurround{m_store, "picture/blackSurround", false};
    /// The name of a screen; empty for the one that the window is on.
    Setting<QString> fullScreenOn{m_store, "picture/fullScreenOn", {}};
    Setting<int> preferredFPS{m_store, "picture/preferredFPS", 60};
    /// Whether the show is encoded all the time, so that what has just been can be saved.
    Setting<bool> keepLast{m_store, "recording/keepLast", false};
    Setting<bool> invertOverlay{m_store, "overlay/invert", false};
    Setting<int> volume{m_store, "sound/volume", 100}; ///< per cent
    Setting<bool> muted{m_store, "sound/muted", false};
    Setting<bool> inputActive{m_store, "sound/inputActive", true};
    Setting<QString> inputDevice{m_store, "sound/inputDevice", {}};
    /// What programs run on, as gpu::Device::systemDefault() understands it.
    Setting<QString> device{m_store, "device/choice", "host"};
    Setting<bool> reloadOnEveryWrite{m_store, "editor/reloadOnEveryWrite", false};
    Setting<QString> folder{m_store, "files/folder", {}};
    Setting<QStringList> recentFiles{m_store, "files/recent", {}};

    /// Puts a file in front of the recent ones.
    void addRecentFile(const QString& path);
};

} // namespace app
