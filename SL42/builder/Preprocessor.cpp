// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/Preprocessor.h"

#include "SL42/builder/ProgramLines.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace starloom {

// Reads a music line's numbers from the front of a text, piece by piece.
class MusicScanner {
public:
    explicit MusicScanner(std::string_view text) : m_rest(text) {}

    bool accept(std::string_view literal) {
        if (!m_rest.starts_with(literal))
            return false;
        m_rest.remove_prefix(literal.size());
        return true;
    }

    void skipWhitespace() {
        m_rest.remove_prefix(std::min(m_rest.find_first_not_of(whitespace), m_rest.size()));
    }

    // Digits only. A number beyond a signed 64-bit integer is none.
    bool readNumber(std::uint64_t& number) {
        if (m_rest.empty() || m_rest.front() < '0' || m_rest.front() > '9')
            return false;
        std::int64_t value = 0;
        const auto [end, failure] =
            std::from_chars(m_rest.data(), m_rest.data() + m_rest.size(), value);
        if (failure != std::errc())
            return false;
        m_rest.remove_prefix(static_cast<std::size_t>(end - m_rest.data()));
        number = static_cast<std::uint64_t>(value);
        return true;
    }

private:
    std::string_view m_rest;
};

// `text` starts behind the word "music".
static std::optional<AudioSpec> readMusic(std::string_view text) {
    MusicScanner scanner(text);
    scanner.skipWhitespace();
    if (!scanner.accept("="))
        return std::nullopt;
    scanner.skipWhitespace();
    scanner.accept("int4(");
    scanner.accept("{");
    std::array<std::uint64_t, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        scanner.skipWhitespace();
        if (i > 0 && !scanner.accept(","))
            return std::nullopt;
        scanner.skipWhitespace();
        if (!scanner.readNumber(numbers[i]))
            return std::nullopt;
    }
    return AudioSpec{.bpm = numbers[0],
                     .beatsPerBar = numbers[1],
                     .barsPerPattern = numbers[2],
                     .patternCount = numbers[3]};
}

std::optional<AudioSpec> findMusic(std::string_view line) {
    constexpr std::string_view word = "music";
    for (auto at = line.find(word); at != line.npos; at = line.find(word, at + 1))
        if (const auto spec = readMusic(line.substr(at + word.size())))
            return spec;
    return std::nullopt;
}

static bool contains(std::string_view line, std::string_view text) {
    return line.find(text) != line.npos;
}

static void scanEntryFunctions(std::string_view line, PreprocessedSource& result,
                               platform::Log& log) {
    const bool callsSfx = contains(line, "sfx()");
    if (contains(line, "cpu()")) {
        log.line("Found processor");
        result.hasCPU = true;
    }
    // "sfx()" contains "fx()": a line with the former says nothing about the latter.
    if (contains(line, "fx()") && !callsSfx) {
        log.line("Found video");
        result.hasVideo = true;
    }
    if (callsSfx) {
        log.line("Found audio");
        result.hasAudio = true;
    }
}

// Macros can put a name together from pieces, and a line may go on behind a backslash.
static bool mayDrawText(std::string_view source) {
    for (const char* sign : {"print", "getChar", "fontTexture", "##", "\\\n"}) {
        if (contains(source, sign))
            return true;
    }
    return false;
}

static void printMusic(const AudioSpec& music, platform::Log& log) {
    log.line("Found music spec");
    log.line("BPM: " + std::to_string(music.bpm) + ", beats: " + std::to_string(music.beatsPerBar) +
             ", bars: " + std::to_string(music.barsPerPattern) +
             ", patterns: " + std::to_string(music.patternCount));
}

std::optional<BadMusic> findBadMusic(std::string_view source) {
    std::optional<BadMusic> bad;
    forEachLine(source, [&](std::string_view line, std::size_t number) {
        const auto music = bad ? std::nullopt : findMusic(line);
        const auto checked = music ? music->check() : platform::Result<void>();
        if (!checked)
            bad = BadMusic{number, checked.error().message};
    });
    return bad;
}

PreprocessedSource preprocessSource(std::string_view source, platform::Log& log,
                                    const std::function<void(const AudioSpec&)>& onMusic) {
    PreprocessedSource result;
    result.mayDrawText = mayDrawText(source);
    bool hasMusic = false;
    forEachLine(source, [&](std::string_view line, std::size_t) {
        scanEntryFunctions(line, result, log);
        if (const auto music = findMusic(line)) {
            printMusic(*music, log);
            hasMusic = true;
            onMusic(*music);
        }
    });
    if (!hasMusic)
        result.additions += " \n int4 music = {120,4,4,4};";
    if (!result.hasCPU)
        result.additions += "\nvoid cpu() {\n}";
    if (!result.hasVideo)
        result.additions += "\nvoid fx() {\n}";
    if (!result.hasAudio)
        result.additions += "\nfloat2 sfx() {\n return 0;\n}";
    return result;
}

} // namespace starloom
