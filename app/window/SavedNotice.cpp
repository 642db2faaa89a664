// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/SavedNotice.h"

#include "platform/files/OpenFile.h"

namespace app {

NoticeAction openFolderAction(NoticeBar& notices, const std::filesystem::path& folder) {
    return {QObject::tr("Open Folder"), [&notices, folder] {
                if (const auto opened = platform::openFile(folder, {}); !opened)
                    notices.showError(QString::fromStdString(opened.error().message));
            }};
}

void showSaved(NoticeBar& notices, const std::filesystem::path& file) {
    notices.showInformation(QObject::tr("Saved %1").arg(QString::fromStdString(file.string())),
                            openFolderAction(notices, file.parent_path()));
}

} // namespace app
