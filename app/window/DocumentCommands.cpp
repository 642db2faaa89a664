// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/DocumentCommands.h"

#include <QMessageBox>
#include <QPushButton>

#include <algorithm>

namespace app {
namespace fs = std::filesystem;

/// Whoever is asked about the text on the stage finds it there when he answers.
class DocumentCommands::Hold {
public:
    explicit Hold(starloom::SL42& engine) : m_engine(engine) { m_engine.holdFiles(true); }
    ~Hold() { m_engine.holdFiles(false); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    starloom::SL42& m_engine;
};

DocumentCommands::DocumentCommands(const Parts& parts, const Actions& actions)
    : m_parts(parts), m_dialogs(parts.window, parts.settings) {
    m_recentFiles.setTitle(tr("Open &Recent"));
    connect(&m_recentFiles, &QMenu::aboutToShow, this, &DocumentCommands::fillRecentFiles);
    fillRecentFiles(); // a menu without entries would not open
    connect(actions.newDocument, &QAction::triggered, this,
            [this] { m_parts.processes.openNew(); });
    connect(actions.open, &QAction::triggered, this, &DocumentCommands::askForFile);
    connect(actions.save, &QAction::triggered, this, &DocumentCommands::save);
    connect(actions.saveAs, &QAction::triggered, this, &DocumentCommands::saveAs);
    connect(actions.savePacked, &QAction::triggered, this, &DocumentCommands::savePacked);
    connect(actions.edit, &QAction::triggered, this, &DocumentCommands::openEditor);
    if (!m_parts.document.file().empty())
        m_parts.settings.addRecentFile(QString::fromStdString(m_parts.document.file().string()));
}

void DocumentCommands::report(const platform::Result<void>& result) {
    if (!result)
        m_parts.notices.showError(QString::fromStdString(result.error().message));
}

void DocumentCommands::askForFile() {
    if (const auto file = m_dialogs.askForProgram())
        openFile(*file);
}

void DocumentCommands::openFile(const fs::path& file) {
    m_parts.processes.openFile(file);
}

bool DocumentCommands::save() {
    const fs::path file = m_parts.document.file();
    if (file.empty())
        return saveAs();
    const auto unseen = m_parts.document.unseenText();
    return unseen ? resolve(*unseen) : saveTo(file);
}

// The history keeps the text that loses.
bool DocumentCommands::resolve(const UnseenText& unseen) {
    const Hold hold(m_parts.console.engine());
    QMessageBox question(
        QMessageBox::Warning, tr("Save"),
        tr("Another program has changed %1.").arg(QString::fromStdString(m_parts.document.name())),
        QMessageBox::Cancel, &m_parts.window);
    question.setInformativeText(
        unseen.text ? tr("The text on the stage and the one in the file differ. The history keeps "
                         "both.")
                    : QString::fromStdString(unseen.text.error().message));
    const auto* keep = question.addButton(tr("&Keep the Stage's"), QMessageBox::DestructiveRole);
    auto* take = question.addButton(tr("&Take the File's"), QMessageBox::AcceptRole);
    const auto* elsewhere = question.addButton(tr("Save &As\u2026"), QMessageBox::ActionRole);
    take->setEnabled(unseen.text.hasValue());
    question.exec();
    if (question.clickedButton() == keep)
        return saveTo(m_parts.document.file());
    if (question.clickedButton() == take)
        return takeFromFile();
    return question.clickedButton() == elsewhere && saveAs();
}

bool DocumentCommands::takeFromFile() {
    const auto taken = m_parts.document.takeFromFile();
    report(taken);
    m_parts.nameChanged();
    return taken.hasValue();
}

bool DocumentCommands::saveAs() {
    const Hold hold(m_parts.console.engine());
    const fs::path& file = m_parts.document.file();
    const auto chosen = m_dialogs.askWhereToSave(
        tr("Save"), file.empty() ? fs::path(m_parts.document.name() + ".sl42") : file,
        tr("Documents (*.sl42);;Program texts (*.metal)"));
    return chosen && saveTo(*chosen);
}

bool DocumentCommands::saveTo(const fs::path& file) {
    const fs::path before = m_parts.document.file();
    if (m_parts.claim.claim(file) != DocumentClaim::Answer::Ours) {
        report(platform::Error{file.filename().string() +
                               " is open in another window; close that or choose another name"});
        return false;
    }
    const auto saved = m_parts.document.save(file);
    report(saved);
    if (!saved && before != file)
        before.empty() ? m_parts.claim.release() : void(m_parts.claim.claim(before));
    if (saved)
        m_parts.settings.addRecentFile(QString::fromStdString(file.string()));
    m_parts.nameChanged();
    return saved.hasValue();
}

void DocumentCommands::savePacked() {
    m_parts.console.engine().savePacked([this](const std::string& name) {
        return m_dialogs.askWhereToSave(tr("Save Packed"), name, tr("Documents (*.sl42)"));
    });
}

void DocumentCommands::openEditor() {
    report(m_parts.document.openEditor());
}

void DocumentCommands::fillRecentFiles() {
    m_recentFiles.clear();
    for (const QString& path : m_parts.settings.recentFiles.get()) {
        QString shown = path;
        m_recentFiles.addAction(shown.replace('&', "&&"), this,
                                [this, path] { openFile(path.toStdString()); });
    }
    if (m_recentFiles.isEmpty())
        m_recentFiles.addAction(tr("None yet"))->setEnabled(false);
}

bool DocumentCommands::mayClose() {
    if (!m_parts.document.isModified())
        return true;
    const Hold hold(m_parts.console.engine());
    const QString name = QString::fromStdString(m_parts.document.name());
    const auto answer = QMessageBox::question(
        &m_parts.window, tr("Close"), tr("Save the changes to %1?").arg(name),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Save)
        return save();
    return answer == QMessageBox::Discard;
}

void DocumentCommands::offerRecovery() {
    const auto entries = starloom::Journal::recoverable(starloom::Journal::folderOfThisUser());
    if (entries.empty())
        return;
    QStringList titles;
    for (const auto& entry : entries)
        titles.append(QString::fromStdString(entry.title));
    auto* question =
        new QMessageBox(QMessageBox::Question, tr("Recover"),
                        tr("Some programs were not closed normally: %1.").arg(titles.join(", ")),
                        QMessageBox::NoButton, &m_parts.window);
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setInformativeText(tr("Their last texts have been kept."));
    auto* recover = question->addButton(tr("&Recover"), QMessageBox::AcceptRole);
    auto* discard = question->addButton(tr("&Discard"), QMessageBox::DestructiveRole);
    question->addButton(tr("&Later"), QMessageBox::RejectRole);
    question->setDefaultButton(recover);
    connect(question, &QMessageBox::buttonClicked, this, [=, this](QAbstractButton* clicked) {
        if (clicked == recover)
            this->recover(entries);
        else if (clicked == discard)
            for (const auto& entry : entries)
                starloom::Journal::discard(entry);
    });
    question->open();
}

// A window that shows nothing of its own, or an older text of one of them, makes room.
void DocumentCommands::recover(const std::vector<starloom::JournalEntry>& entries) {
    const fs::path& file = m_parts.document.file();
    const auto isOurs = [&](const auto& entry) { return !file.empty() && entry.document == file; };
    const bool makesRoom =
        !m_parts.document.isModified() && (file.empty() || std::ranges::any_of(entries, isOurs));
    if (makesRoom)
        m_parts.claim.release();
    for (const auto& entry : entries)
        m_parts.processes.recover(entry.file, makesRoom);
    if (makesRoom)
        m_parts.window.close();
}

} // namespace app
