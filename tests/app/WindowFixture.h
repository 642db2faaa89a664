// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One window of the console on a desktop, with programs of one colour each.
#pragma once

#include "tests/app/Desktop.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

namespace app::tests {

// sRGB keeps greys and has less room than the console's colours, so these stay what they are.
inline constexpr Colour black{0, 0, 0};
inline constexpr Colour white{255, 255, 255};
inline constexpr Colour grey{128, 128, 128};

inline const std::string blackProgram = "void fx() { cls(float4(0, 0, 0, 1)); }\n";
inline const std::string whiteProgram = "void fx() { cls(float4(1)); }\n";
inline const std::string greyProgram =
    "void fx() { float g = 128.0 / 255; cls(float4(g, g, g, 1)); }\n";

class WindowFixture : public testing::Test {
protected:
    /// Starts the console with a file and waits until its picture has this colour.
    void start(const std::string& file, Colour picture,
               const std::vector<std::string>& variables = {}) {
        console.emplace(desktop, std::vector<std::string>{file}, variables);
        ASSERT_TRUE(console->focus()) << console->output();
        ASSERT_TRUE(desktop.shows(picture)) << console->output();
    }
    /// Saves as most editors do: a new file into the place of the old one.
    void save(const std::string& file, const std::string& text) const {
        std::filesystem::rename(files.file("aside", text), file);
    }
    bool hasBadge() const { return screen.holds({0xa8, 0x48, 0x3c}, 0, 0, 200, 80); }
    bool saysWhatIsWrong() const {
        return eventually([this] { return screen.holds({0x3a, 0x20, 0x24}, 100, 30, 900, 400); });
    }

    Desktop desktop;
    const Screen& screen = desktop.screen();
    const ::tests::ScratchFolder& files = desktop.files();
    std::optional<ConsoleProcess> console;
};

} // namespace app::tests
