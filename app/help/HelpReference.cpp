// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/help/HelpReference.h"

#include "app/help/HelpText.h"
#include "app/help/SectionParser.h"
#include "platform/base/Fatal.h"

#include <algorithm>
#include <array>

namespace help {

platform::Result<HelpReference> HelpReference::parse(std::span<const std::string_view> texts) {
    HelpReference reference;
    for (const std::string_view text : texts) {
        auto section = parseSection(text);
        if (!section)
            return platform::Error{"section " + std::to_string(reference.m_sections.size() + 1) +
                                   " of the help, " + section.error().message};
        reference.m_sections.push_back(*std::move(section));
    }
    return reference;
}

const HelpReference& HelpReference::builtIn() {
    static const HelpReference reference = [] {
        const std::array texts{helpText::firstSteps, helpText::functions, helpText::values,
                               helpText::hardware,   helpText::language,  helpText::recipes};
        auto parsed = parse(texts);
        if (!parsed)
            platform::fatalError(parsed.error().message); // our own texts: the tests read them
        return *std::move(parsed);
    }();
    return reference;
}

const Entry* HelpReference::find(std::string_view idOrName) const {
    for (const Section& section : m_sections) {
        for (const Entry& entry : section.entries) {
            if (entry.id == idOrName ||
                std::find(entry.names.begin(), entry.names.end(), idOrName) != entry.names.end())
                return &entry;
        }
    }
    return nullptr;
}

} // namespace help
