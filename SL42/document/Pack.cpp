// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The part of the console that packs its source and exports the packed form.
#include "SL42/document/Compression.h"
#include "SL42/document/Minifier.h"
#include "SL42/document/StarloomDocument.h"
#include "SL42/engine/SL42.h"
#include "platform/base/Fatal.h"

#include <utility>

namespace starloom {

// A program of some kilobytes takes less than a millisecond for all of this, so the first frame
// need not be let past it.
static platform::Bytes valueOrStop(platform::Result<platform::Bytes> packed) {
    if (!packed)
        platform::fatalError("Error occurred during encoding: " + packed.error().message + ".");
    return *std::move(packed);
}

void SL42::surveySizes() {
    valueOrStop(Packer::multipack(m_source, m_surroundings.log));
}

void SL42::pack() {
    if (m_preview)
        return;
    m_compressed = valueOrStop(Packer::pack(minify(m_source)));
    runOnMainQueue([size = m_compressed.size()](SL42& engine) { engine.m_packedSize.set(size); });
}

void SL42::savePacked(const SavePanel& panel) {
    if (m_preview || m_compressed.empty())
        return;
    const auto chosen = panel(m_title + ".packed." + std::string(documentExtension));
    if (!chosen)
        return;
    if (!chosen->has_parent_path()) {
        m_surroundings.log.line("Unable to get filetype");
        return;
    }
    // The ending comes back when the file is written; the user has agreed to a name with just one.
    const bool hasEnding = chosen->extension() == "." + std::string(documentExtension);
    const auto name = hasEnding ? chosen->stem() : chosen->filename();
    writeFile(name.string(), chosen->parent_path(), documentType);
}

void SL42::writeFile(const std::string& filename, const std::filesystem::path& directory,
                     std::string_view type) {
    platform::Log& log = m_surroundings.log;
    const auto extension = preferredFilenameExtension(type);
    if (!extension) {
        log.line("Weird, the type won't load or there's no extension?");
        return;
    }
    const std::string target = (directory / (filename + "." + std::string(*extension))).string();
    log.line("Writing to: " + target);
    if (auto written = platform::writeWholeFile(target, m_compressed); !written)
        log.line("Error writing: " + written.error().message);
}

} // namespace starloom
