// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/LineMarkers.h"

#include "compute/metal/Language.h"

#include <clang/Basic/SourceManagerInternals.h>
#include <clang/Lex/PPCallbacks.h>
#include <clang/Lex/Preprocessor.h>

namespace compute::metal {
namespace {

class IgnoredMarkers final : public clang::PPCallbacks {
public:
    explicit IgnoredMarkers(clang::SourceManager& sources) : m_sources(sources) {}

    /// Is called when the program is entered, and for each of its markers, right after Clang has
    /// noted that.
    void FileChanged(clang::SourceLocation location, FileChangeReason,
                     clang::SrcMgr::CharacteristicKind, clang::FileID) override {
        const clang::FileID file = m_sources.getFileID(location);
        if (file != m_sources.getMainFileID()) // Clang itself uses them for what it predefines
            return;
        if (m_name < 0)
            enter(file);
        m_sources.getLineTable().AddEntry(
            file, {clang::LineEntry::get(0, secondLine, m_name, clang::SrcMgr::C_User, 0)});
    }

private:
    /// The one marker that there is: at the very beginning, about the line behind it.
    static constexpr unsigned secondLine = 2;

    void enter(clang::FileID file) {
        m_name = int(m_sources.getLineTableFilenameID(sourceName));
        m_sources.AddLineNote(m_sources.getLocForStartOfFile(file), secondLine, m_name, false,
                              false, clang::SrcMgr::C_User);
    }

    clang::SourceManager& m_sources;
    int m_name = -1;
};

} // namespace

void ignoreLineMarkers(clang::Preprocessor& preprocessor) {
    preprocessor.addPPCallbacks(std::make_unique<IgnoredMarkers>(preprocessor.getSourceManager()));
}

} // namespace compute::metal
