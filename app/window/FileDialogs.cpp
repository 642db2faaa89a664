// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/FileDialogs.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QRegularExpression>

namespace app {
namespace fs = std::filesystem;

std::optional<fs::path> FileDialogs::remember(const QString& chosen) {
    if (chosen.isEmpty())
        return std::nullopt;
    m_settings.folder.set(QFileInfo(chosen).absolutePath());
    return fs::path(chosen.toStdString());
}

std::optional<fs::path> FileDialogs::askForProgram() {
    return remember(
        QFileDialog::getOpenFileName(&m_window, QObject::tr("Open"), m_settings.folder.get(),
                                     QObject::tr("Programs (*.sl42 *.metal);;All files (*)")));
}

std::optional<fs::path> FileDialogs::askWhereToSave(const QString& title, const fs::path& proposed,
                                                    const QString& filter, Existing existing) {
    QFileDialog dialog(&m_window, title, m_settings.folder.get(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setOption(QFileDialog::DontConfirmOverwrite, existing == Existing::Keep);
    const auto ending = QRegularExpression(R"(\*\.(\w+))").match(filter);
    dialog.setDefaultSuffix(ending.captured(1));
    if (proposed.has_parent_path())
        dialog.setDirectory(QString::fromStdString(proposed.parent_path().string()));
    dialog.selectFile(QString::fromStdString(proposed.filename().string()));
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return remember(dialog.selectedFiles().value(0));
}

} // namespace app
