// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/FullScreen.h"

#include <QActionGroup>
#include <QGuiApplication>
#include <QWindow>

#include <algorithm>

namespace app {
namespace {

QString describe(const QScreen& screen) {
    const QSize pixels = screen.geometry().size() * screen.devicePixelRatio();
    QString text =
        QString("%1 (%2 \u00d7 %3)").arg(screen.name()).arg(pixels.width()).arg(pixels.height());
    return text.replace('&', "&&");
}

} // namespace

FullScreen::FullScreen(QWidget& window, PreviewWidget& view, Settings& settings,
                       const Actions& actions)
    : m_window(window),
      m_settings(settings),
      m_play(actions.play),
      m_pointer([shown = QPointer(&view)](bool idle) {
          if (shown)
              shown->setPointerHidden(idle);
      }),
      m_awake({.program = "Starloom 42", .reason = tr("A program is on stage").toStdString()}) {
    m_screens.setTitle(tr("Full Screen O&n"));
    connect(&m_screens, &QMenu::aboutToShow, this, &FullScreen::fillScreens);
    fillScreens(); // a menu without entries would not open
    connect(qApp, &QGuiApplication::screenAdded, this, &FullScreen::placeAgain);
    connect(qApp, &QGuiApplication::screenRemoved, this, &FullScreen::placeAgain);
    connect(m_play, &QAction::toggled, this, &FullScreen::updateAwake);
    connect(actions.blackSurround, &QAction::toggled, &view, [&view, &settings](bool black) {
        view.setSurround(black ? Qt::black : Qt::red);
        settings.blackSurround.set(black);
    });
    actions.blackSurround->setChecked(settings.blackSurround.get());
}

void FullScreen::fillScreens() {
    m_screens.clear();
    auto* group = new QActionGroup(&m_screens);
    const QString remembered = m_settings.fullScreenOn.get();
    const auto add = [&](const QString& text, const QString& name) {
        QAction* entry = m_screens.addAction(text, this, [this, name] { choose(name); });
        entry->setCheckable(true);
        entry->setChecked(name == remembered);
        group->addAction(entry);
        return entry;
    };
    add(tr("The Window's Own Screen"), {});
    m_screens.addSeparator();
    for (const QScreen* screen : QGuiApplication::screens())
        add(describe(*screen), screen->name());
    if (!remembered.isEmpty() && !chosen())
        add(tr("%1 (not there)").arg(remembered), remembered)->setEnabled(false);
}

void FullScreen::choose(const QString& name) {
    m_settings.fullScreenOn.set(name);
    placeAgain();
}

QScreen* FullScreen::chosen() const {
    const auto screens = QGuiApplication::screens();
    const QString name = m_settings.fullScreenOn.get();
    const auto found = std::ranges::find_if(
        screens, [&](const QScreen* screen) { return screen->name() == name; });
    return name.isEmpty() || found == screens.end() ? nullptr : *found;
}

void FullScreen::enter() {
    m_geometryBefore = m_window.saveGeometry();
    m_wasMaximized = m_window.isMaximized();
    m_screenBefore = m_window.screen();
    m_entered = true;
    QScreen* const screen = chosen();
    fill(screen ? *screen : *m_screenBefore);
    m_pointer.watch(true);
    updateAwake();
}

// Window managers of X11 fill the screen that the window is on; those of Wayland the one they are
// told.
void FullScreen::fill(QScreen& screen) {
    if (m_window.screen() != &screen) {
        if (m_window.isFullScreen())
            m_window.showNormal();
        m_window.setScreen(&screen);
        m_window.setGeometry(screen.geometry());
    }
    m_window.showFullScreen();
}

// A screen that has gone has taken the window's place with it; what is new may be the chosen one.
void FullScreen::placeAgain() {
    if (!m_entered)
        return;
    QScreen* screen = chosen();
    if (!screen)
        screen = m_screenBefore ? m_screenBefore.data() : QGuiApplication::primaryScreen();
    if (screen)
        fill(*screen);
}

void FullScreen::leave() {
    m_entered = false;
    m_pointer.watch(false);
    updateAwake();
    const bool moved = m_screenBefore && m_screenBefore != m_window.screen();
    if (m_wasMaximized && !moved)
        m_window.showMaximized();
    else
        m_window.showNormal();
    if (moved)
        m_window.restoreGeometry(m_geometryBefore);
}

void FullScreen::updateAwake() {
    m_awake.set(m_entered && m_play->isChecked());
}

} // namespace app
