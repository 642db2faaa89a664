// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/Style.h"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

namespace app {
namespace {

constexpr QColor window(0x17, 0x18, 0x1c);
constexpr QColor base(0x10, 0x11, 0x14);
constexpr QColor button(0x24, 0x26, 0x2c);
constexpr QColor text(0xd6, 0xd8, 0xdd);
constexpr QColor quiet(0x7d, 0x82, 0x8c);
constexpr QColor accent(0x5b, 0x8d, 0xd6);
constexpr QColor link(0xe8, 0xa9, 0x6a);

QPalette darkPalette() {
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::ToolTipBase, button);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, quiet);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, button);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Highlight, accent.darker(130));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, link);
    palette.setColor(QPalette::LinkVisited, link);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, quiet.darker(130));
    return palette;
}

constexpr const char* styleSheet = R"(
QMainWindow::separator { background: #0c0d0f; width: 4px; height: 4px; }
QMenuBar { background: #17181c; padding: 2px 6px; }
QMenuBar::item { padding: 4px 9px; border-radius: 4px; }
QMenuBar::item:selected { background: #2b2e36; }
QMenu { background: #1d1f24; border: 1px solid #33363e; padding: 5px; }
QMenu::item { padding: 5px 26px 5px 22px; border-radius: 4px; }
QMenu::item:selected { background: #345488; }
QMenu::item:disabled { color: #5d616a; }
QMenu::separator { height: 1px; background: #33363e; margin: 5px 8px; }
QDockWidget { color: #7d828c; titlebar-close-icon: none; titlebar-normal-icon: none; }
QDockWidget::title { background: #17181c; padding: 5px 10px; }
QPlainTextEdit, QTextBrowser { border: none; background: #101114; padding: 4px; }
QLabel#heading { color: #7d828c; font-weight: bold; padding-top: 10px; }
QLabel#quiet { color: #7d828c; }
QLabel#chip { border: 1px solid #2b2e36; border-radius: 4px; padding: 3px; color: #4f535c; }
QLabel#chip[found="true"] { background: #26364f; border-color: #3e5f94; color: #d3e2fb; }
QLabel#badge { background: rgba(20, 21, 25, 215); color: #ffb4a8; border: 1px solid #a8483c;
               border-radius: 11px; padding: 3px 10px; }
QLabel#recording { color: #ff5a4f; font-weight: bold; padding: 2px 12px; }
QFrame#notice { background: #22252c; border: 1px solid #3b3f48; border-radius: 8px; }
QFrame#notice[error="true"] { background: #3a2024; border-color: #8c3f3f; }
QScrollArea QToolButton { background: #24262c; border: 1px solid #33363e; border-radius: 5px;
                          padding: 5px 8px; }
QScrollArea QToolButton:hover { background: #2d3038; }
QScrollArea QToolButton:pressed, QScrollArea QToolButton:checked { background: #345488;
                                                                   border-color: #4a74b8; }
QScrollArea QToolButton:disabled { color: #5d616a; }
QScrollArea QToolButton:focus { border-color: #5b8dd6; }
QFrame#notice QToolButton { background: transparent; border: none; padding: 1px 5px; }
QFrame#notice QToolButton#offer { background: #2d3038; border: 1px solid #4a74b8; border-radius: 5px;
                                  padding: 2px 10px; }
QFrame#notice QToolButton#offer:hover { background: #345488; }
QSlider::groove:horizontal { height: 4px; background: #2b2e36; border-radius: 2px; }
QSlider::sub-page:horizontal { background: #4a74b8; border-radius: 2px; }
QSlider::handle:horizontal { width: 14px; height: 14px; margin: -5px 0; border-radius: 7px;
                             background: #c9cdd6; }
QSlider::handle:horizontal:focus { background: #8db6f5; }
QProgressBar { border: 1px solid #33363e; border-radius: 5px; background: #101114;
               text-align: center; }
QProgressBar::chunk { background: #345488; border-radius: 4px; }
QProgressBar#song { border: none; border-radius: 1px; background: #22252c; }
QProgressBar#song::chunk { background: #5b8dd6; border-radius: 1px; }
QScrollArea { border: none; }
QToolTip { border: 1px solid #33363e; padding: 4px; }
)";

} // namespace

void applyStyle(QApplication& application) {
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(darkPalette());
    application.setStyleSheet(QString::fromLatin1(styleSheet));
}

} // namespace app
