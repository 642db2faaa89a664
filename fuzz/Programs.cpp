// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Program texts through the front end, as the service compiles them: a program comes out, or a
// message. Most changes are made word by word, since nearly all that bytes come to is refused in
// the first line. The compiler that the front end is made of is not instrumented: libFuzzer sees
// where our own code goes, and AddressSanitizer what is wrong with memory from the heap.
#include "bench/mutants/Mutator.h"
#include "compute/metal/Frontend.h"
#include "fuzz/Fuzzing.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

static std::vector<std::string> goodPrograms() {
    std::vector<std::string> programs;
    for (const auto& file : std::filesystem::directory_iterator(SL42_PROGRAMS)) {
        std::ostringstream text;
        text << std::ifstream(file.path()).rdbuf();
        programs.push_back(text.str());
    }
    std::ranges::sort(programs); // the order of a folder is different on every machine
    return programs;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t room, unsigned seed) {
    static const mutants::Mutator mutator(goodPrograms());
    fuzz::Random random(seed);
    if (random.percent(10))
        return LLVMFuzzerMutate(data, size, room);
    const std::string text = mutator.changed(fuzz::textOf(fuzz::viewOf(data, size)), random);
    const std::size_t length = std::min(text.size(), room);
    std::copy_n(text.begin(), length, data);
    return length;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isWarm = (compute::metal::warmUp(), true);
    constexpr std::size_t longestMessage = 200'000;
    const auto program = compute::metal::compile(fuzz::textOf(fuzz::viewOf(data, size)));
    const std::string& message = program ? program->warnings : program.error().message;
    fuzz::require(isWarm && (program || !message.empty()), "a program is refused without a reason");
    fuzz::require(message.size() < longestMessage, "a message is endless");
    return 0;
}
