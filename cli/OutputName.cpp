// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/OutputName.h"

#include <iomanip>
#include <sstream>

namespace cli {
namespace {

constexpr int widestNumber = 20;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

platform::Result<OutputName> OutputName::parse(std::string_view pattern) {
    OutputName name;
    std::string_view rest = pattern;
    while (!rest.empty()) {
        std::string& text = name.m_hasNumber ? name.m_after : name.m_before;
        const auto plain = rest.substr(0, rest.find('%'));
        text += plain;
        rest.remove_prefix(plain.size());
        if (rest.starts_with("%%")) {
            text += '%';
            rest.remove_prefix(2);
        } else if (!rest.empty()) {
            if (auto added = name.addConversion(rest); !added)
                return platform::Error{std::string(pattern) + ": " + added.error().message};
        }
    }
    if (name.m_before.empty() && name.m_after.empty() && !name.m_hasNumber)
        return platform::Error{"the name of the picture is empty"};
    return name;
}

platform::Result<void> OutputName::addConversion(std::string_view& rest) {
    rest.remove_prefix(1);
    if (m_hasNumber)
        return platform::Error{"only one frame number can stand in the name"};
    if (rest.starts_with('0'))
        m_padding = '0';
    while (!rest.empty() && isDigit(rest.front())) {
        m_width = m_width * 10 + (rest.front() - '0');
        if (m_width > widestNumber)
            return platform::Error{"a frame number is no wider than 20 digits"};
        rest.remove_prefix(1);
    }
    if (!rest.starts_with('d'))
        return platform::Error{"after % only a number such as %d or %04d, or another %, can stand"};
    rest.remove_prefix(1);
    m_hasNumber = true;
    return {};
}

std::string OutputName::forFrame(std::uint32_t frame) const {
    if (!m_hasNumber)
        return m_before;
    std::ostringstream name;
    name << m_before << std::setfill(m_padding) << std::setw(m_width) << frame << m_after;
    return name.str();
}

} // namespace cli
