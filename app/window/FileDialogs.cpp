// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/FileDialogs.h"

#include "app/window/SaveName.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>

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
                                                    const QString& kinds) {
    QFileDialog dialog(&m_window, title, m_settings.folder.get(), kinds);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    if (proposed.has_parent_path())
        dialog.setDirectory(QString::fromStdString(proposed.parent_path().string()));
    const QString name = QString::fromStdString(proposed.filename().string());
    const QString firstKind = kindOf(name, kinds);
    dialog.selectNameFilter(firstKind);
    dialog.setDefaultSuffix(endingOf(dialog.selectedNameFilter()));
    dialog.selectFile(name);
    // The name that is seen changes with the kind, so that the dialog asks about the right file.
    QObject::connect(&dialog, &QFileDialog::filterSelected, &dialog, [&](const QString& kind) {
        const QString seen = QFileInfo(dialog.selectedFiles().value(0)).fileName();
        dialog.setDefaultSuffix(endingOf(kind));
        dialog.selectFile(withEndingOf(kind, seen, kinds));
    });
    while (dialog.exec() == QDialog::Accepted) {
        const QString typed = dialog.selectedFiles().value(0);
        // Who has not picked a kind may have typed the ending of another one.
        const QString picked = dialog.selectedNameFilter();
        const bool hasKind = withEndingOf(kindOf(typed, kinds), typed, kinds) == typed;
        const QString file =
            hasKind && picked == firstKind ? typed : withEndingOf(picked, typed, kinds);
        if (file == typed || mayReplace(file))
            return remember(file);
    }
    return std::nullopt;
}

// About a file that the dialog has not asked about, since it did not know the name.
bool FileDialogs::mayReplace(const QString& file) {
    if (!QFileInfo::exists(file))
        return true;
    return QMessageBox::warning(&m_window, QObject::tr("Save"),
                                QObject::tr("%1 already exists.\nDo you want to replace it?")
                                    .arg(QFileInfo(file).fileName()),
                                QMessageBox::Yes | QMessageBox::No,
                                QMessageBox::No) == QMessageBox::Yes;
}

} // namespace app
