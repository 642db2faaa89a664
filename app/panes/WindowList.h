// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The windows that can be captured, by name and with a small live picture each, to pick one from;
// and what the capture is doing.
#pragma once

#include "SL42/capture/ScreenRecorder.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTimer>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace app {

/// Costs nothing while it is hidden. `recorder` must outlive it.
class WindowList final : public QWidget {
public:
    /// Called when the user wants the selected window on the stage.
    std::function<void()> onActivated = [] {};

    explicit WindowList(starloom::ScreenRecorder& recorder);

    /// Puts windows first that were not there before, or that have this in their title: an editor
    /// is about to open a file of that name.
    void expectEditor(const std::string& fileName);
    /// Lets the user type what to look for.
    void takeFocus();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    bool listsWindows();
    void refresh();
    void fill();
    bool isExpected(const platform::CapturableWindow& window) const;
    void requestMiniature();
    void showMiniature(std::uint64_t window, const platform::WindowPicture& picture);
    void select(QListWidgetItem* item);
    void showState();

    starloom::ScreenRecorder& m_recorder;
    QLineEdit* m_search;
    QListWidget* m_list;
    QLabel* m_state;
    QTimer m_miniatureTimer;
    QTimer m_stateTimer;
    std::vector<platform::CapturableWindow> m_shown; ///< in the order of the list
    std::size_t m_nextMiniature = 0;
    std::unique_ptr<starloom::WindowPictures> m_pictures; ///< while it is shown
    std::uint64_t m_framesBefore = 0;
    std::string m_expectedFile;
    std::vector<std::uint64_t> m_windowsBefore; ///< the editor was opened
    std::vector<platform::Observation> m_observations;
};

} // namespace app
