// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program as a document: a file of compressed text, and the console that runs it.
#pragma once

#include "SL42/console/SL42.h"
#include "SL42/document/DocumentFile.h"
#include "platform/WholeFile.h"
#include "platform/base/Result.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace starloom {

/// Main thread.
class StarloomDocument {
public:
    /// A new, untitled document with the default source.
    explicit StarloomDocument(Surroundings surroundings);
    /// With a title and a text of its own, as one that is recovered or comes from a text file.
    StarloomDocument(Surroundings surroundings, std::string title, std::string source);
    /// Fails and stops the program as readDocument() does. The title is the file's name without its
    /// ending.
    static platform::Result<std::unique_ptr<StarloomDocument>>
    open(const std::filesystem::path& path, Surroundings surroundings);

    /// What it was made with; later changes are the console's.
    const std::string& source() const { return m_source; }
    const std::string& title() const { return m_title; }
    static const std::vector<std::string_view>& readableContentTypes();
    static const std::vector<std::string_view>& writableContentTypes() {
        return readableContentTypes();
    }

    /// The console that runs this document; made when first asked for.
    SL42& sl42();

    /// The bytes to store: what the console runs now.
    platform::Result<platform::Bytes> fileWrapper();
    /// Saves them. The file holds the old document or the new one, whatever happens meanwhile.
    platform::Result<void> write(const std::filesystem::path& path);

private:
    Surroundings m_surroundings;
    std::string m_title;
    std::string m_source;
    std::unique_ptr<SL42> m_sl42;
};

} // namespace starloom
