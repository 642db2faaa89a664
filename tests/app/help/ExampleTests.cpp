// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the help and the pages beside it say and can be run: every example, every claim.
#include "SL42/audio/AudioRenderer.h"
#include "SL42/offline/OfflineConsole.h"
#include "app/help/HelpReference.h"
#include "platform/image/Png.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace help::tests {
namespace {

namespace fs = std::filesystem;

const std::shared_ptr<gpu::Device>& device() {
    static const std::shared_ptr<gpu::Device> device = gpu::Device::systemDefault();
    return device;
}

platform::Result<platform::Image> drawn(starloom::OfflineConsole& console) {
    if (console.hasError() || !console.isComplete() || !console.engine().warnings().get().empty())
        return platform::Error{console.compileLog()};
    // Registers count from the second frame on, and pictures that feed on themselves need some.
    for (int frame = 0; frame < 4; ++frame) {
        const auto done = console.drawFrame(platform::Seconds(0.25 + frame / 60.0));
        if (!done)
            return done.error();
    }
    return console.picture();
}

void expectSong(const starloom::PCMBuffer& song) {
    float peak = 0;
    for (unsigned channel = 0; channel < 2; ++channel) {
        for (std::uint32_t i = 0; i < song.frameLength(); ++i)
            peak = std::max(peak, std::abs(song.channel(channel)[i]));
    }
    EXPECT_GT(peak, 0.1F) << "can be heard";
    EXPECT_LE(peak, 1.0F) << "is not cut off";
}

/// What it shows after a few frames. The error holds the compile log, or the device's line.
platform::Result<platform::Image> pictureOf(const std::string& title, const std::string& source) {
    starloom::OfflineConsole console(device(), title, source);
    return drawn(console);
}

/// Expects a picture that is not one colour, and a song, if it has one, that can be heard and is
/// not cut off.
void expectRuns(const std::string& title, const std::string& source) {
    starloom::OfflineConsole console(device(), title, source);
    const auto picture = drawn(console);
    ASSERT_TRUE(picture) << picture.error().message;
    // For a look at all of them.
    if (const char* folder = std::getenv("SL42_HELP_PICTURES"))
        EXPECT_TRUE(platform::writePng(*picture, std::string(folder) + "/" + title + ".png"));
    const auto halves = picture->halves();
    EXPECT_FALSE(!console.engine().hasAudio() &&
                 std::ranges::equal(halves.subspan(4), halves.first(halves.size() - 4)))
        << "all pixels are the same";
    if (!console.engine().hasAudio())
        return;
    const auto song = console.engine().audioRenderer().audioBuffer();
    ASSERT_TRUE(song);
    expectSong(*song);
}

class HelpExample : public testing::TestWithParam<const Entry*> {};
class HelpClaim : public testing::TestWithParam<const Entry*> {};

std::vector<const Entry*> allEntries() {
    std::vector<const Entry*> entries;
    for (const Section& section : HelpReference::builtIn().sections())
        for (const Entry& entry : section.entries)
            entries.push_back(&entry);
    return entries;
}

bool isClaims(const Block& block) {
    return block.kind == Block::Kind::Claims;
}

std::vector<const Entry*> entriesWithClaims() {
    std::vector<const Entry*> entries = allEntries();
    std::erase_if(entries,
                  [](const Entry* entry) { return std::ranges::none_of(entry->notes, isClaims); });
    return entries;
}

bool isStatement(std::string_view line) {
    line = line.substr(0, line.find("//"));
    const auto last = line.find_last_not_of(' ');
    return last == line.npos || line[last] == ';' || line[last] == '{' || line[last] == '}';
}

/// A program that carries out the statements of a block and paints a pixel of its last row for each
/// expression: green for a true one.
std::string programOf(const Block& block, std::vector<std::string>& expressions) {
    std::string statements;
    std::string checks;
    for (const std::string& line : block.lines) {
        if (isStatement(line)) {
            statements += line + '\n';
            continue;
        }
        checks += "poke8(bool(\n" + line + "\n), 60000000 + " + std::to_string(expressions.size()) +
                  ");\n";
        expressions.push_back(line);
    }
    return "void fx() {\n" + statements + "if (all(coords == 0)) {\n" + checks +
           "}\n"
           "if (coords.y == 539)\n"
           "    pixel = float4(0, peek8<uchar>(60000000 + int(coords.x)), 0, 1);\n"
           "}\n";
}

std::string identifierOf(const testing::TestParamInfo<const Entry*>& info) {
    std::string identifier = info.param->id;
    std::replace(identifier.begin(), identifier.end(), '-', '_');
    return identifier;
}

/// The blocks of a page that are whole programs, each with the line that it stands on.
std::vector<std::pair<int, std::string>> programsIn(const fs::path& page) {
    std::vector<std::pair<int, std::string>> programs;
    std::istringstream text(::tests::contentsOf(page));
    std::string line;
    for (int number = 1; std::getline(text, line); ++number) {
        if (line != "```metal")
            continue;
        std::string program;
        const int start = number + 1;
        for (; std::getline(text, line) && line != "```"; ++number)
            program += line + '\n';
        ++number;
        if (program.find("x() {") != program.npos || program.find("cpu() {") != program.npos)
            programs.emplace_back(start, program);
    }
    return programs;
}

} // namespace

TEST_P(HelpExample, Runs) {
    expectRuns(GetParam()->id, GetParam()->example);
}

TEST_P(HelpClaim, IsTrue) {
    for (const Block& block : GetParam()->notes) {
        if (!isClaims(block))
            continue;
        std::vector<std::string> expressions;
        const std::string program = programOf(block, expressions);
        EXPECT_FALSE(expressions.empty()) << "nothing is claimed";
        const auto picture = pictureOf(GetParam()->id, program);
        ASSERT_TRUE(picture) << picture.error().message << program;
        for (std::uint32_t i = 0; i < expressions.size(); ++i)
            EXPECT_EQ(picture->pixel(i, 539)[1], 1) << expressions[i] << " is not true";
    }
}

INSTANTIATE_TEST_SUITE_P(Entries, HelpExample, testing::ValuesIn(allEntries()), identifierOf);
INSTANTIATE_TEST_SUITE_P(Entries, HelpClaim, testing::ValuesIn(entriesWithClaims()), identifierOf);

// The reference is the help, whose examples run above.
TEST(Pages, ProgramsRun) {
    const fs::path root(std::getenv("SL42_SOURCE_DIR"));
    std::vector<fs::path> pages{root / "README.md", root / "examples/README.md"};
    for (const auto& entry : fs::directory_iterator(root / "docs"))
        if (entry.path().extension() == ".md" && entry.path().filename() != "reference.md")
            pages.push_back(entry.path());
    std::size_t count = 0;
    for (const fs::path& page : pages) {
        for (const auto& [line, program] : programsIn(page)) {
            SCOPED_TRACE(page.string() + ":" + std::to_string(line));
            expectRuns(page.stem().string() + std::to_string(line), program);
            ++count;
        }
    }
    EXPECT_GT(count, 1U) << "the pages have been read";
}

} // namespace help::tests
