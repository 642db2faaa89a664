// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The texts under language/ use the language as programs do; each compiles without a message.
#include "compute/metal/Compilation.h"
#include "compute/metal/Frontend.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <malloc.h>

namespace {

std::filesystem::path languageFolder() {
    const char* source = std::getenv("SL42_SOURCE_DIR");
    return std::filesystem::path(source != nullptr ? source : ".") / "tests/compute/metal/language";
}

TEST(Language, EveryTextCompilesWithoutAMessage) {
    unsigned count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(languageFolder())) {
        if (entry.path().extension() != ".metal")
            continue;
        ++count;
        auto program = compute::metal::compile(tests::contentsOf(entry.path()));
        EXPECT_TRUE(program) << entry.path() << "\n" << (program ? "" : program.error().message);
        if (program)
            EXPECT_EQ(program->warnings, "") << entry.path();
    }
    EXPECT_GE(count, 9u);
}

std::size_t bytesInUse() {
    const struct mallinfo2 memory = ::mallinfo2();
    return memory.uordblks + memory.hblkhd;
}

TEST(Language, CompilingManyTimesTakesNoMoreMemory) {
    const std::string source = tests::contentsOf(languageFolder() / "graphics.metal");
    const auto compile = [&] { ASSERT_TRUE(compute::metal::compile(source)); };
    compile();
    const std::size_t before = bytesInUse();
    for (int i = 0; i < 10; ++i)
        compile();
    EXPECT_LT(bytesInUse(), before + (1u << 20));
}

TEST(Language, ALibraryThatAnotherClangHasPrecompiledIsMadeAnew) {
    const auto library = compute::metal::makeLibrary("what another one wrote", "another Clang");
    compute::metal::runOnLargeStack([&] {
        const auto program = compute::metal::compile(
            tests::contentsOf(languageFolder() / "graphics.metal"), library, {});
        EXPECT_TRUE(program) << program.error().message;
    });
}

} // namespace
