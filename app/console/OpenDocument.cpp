// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/OpenDocument.h"

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
      m_savedSource(origin.recovered ? std::string() : origin.source) {
    m_journal.document = m_file;
    if (origin.recovered && m_journal.record(origin.title, origin.source))
        starloom::Journal::discard(*origin.recovered);
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

Result<void> OpenDocument::follow() {
    if (!isTextFile() || isModified())
        return {};
    SL42_TRY_VOID(m_document.sl42().followFile(m_file));
    m_follows = true;
    return {};
}

Result<void> OpenDocument::save(const fs::path& file) {
    const std::string& source = m_document.sl42().source();
    if (hasDocumentEnding(file)) {
        SL42_TRY_VOID(m_document.write(file));
    } else {
        const std::string text = source + "\n";
        SL42_TRY_VOID(platform::saveWholeFile(file.string(), std::as_bytes(std::span(text))));
    }
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
