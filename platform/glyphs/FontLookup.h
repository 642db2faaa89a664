// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Finds installed font files that can stand for a named face. Drawing them is in FontFace.h.
#pragma once

#include "platform/base/Result.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// How close a font file comes to the face that was asked for.
enum class FaceMatch : std::uint8_t {
    Exact,            ///< it has the very name
    MetricCompatible, ///< same widths and heights, other shapes
    Substitute,       ///< the system's choice for fixed-width text
};

/// One face of a scalable font file that has all printable ASCII characters.
struct FaceFile {
    std::string path;
    /// Number of the face within the file.
    long index = 0;
    FaceMatch match = FaceMatch::Substitute;
};

/// The fonts of this machine as they were when it was opened. One thread at a time.
class FontLookup {
public:
    /// Reads the system's font configuration, or the given file in its place. Takes 1 to 30 ms,
    /// more where the system has yet to list its fonts.
    static Result<FontLookup> open(const std::string& configurationFile = {});
    FontLookup(FontLookup&&) noexcept;
    FontLookup& operator=(FontLookup&&) noexcept;
    ~FontLookup();

    /// Faces for a PostScript name such as "CourierNewPS-BoldMT", best first, so that a file which
    /// cannot be opened has others behind it: those of that name; those of a family with the same
    /// metrics (for the Courier New family); then every other face in the system's order for
    /// "monospace" in that style, fixed width or not. Empty when no scalable font is installed.
    std::vector<FaceFile> candidates(std::string_view postScriptName) const;

private:
    struct Configuration;
    explicit FontLookup(std::unique_ptr<Configuration> configuration);

    std::unique_ptr<Configuration> m_configuration;
};

} // namespace platform
