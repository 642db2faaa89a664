// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's own look at a program text: entry functions, music lines, the text for the
// compiler, the packed form. A text in which findBadMusic() finds nothing must not stop the
// console.
#include "SL42/builder/Assembly.h"
#include "SL42/builder/EntrySpelling.h"
#include "SL42/builder/Preprocessor.h"
#include "SL42/document/Minifier.h"
#include "fuzz/Fuzzing.h"

#include <limits>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view source = fuzz::textOf(fuzz::viewOf(data, size));
    const auto bad = starloom::findBadMusic(source);
    platform::Log quiet(platform::printNothing);
    bool foundBad = false;
    const auto result =
        starloom::preprocessSource(source, quiet, [&](const starloom::AudioSpec& music) {
            if (!music.check()) {
                foundBad = true;
                return;
            }
            const std::uint64_t samples = music.sampleCount(starloom::audioSampleRate);
            fuzz::require(samples > 0 && samples <= std::numeric_limits<std::uint32_t>::max(),
                          "a song is accepted that cannot be played");
        });
    fuzz::require(foundBad == bad.has_value(), "a song that cannot be played is overlooked");
    const std::string warnings = starloom::entrySpellingWarnings(source, result, 671);
    fuzz::require(warnings.size() < 1000, "a warning is longer than its line");
    const std::string program = starloom::assembleProgram(source, result);
    fuzz::require(program.find(source) != program.npos, "the program is not what is compiled");
    fuzz::require(starloom::minify(source).size() <= source.size() + 1,
                  "packing adds to a program");
    return 0;
}
