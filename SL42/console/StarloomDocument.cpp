// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/console/StarloomDocument.h"

#include "SL42/document/Compression.h"
#include "SL42/document/Journal.h"
#include "platform/TextFile.h"

#include <utility>

namespace starloom {

using platform::Error;
using platform::Result;

StarloomDocument::StarloomDocument(Surroundings surroundings)
    : StarloomDocument(std::move(surroundings), "Untitled", std::string(defaultSource)) {}

StarloomDocument::StarloomDocument(Surroundings surroundings, std::string title, std::string source)
    : m_surroundings(std::move(surroundings)),
      m_title(std::move(title)),
      m_source(std::move(source)) {}

Result<std::unique_ptr<StarloomDocument>> StarloomDocument::open(const std::filesystem::path& path,
                                                                 Surroundings surroundings) {
    auto source = SL42_TRY(readDocument(path));
    if (Journal* journal = surroundings.keepers.journal)
        journal->document = std::filesystem::absolute(path);
    return std::make_unique<StarloomDocument>(std::move(surroundings), path.stem().string(),
                                              std::move(source));
}

const std::vector<std::string_view>& StarloomDocument::readableContentTypes() {
    static const std::vector types{documentType};
    return types;
}

SL42& StarloomDocument::sl42() {
    if (!m_sl42)
        m_sl42 = std::make_unique<SL42>(m_surroundings, m_title, m_source, false);
    return *m_sl42;
}

Result<platform::Bytes> StarloomDocument::fileWrapper() {
    const std::string& text = sl42().source();
    if (text.size() > platform::maxTextFileLength) // nobody could open it again
        return Error{"it is too long for a program text"};
    return Packer::pack(text);
}

Result<void> StarloomDocument::write(const std::filesystem::path& path) {
    const platform::Bytes bytes = SL42_TRY(fileWrapper());
    SL42_TRY_VOID(platform::saveWholeFile(path.string(), bytes));
    if (Journal* journal = m_surroundings.keepers.journal) {
        journal->document = std::filesystem::absolute(path);
        journal->forget();
    }
    return {};
}

} // namespace starloom
