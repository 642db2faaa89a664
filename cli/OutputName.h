// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The name of the picture files: one name, or a pattern with the number of the frame in it.
#pragma once

#include "platform/base/Result.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/// A plain value. In a pattern, %d is the frame number, %4d is padded with spaces and %04d with
/// zeros to at least four characters, and %% is a percent sign. Nothing else may follow a percent
/// sign, and only one number may stand in a pattern.
class OutputName {
public:
    /// The error says what is wrong with the pattern.
    static platform::Result<OutputName> parse(std::string_view pattern);

    /// Whether each frame has a name of its own.
    bool isPattern() const { return m_hasNumber; }
    std::string forFrame(std::uint32_t frame) const;

private:
    OutputName() = default;
    platform::Result<void> addConversion(std::string_view& rest);

    std::string m_before;
    std::string m_after;
    bool m_hasNumber = false;
    char m_padding = ' ';
    int m_width = 0;
};

} // namespace cli
