// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Asking for files. Frames are drawn while a dialog is open.
#pragma once

#include "app/common/Settings.h"

#include <QString>

#include <filesystem>
#include <optional>

class QWidget;

namespace app {

/// Dialogs start in the folder that the last one ended in. All answer none when the user thinks
/// better of it.
class FileDialogs {
public:
    /// Both must outlive it.
    FileDialogs(QWidget& window, Settings& settings) : m_window(window), m_settings(settings) {}

    std::optional<std::filesystem::path> askForProgram();
    /// `proposed` is a name or a path. `kinds` are those to choose from, as in "Pictures (*.png);;
    /// Unclamped pictures (*.exr)"; the answer has the ending of the chosen one. A file that has
    /// the name already may be replaced: the user has been asked.
    std::optional<std::filesystem::path> askWhereToSave(const QString& title,
                                                        const std::filesystem::path& proposed,
                                                        const QString& kinds);

private:
    bool mayReplace(const QString& file);
    std::optional<std::filesystem::path> remember(const QString& chosen);

    QWidget& m_window;
    Settings& m_settings;
};

} // namespace app
