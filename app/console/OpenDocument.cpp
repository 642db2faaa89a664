// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/OpenDocument.h"

#include "LiveCoding/LiveCodingFile.h"
#include "platform/TextFile.h"
#include "platform/WholeFile.h"
#include "platform/files/OpenFile.h"

#include <cstdlib>
#include <span>

namespace app {
namespace fs = std::filesystem;
using platform::Result;

static bool hasDocumentEnding(const fs::path& file) {
    return file.extension() == "." + std::string(starloom::documentExtension);
}

Result<DocumentOrigin> readOrigin(const fs::path& file) {
    DocumentOrigin origin;
    origin.title = file.stem().string();
    origin.file = fs::absolute(file);
    origin.source = hasDocumentEnding(file) ? SL42_TRY(starloom::readDocument(file))
                                            : SL42_TRY(platform::readTextFile(file));
    return origin;
}

OpenDocument::OpenDocument(const DocumentOrigin& origin, starloom::StarloomDocument& document,
                           starloom::Journal& journal)
    : m_document(document),
      m_journal(journal),
      m_file(origin.file),
      m_savedSource(origin.source),
      m_followFirst(origin.followed) {
    m_journal.document = m_file;
    if (origin.recovered)
        takeOver(*origin.recovered);
}

void OpenDocument::takeOver(const starloom::JournalEntry& entry) {
    m_savedSource = entry.saved ? entry.source : std::string();
    auto recorded = m_journal.record(entry.title, entry.source);
    if (recorded && entry.good)
        recorded = m_journal.recordGood(entry.title, *entry.good);
    if (entry.saved)
        m_journal.forget();
    if (recorded)
        starloom::Journal::discard(entry);
}

std::string OpenDocument::name() const {
    return m_file.empty() ? m_document.title() : m_file.filename().string();
}

bool OpenDocument::isTextFile() const {
    return !m_file.empty() && !hasDocumentEnding(m_file);
}

bool OpenDocument::isModified() const {
    return !m_follows && m_document.sl42().source() != m_savedSource;
}

fs::path OpenDocument::followed() const {
    const auto* file = m_document.sl42().liveCodeFile();
    return file ? file->url() : fs::path();
}

Result<void> OpenDocument::follow() {
    std::error_code gone;
    if (!m_followFirst.empty() && fs::exists(m_followFirst, gone)) {
        SL42_TRY_VOID(m_document.sl42().followFile(m_followFirst));
        m_follows = isTextFile() && fs::equivalent(m_followFirst, m_file, gone);
        return {};
    }
    if (!isTextFile() || isModified())
        return {};
    SL42_TRY_VOID(m_document.sl42().followFile(m_file));
    m_follows = true;
    return {};
}

// Under another name, the document has left the text file that is followed.
Result<void> OpenDocument::save(const fs::path& file) {
    const std::string& source = m_document.sl42().source();
    if (hasDocumentEnding(file)) {
        SL42_TRY_VOID(m_document.write(file));
    } else {
        const std::string text = source + "\n";
        SL42_TRY_VOID(platform::saveWholeFile(file.string(), std::as_bytes(std::span(text))));
    }
    m_follows = m_follows && file == m_file;
    m_file = file;
    m_savedSource = source;
    m_journal.document = file;
    m_journal.forget();
    return {};
}

// The copy of a document's text stays the place to edit after the document is saved.
Result<void> OpenDocument::openEditor() {
    if (!m_follows)
        return m_document.sl42().openEditor();
    const char* editor = std::getenv("SL42_EDITOR");
    return platform::openFile(m_file, editor ? editor : "");
}

} // namespace app
