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

platform::Result<void> SL42::openEditor() {
    if (m_preview)
        return {};
    const char* editor = std::getenv("SL42_EDITOR");
    m_liveCodeFile = SL42_TRY(LiveCodingFile::create(m_title, "metal", m_source,
                                                     editor ? editor : "", m_surroundings.mainQueue,
                                                     m_surroundings.log, sourceReader()));
    m_liveCodeFile->reloadOnEveryWrite = m_reloadOnEveryWrite;
    return {};
}

platform::Result<void> SL42::followFile(const std::filesystem::path& path) {
    if (m_preview)
        return {};
    m_liveCodeFile = SL42_TRY(LiveCodingFile::watch(path, m_source, m_surroundings.mainQueue,
                                                    m_surroundings.log, sourceReader()));
    m_liveCodeFile->reloadOnEveryWrite = m_reloadOnEveryWrite;
    return {};
}

void SL42::setReloadOnEveryWrite(bool reload) {
    m_reloadOnEveryWrite = reload;
    if (m_liveCodeFile)
        m_liveCodeFile->reloadOnEveryWrite = reload;
}

} // namespace starloom
