// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The commands of the File menu, as far as they are about documents.
#pragma once

#include "app/common/Actions.h"
#include "app/console/Console.h"
#include "app/console/DocumentClaim.h"
#include "app/console/DocumentProcesses.h"
#include "app/console/OpenDocument.h"
#include "app/stage/NoticeBar.h"
#include "app/window/FileDialogs.h"

#include <QMenu>
#include <QObject>

#include <functional>

namespace app {

/// All that it is made with must outlive it.
class DocumentCommands final : public QObject {
public:
    struct Parts {
        QWidget& window;
        Console& console;
        OpenDocument& document;
        DocumentProcesses& processes;
        DocumentClaim& claim;
        Settings& settings;
        NoticeBar& notices;
        std::function<void()> nameChanged;
    };
    DocumentCommands(const Parts& parts, const Actions& actions);

    QMenu& recentFiles() { return m_recentFiles; }
    void openFile(const std::filesystem::path& file);
    /// Asks what to do about changes that are not saved. True when the document may go.
    bool mayClose();
    /// Offers what processes left behind that ended without being closed.
    void offerRecovery();

private:
    class Hold;

    void askForFile();
    bool save();
    bool saveAs();
    bool saveTo(const std::filesystem::path& file);
    bool resolve(const UnseenText& unseen);
    bool takeFromFile();
    void savePacked();
    void openEditor();
    void fillRecentFiles();
    void recover(const std::vector<starloom::JournalEntry>& entries);
    void report(const platform::Result<void>& result);

    Parts m_parts;
    FileDialogs m_dialogs;
    QMenu m_recentFiles;
};

} // namespace app
