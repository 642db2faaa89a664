// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The menu in which somebody chooses what programs run on, and the notice when that does not start.
// Devices are looked for when the menu is first opened, by another thread, which has another
// process load the drivers.
#pragma once

#include "app/common/Settings.h"
#include "app/stage/NoticeBar.h"
#include "gpu/Device.h"

#include <QMenu>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace app {

/// All that it is made with must outlive it.
class DeviceMenu final : public QObject {
public:
    struct Parts {
        gpu::Device& device;
        Settings& settings;
        NoticeBar& notices;
        /// Called when the program runs on another device from now on.
        std::function<void()> changed;
    };
    explicit DeviceMenu(Parts parts);
    /// Waits while devices are being looked for.
    ~DeviceMenu() override;

    QMenu& menu() { return m_menu; }
    /// What the program runs on, for people.
    QString inUse() const;

private:
    void look();
    void take(std::vector<gpu::DeviceDescription> devices);
    void fill();
    QAction* add(const QString& text, const std::string& choice, bool isInUse);
    void choose(const std::string& choice);
    void watch();

    Parts m_parts;
    QMenu m_menu;
    /// As they were found last; none before that.
    std::optional<std::vector<gpu::DeviceDescription>> m_devices;
    std::thread m_search;
    QTimer m_timer;
    std::string m_shown; ///< in the menu, as what is in use
    std::string m_failure;
};

} // namespace app
