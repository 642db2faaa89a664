// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Full-text search. The help is small (some ten thousand words), so entries are read through for
// every query instead of being indexed.
#include "app/help/HelpReference.h"
#include "app/help/Words.h"

#include <algorithm>
#include <cctype>

namespace help {
namespace {

/// How well a word fits a text, from 0 for not at all.
enum Fit { None = 0, Inside = 1, Begins = 2, Whole = 3 };

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

Fit fit(std::string_view word, std::string_view text) {
    const std::string lower = lowerCase(text);
    Fit best = None;
    for (auto at = lower.find(word); at != lower.npos; at = lower.find(word, at + 1)) {
        const bool begins = at == 0 || !isWordCharacter(lower[at - 1]);
        const std::size_t end = at + word.size();
        const bool ends = end == lower.size() || !isWordCharacter(lower[end]);
        best = std::max(best, begins ? (ends ? Whole : Begins) : Inside);
    }
    return best;
}

/// The details: everything but names, title and summary.
std::string detailsOf(const Entry& entry) {
    std::string text = entry.section + '\n' + entry.group + '\n' + entry.returns + '\n';
    for (const std::string& declaration : entry.declarations)
        text += declaration + '\n';
    for (const auto& [name, description] : entry.parameters)
        text.append(name).append(": ").append(description).append("\n");
    for (const Block& block : entry.notes) {
        for (const std::string& line : block.lines)
            text += line + '\n';
    }
    return text;
}

/// The worth of each place: a better place with a poorer fit comes before a poorer place with a
/// better fit, but for the middle of a name. Programs in examples count least.
int scoreOf(const Entry& entry, std::string_view word) {
    int score = fit(word, entry.example);
    score = std::max(score, 5 * fit(word, detailsOf(entry)));
    score = std::max(score, 20 * fit(word, entry.summary));
    score = std::max(score, 70 * fit(word, entry.title));
    for (const std::string& name : entry.names)
        score = std::max(score, 80 * fit(word, name) + (lowerCase(name) == word ? 100 : 0));
    return score;
}

} // namespace

std::vector<const Entry*> HelpReference::search(std::string_view query) const {
    const std::string lower = lowerCase(query);
    const auto words = split(lower, " ");
    struct Found {
        int score;
        std::size_t place; // in the help: the order among equals
        const Entry* entry;
    };
    std::vector<Found> found;
    for (const Section& section : m_sections) {
        for (const Entry& entry : section.entries) {
            int total = 0;
            for (const std::string_view word : words) {
                const int score = scoreOf(entry, word);
                total = score == 0 || total < 0 ? -1 : total + score;
            }
            if (total > 0)
                found.push_back({total, found.size(), &entry});
        }
    }
    std::ranges::sort(found, [](const auto& a, const auto& b) {
        return a.score != b.score ? a.score > b.score : a.place < b.place;
    });
    std::vector<const Entry*> entries;
    for (const Found& one : found)
        entries.push_back(one.entry);
    return entries;
}

} // namespace help
