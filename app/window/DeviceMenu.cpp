// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/DeviceMenu.h"

#include <QActionGroup>

#include <algorithm>
#include <utility>

namespace app {

namespace {

constexpr int watchMilliseconds = 200;
constexpr const char* processor = "host";
constexpr const char* automatic = "auto";

QString textOf(const gpu::DeviceDescription& device) {
    QString text = QString::fromStdString(device.name);
    if (!device.driver.empty())
        text += QString(" (%1)").arg(QString::fromStdString(device.kind));
    return text.replace('&', "&&");
}

/// One word for all that the menu shows of it.
std::string summaryOf(const gpu::DeviceState& state) {
    return state.choice + '\n' + state.name + '\n' + (state.isKnown ? "" : "?");
}

} // namespace

DeviceMenu::DeviceMenu(Parts parts) : m_parts(std::move(parts)), m_menu(tr("&Device")) {
    m_menu.setToolTipsVisible(true);
    connect(&m_menu, &QMenu::aboutToShow, this, &DeviceMenu::look);
    connect(&m_timer, &QTimer::timeout, this, &DeviceMenu::watch);
    m_timer.start(watchMilliseconds);
    watch();
}

DeviceMenu::~DeviceMenu() {
    if (m_search.joinable())
        m_search.join();
}

QString DeviceMenu::inUse() const {
    const gpu::DeviceState state = m_parts.device.state();
    const QString name = QString::fromStdString(state.name);
    return state.isKnown || state.isProcessor ? name : tr("%1 (starting)").arg(name);
}

// ---- what there is ------------------------------------------------------------------------------

// Devices may come and go, so each opening of the menu has them looked for again.
void DeviceMenu::look() {
    if (m_search.joinable())
        return;
    m_search = std::thread([this] {
        auto devices = gpu::Device::list();
        QMetaObject::invokeMethod(
            this, [this, devices = std::move(devices)]() mutable { take(std::move(devices)); });
    });
}

void DeviceMenu::take(std::vector<gpu::DeviceDescription> devices) {
    m_search.join();
    m_devices = std::move(devices);
    fill();
}

// ---- the menu -----------------------------------------------------------------------------------

void DeviceMenu::fill() {
    const gpu::DeviceState state = m_parts.device.state();
    m_shown = summaryOf(state);
    m_menu.clear();
    delete m_menu.findChild<QActionGroup*>();
    auto* group = new QActionGroup(&m_menu);
    const bool isAutomatic = state.choice == automatic;
    group->addAction(
        add(isAutomatic ? tr("&Automatic: %1").arg(inUse().replace('&', "&&")) : tr("&Automatic"),
            automatic, isAutomatic));
    m_menu.actions().back()->setToolTip(
        tr("The best graphics device, or else the processor; no software driver"));
    m_menu.addSeparator();
    const std::string processorName =
        state.isProcessor ? state.name : tr("Host processor").toStdString();
    if (!m_devices) {
        group->addAction(add(QString::fromStdString(processorName), processor,
                             !isAutomatic && state.isProcessor));
        m_menu.addAction(tr("Looking for graphics devices\u2026"))->setEnabled(false);
        return;
    }
    for (const gpu::DeviceDescription& device : *m_devices) {
        const bool isProcessor = device.choice == processor;
        const bool isInUse = !isAutomatic && state.isProcessor == isProcessor &&
                             (isProcessor || device.name == state.name);
        QAction* entry = group->addAction(add(textOf(device), device.choice, isInUse));
        entry->setEnabled(device.unusable.empty());
        entry->setToolTip(QString::fromStdString(
            device.unusable.empty() ? device.driver : "Cannot be used: " + device.unusable));
    }
    if (m_devices->size() == 1)
        m_menu.addAction(tr("There is no Vulkan driver"))->setEnabled(false);
}

QAction* DeviceMenu::add(const QString& text, const std::string& choice, bool isInUse) {
    QAction* entry = m_menu.addAction(text, this, [this, choice] { choose(choice); });
    entry->setCheckable(true);
    entry->setChecked(isInUse);
    return entry;
}

void DeviceMenu::choose(const std::string& choice) {
    m_parts.settings.device.set(QString::fromStdString(choice));
    m_failure.clear(); // one that fails again is reported again
    m_parts.device.use(choice);
    m_parts.changed();
} // the menu is made again later: the entry that was chosen is at work

// ---- what is in use -----------------------------------------------------------------------------

void DeviceMenu::watch() {
    const gpu::DeviceState state = m_parts.device.state();
    if (m_shown != summaryOf(state))
        fill();
    if (state.failure == m_failure)
        return;
    m_failure = state.failure;
    if (!m_failure.empty())
        m_parts.notices.showError(QString::fromStdString(m_failure));
}

} // namespace app
