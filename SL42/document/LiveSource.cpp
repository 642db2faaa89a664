// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The part of the console that follows a file in which the user edits the source.
#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/Trim.h"
#include "SL42/engine/SL42.h"

#include <cstdlib>
#include <utility>

namespace starloom {

// Runs on the main queue, and not at all once the console is gone.
std::function<void(const std::string&)> SL42::sourceReader() {
    return [self = std::weak_ptr(m_self)](const std::string& text) {
        const auto engine = self.lock();
        if (!engine)
            return;
        (*engine)->m_rawSrc = text;
        (*engine)->offerSource(std::string(trimmed(text)));
    };
}

// Whoever saves a program again that was set aside wants it tried again.
void SL42::follow(std::unique_ptr<LiveCodingFile> file) {
    m_liveCodeFile = std::move(file);
    m_liveCodeFile->reloadOnEveryWrite = m_reloadOnEveryWrite;
    m_liveCodeFile->onSameText = [this] {
        if (!m_fault.get().empty())
            runAgain();
    };
}

platform::Result<void> SL42::openEditor() {
    if (m_preview)
        return {};
    const char* editor = std::getenv("SL42_EDITOR");
    follow(SL42_TRY(LiveCodingFile::create(m_title, "metal", m_source, editor ? editor : "",
                                           m_surroundings.mainQueue, m_surroundings.log,
                                           sourceReader())));
    return {};
}

platform::Result<void> SL42::followFile(const std::filesystem::path& path) {
    if (m_preview)
        return {};
    follow(SL42_TRY(LiveCodingFile::watch(path, m_source, m_surroundings.mainQueue,
                                          m_surroundings.log, sourceReader())));
    return {};
}

void SL42::setReloadOnEveryWrite(bool reload) {
    m_reloadOnEveryWrite = reload;
    if (m_liveCodeFile)
        m_liveCodeFile->reloadOnEveryWrite = reload;
}

} // namespace starloom
