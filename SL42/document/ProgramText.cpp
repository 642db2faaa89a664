// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/ProgramText.h"

#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/Compression.h"
#include "SL42/document/DocumentFile.h"
#include "SL42/document/History.h"
#include "SL42/document/Journal.h"
#include "SL42/document/Minifier.h"
#include "SL42/document/Trim.h"
#include "platform/TextFile.h"
#include "platform/base/Fatal.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace starloom {

ProgramText::ProgramText(platform::MainQueue& mainQueue, platform::Log& log, TextKeepers keepers,
                         std::string title, std::string source, bool preview, Client client)
    : m_mainQueue(mainQueue),
      m_log(log),
      m_keepers(keepers),
      m_title(std::move(title)),
      m_preview(preview),
      m_client(std::move(client)),
      m_source(std::move(source)),
      m_size(platform::characterCount(m_source)),
      m_anchor(mainQueue) {}

ProgramText::~ProgramText() = default;

// Compressing a program of some kilobytes takes less than a millisecond, so it is done at once and
// not beside the first frame.
static platform::Bytes valueOrStop(platform::Result<platform::Bytes> packed) {
    if (!packed)
        platform::fatalError("Error occurred during encoding: " + packed.error().message + ".");
    return *std::move(packed);
}

void ProgramText::setSource(std::string source, const std::function<void()>& compile) {
    m_source = std::move(source);
    if (m_preview)
        return;
    record();
    m_anchor.async([this, size = platform::characterCount(m_source)] { m_size.set(size); });
    compile();
    valueOrStop(Packer::multipack(m_source, m_log));
    pack();
}

void ProgramText::record() {
    if (m_keepers.journal)
        if (auto recorded = m_keepers.journal->record(m_title, m_source); !recorded)
            m_log.line("The journal is not kept: " + recorded.error().message);
    if (m_keepers.history)
        if (auto recorded = m_keepers.history->record(m_source); !recorded)
            m_log.line("The history is not kept: " + recorded.error().message);
}

void ProgramText::recordGood(const std::string& source) {
    if (m_keepers.journal) // record() has said it if nothing is kept
        (void)m_keepers.journal->recordGood(m_title, source);
    if (m_keepers.history)
        m_keepers.history->noteDrew(source);
}

void ProgramText::recordCompiled(const std::string& source, bool compiled) {
    if (m_keepers.history)
        m_keepers.history->noteCompiled(source, compiled);
}

void ProgramText::pack() {
    if (m_preview)
        return;
    m_compressed = valueOrStop(Packer::pack(minify(m_source)));
    m_anchor.async([this, size = m_compressed.size()] { m_packedSize.set(size); });
}

void ProgramText::savePacked(const platform::SavePanel& panel) {
    if (m_preview || m_compressed.empty())
        return;
    const auto chosen = panel(m_title + ".packed." + std::string(documentExtension));
    if (!chosen)
        return;
    if (!chosen->has_parent_path()) {
        m_log.line("Unable to get filetype");
        return;
    }
    // writeFile() appends the ending again; the user has agreed to a name with one ending.
    const bool hasEnding = chosen->extension() == "." + std::string(documentExtension);
    const auto name = hasEnding ? chosen->stem() : chosen->filename();
    writeFile(name.string(), chosen->parent_path(), documentType);
}

void ProgramText::writeFile(const std::string& filename, const std::filesystem::path& directory,
                            std::string_view type) {
    const auto extension = preferredFilenameExtension(type);
    if (!extension) {
        m_log.line("Weird, the type won't load or there's no extension?");
        return;
    }
    const std::string target = (directory / (filename + "." + std::string(*extension))).string();
    m_log.line("Writing to: " + target);
    if (auto written = platform::writeWholeFile(target, m_compressed); !written)
        m_log.line("Error writing: " + written.error().message);
}

std::function<void(const std::string&)> ProgramText::sourceReader() {
    return [this](const std::string& text) {
        m_rawSrc = text;
        m_client.edited(std::string(trimmed(text)));
    };
}

platform::Result<void> ProgramText::follow(std::unique_ptr<LiveCodingFile>& place,
                                           platform::Result<std::unique_ptr<LiveCodingFile>> file) {
    LiveCodingFile& followed = *(place = SL42_TRY(std::move(file)));
    followed.reloadOnEveryWrite = m_reloadOnEveryWrite;
    followed.setPaused(m_holds > 0);
    followed.onSameText = [this, &followed] { sameTextSaved(followed.contents()); };
    followed.onIgnoredWrite = m_client.ignoredWrite;
    return {};
}

// Who saves the text while another one is on the stage, as after going back, wants to see it.
void ProgramText::sameTextSaved(const std::string& text) {
    if (trimmed(text) == trimmed(m_source))
        m_client.savedAgain();
    else
        sourceReader()(text);
}

BlankLead ProgramText::blankLead() const {
    if (m_rawSrc.size() == m_source.size() || trimmed(m_rawSrc) != m_source)
        return {};
    const auto before = std::string_view(m_rawSrc).substr(0, m_rawSrc.find(m_source));
    const auto lastLine = before.rfind('\n') + 1; // npos + 1 is 0
    return {.lines = static_cast<int>(std::ranges::count(before, '\n')),
            .columns = static_cast<int>(before.size() - lastLine)};
}

platform::Result<void> ProgramText::openEditor() {
    if (m_preview)
        return {};
    const char* editor = std::getenv("SL42_EDITOR");
    return follow(m_liveCodeFile,
                  LiveCodingFile::create(m_title, "metal", m_source, editor ? editor : "",
                                         m_mainQueue, m_log, sourceReader()));
}

platform::Result<void> ProgramText::followCopy(const std::filesystem::path& path) {
    if (m_preview)
        return {};
    return follow(m_liveCodeFile,
                  LiveCodingFile::watch(path, m_source, LiveCodingFile::Saves::ByRename,
                                        m_mainQueue, m_log, sourceReader()));
}

platform::Result<void> ProgramText::followFile(const std::filesystem::path& path,
                                               std::string contents) {
    if (m_preview)
        return {};
    m_rawSrc = contents;
    return follow(m_documentFile, LiveCodingFile::watch(path, std::move(contents),
                                                        LiveCodingFile::Saves::EveryWrite,
                                                        m_mainQueue, m_log, sourceReader()));
}

void ProgramText::holdFiles(bool hold) {
    m_holds += hold ? 1 : -1;
    for (auto* file : {m_liveCodeFile.get(), m_documentFile.get()})
        if (file)
            file->setPaused(m_holds > 0);
}

void ProgramText::unfollowFile() {
    m_documentFile.reset();
}

void ProgramText::setReloadOnEveryWrite(bool reload) {
    m_reloadOnEveryWrite = reload;
    if (!m_liveCodeFile)
        return;
    m_liveCodeFile->reloadOnEveryWrite = reload;
    if (reload)
        m_liveCodeFile->catchUp();
}

} // namespace starloom
