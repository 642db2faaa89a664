// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/app/OpenWindow.h"

#include "tests/app/Application.h"

#include <QFileDialog>
#include <QMenuBar>
#include <QTimer>

#include <cstdlib>
#include <filesystem>
#include <set>

namespace app::tests {

namespace fs = std::filesystem;

OpenWindow::OpenWindow() {
    static const std::string path = std::getenv("PATH");
    const std::pair<const char*, std::string> variables[] = {
        {"DISPLAY", server.display()},
        {"WAYLAND_DISPLAY", ""},
        {"SDL_AUDIODRIVER", "dummy"},
        {"HOME", files.path("home")},
        {"XDG_CONFIG_HOME", files.path("config")},
        {"XDG_STATE_HOME", files.path("state")},
        {"XDG_RUNTIME_DIR", files.path("")},
        {"SL42_EDITOR", files.path("xdg-open")},
        {"STARTED", files.path("started")},
        {"PATH", files.path("") + ":" + path}};
    for (const auto& [name, value] : variables)
        ::setenv(name, value.c_str(), 1);
    fs::permissions(files.file("xdg-open", "#!/bin/sh\necho \"open $*\" >>\"$STARTED\"\n"),
                    fs::perms::owner_all);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                       QString::fromStdString(files.path("config")));
    application();
}

void OpenWindow::open(const DocumentOrigin& origin) {
    window = std::make_unique<ConsoleWindow>(origin, supervised, claim);
    window->show();
    ASSERT_TRUE(eventually([this] { return engine().isReadyToDraw() && !engine().isBusy(); }));
}

void OpenWindow::answer(std::vector<Answer> answers) {
    QTimer::singleShot(5, [answers = std::move(answers)]() mutable {
        if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
            const Answer first = answers.front();
            answers.erase(answers.begin());
            if (!answers.empty())
                answer(std::move(answers));
            first(*dialog);
        } else {
            answer(std::move(answers));
        }
    });
}

OpenWindow::Answer OpenWindow::choose(const std::string& file, const QString& kind) {
    return [=](QDialog& dialog) {
        auto& files = dynamic_cast<QFileDialog&>(dialog);
        if (!kind.isEmpty())
            files.selectNameFilter(kind);
        files.selectFile(QString::fromStdString(file));
        dialog.accept();
    };
}

void OpenWindow::press(QWidget& box, const QString& button) {
    for (auto* found : box.findChildren<QAbstractButton*>())
        if (found->text().remove('&') == button)
            return found->click();
    ADD_FAILURE() << "no button " << button.toStdString();
    box.close();
}

/// Menus whose entries are those of the machine, or of the past.
static bool depends(const QAction& menu) {
    return menu.text() == "Open &Recent" || menu.text() == "Full Screen O&n" ||
           menu.text() == "&Device";
}

static void collect(const QList<QAction*>& actions, std::vector<QAction*>& all) {
    for (QAction* action : actions)
        if (const QMenu* menu = action->menu(); menu && !depends(*action))
            collect(menu->actions(), all);
        else if (!menu && !action->isSeparator())
            all.push_back(action);
}

std::vector<QAction*> OpenWindow::menuActions() const {
    std::vector<QAction*> all;
    collect(window->menuBar()->actions(), all);
    return all;
}

std::string OpenWindow::nameOf(const QAction& action) {
    return action.text().remove('&').remove("\u2026").toStdString();
}

QAction& OpenWindow::action(const std::string& name) const {
    for (QAction* action : window->actions())
        if (nameOf(*action) == name)
            return *action;
    throw std::runtime_error("no action " + name);
}

std::string OpenWindow::visiblePanes() const {
    std::set<std::string> shown;
    for (const auto* pane : window->findChildren<QDockWidget*>())
        if (pane->isVisible())
            shown.insert(pane->objectName().toStdString());
    std::string names;
    for (const std::string& name : shown)
        names += name + " ";
    return names;
}

std::string OpenWindow::notice() const {
    const auto* bar = window->findChild<QFrame*>("notice");
    return bar->isVisible() ? bar->accessibleName().toStdString() : "";
}

} // namespace app::tests
