// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/OpenDocument.h"

#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/Compression.h"
#include "SL42/document/Trim.h"
#include "platform/TextFile.h"
#include "platform/WholeFile.h"
#include "platform/files/OpenFile.h"

#include <cstdlib>
#include <span>

namespace app {
namespace fs = std::filesystem;
using platform::Error;
using platform::Result;
using starloom::trimmed;

static bool hasDocumentEnding(const fs::path& file) {
    return file.extension() == "." + std::string(starloom::documentExtension);
}

Result<std::string> readProgramText(const fs::path& file) {
    if (!hasDocumentEnding(file))
        return platform::readTextFile(file);
    const std::string bytes = SL42_TRY(platform::readShortFile(file));
    auto text = starloom::Unpacker::tryUnpack(std::as_bytes(std::span(bytes)));
    if (!text)
        return Error{file.string() + ": Error occurred during decoding: " + text.error().message +
                     "."};
    return text;
}

Result<DocumentOrigin> readOrigin(const fs::path& file) {
    DocumentOrigin origin;
    origin.title = file.stem().string();
    origin.file = fs::absolute(file);
    origin.source = SL42_TRY(readProgramText(file));
    return origin;
}

OpenDocument::OpenDocument(const DocumentOrigin& origin, starloom::StarloomDocument& document,
                           starloom::Journal& journal, starloom::History& history)
    : m_document(document),
      m_journal(journal),
      m_history(history),
      m_file(origin.file),
      m_known(origin.source),
      m_followFirst(origin.followed) {
    m_journal.document = m_file;
    if (!m_file.empty())
        m_history.setDocument(m_file);
    else if (origin.recovered && !origin.recovered->history.empty())
        m_history.continueAt(origin.recovered->history);
    m_journal.history = m_history.file();
    if (origin.recovered)
        takeOver(*origin.recovered);
    if (origin.source != starloom::defaultSource)
        (void)m_history.resume(origin.source); // the first change says it if nothing is kept
}

void OpenDocument::takeOver(const starloom::JournalEntry& entry) {
    m_known.reset();
    if (entry.saved)
        m_known = entry.source;
    (void)m_history.resume(entry.source);
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

/// The newest text that the file is known to have held.
std::optional<std::string> OpenDocument::known() const {
    const auto* file = m_document.sl42().documentFile();
    return file && file->contents() != m_heldAtFirst ? file->contents() : m_known;
}

bool OpenDocument::isModified() const {
    const auto text = known();
    return !text || trimmed(*text) != trimmed(m_document.sl42().source());
}

fs::path OpenDocument::followed() const {
    const auto& engine = m_document.sl42();
    const auto* file = engine.liveCodeFile() ? engine.liveCodeFile() : engine.documentFile();
    return file ? file->url() : fs::path();
}

Result<void> OpenDocument::followFile(const std::string& contents) {
    m_heldAtFirst = contents;
    return m_document.sl42().followFile(m_file, contents);
}

Result<void> OpenDocument::follow() {
    std::error_code gone;
    const bool isCopy = !m_followFirst.empty() && !fs::equivalent(m_followFirst, m_file, gone);
    if (isCopy && fs::exists(m_followFirst, gone))
        SL42_TRY_VOID(m_document.sl42().followCopy(m_followFirst));
    if (!isTextFile() || !fs::exists(m_file, gone))
        return {};
    // A recovered text is nowhere else, so what was saved meanwhile does not replace it by itself.
    const std::string held = SL42_TRY(platform::readTextFile(m_file));
    return followFile(!m_known || trimmed(held) == trimmed(*m_known) ? held : *m_known);
}

std::optional<UnseenText> OpenDocument::unseenText() const {
    std::error_code failed;
    if (m_file.empty() || !fs::exists(m_file, failed))
        return std::nullopt;
    auto text = readProgramText(m_file);
    const auto seen = known();
    if (text && (*text == seen || trimmed(*text) == trimmed(m_document.sl42().source())))
        return std::nullopt;
    return UnseenText{std::move(text)};
}

// Nobody may be able to write the file in the end, so its history does not become ours yet.
void OpenDocument::keepWhatIsReplaced(const fs::path& file) {
    const auto replaced = readProgramText(file);
    if (!replaced || (file == m_file && replaced.value() == known()) ||
        trimmed(replaced.value()) == trimmed(m_document.sl42().source()))
        return;
    if (file == m_file) {
        (void)m_history.record(trimmed(replaced.value()));
    } else {
        starloom::History other(m_history.file().parent_path());
        other.setDocument(file);
        (void)other.record(trimmed(replaced.value()));
    }
}

// A text file whose text is the same but for the white space around it keeps that.
Result<void> OpenDocument::save(const fs::path& file) {
    const std::string source = m_document.sl42().source();
    keepWhatIsReplaced(file);
    std::string text = source;
    if (hasDocumentEnding(file)) {
        SL42_TRY_VOID(m_document.write(file));
    } else if (const auto held = platform::readTextFile(file);
               held && trimmed(*held) == trimmed(source)) {
        text = *held;
    } else {
        text += "\n";
        SL42_TRY_VOID(platform::saveWholeFile(file.string(), std::as_bytes(std::span(text))));
    }
    m_file = file;
    m_known = text;
    m_history.setDocument(file);
    (void)m_history.record(source);
    m_journal.document = file;
    m_journal.history = m_history.file();
    m_journal.forget();
    m_document.sl42().unfollowFile();
    return isTextFile() ? followFile(text) : Result<void>();
}

Result<void> OpenDocument::takeFromFile() {
    const std::string text = SL42_TRY(readProgramText(m_file));
    (void)m_history.record(m_document.sl42().source());
    m_known = text;
    m_document.sl42().unfollowFile();
    if (isTextFile())
        SL42_TRY_VOID(followFile(text));
    m_document.sl42().offerSource(isTextFile() ? std::string(trimmed(text)) : text);
    return {};
}

// The copy of a document's text stays the place to edit after the document is saved.
Result<void> OpenDocument::openEditor() {
    const auto& engine = m_document.sl42();
    if (!engine.documentFile())
        return m_document.sl42().openEditor();
    const char* editor = std::getenv("SL42_EDITOR");
    return platform::openFile(m_file, editor ? editor : "");
}

} // namespace app
