// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sends programs that are nearly right through the whole service.
//
//     starloom-mutants [--seed N] [--count M] [--keep DIR] [--print] [FILE...]
//
// Makes M programs out of the files, those of the seeds N, N + 1 and so on; without files, out of
// the examples, the kernels of bench/ and the texts of the compiler's tests. Runs what compiles,
// and checks that each program ends with a result or one clear error in bounded time and that a
// correct program draws the right picture after each. Prints a line for each fault and, at the end,
// how the programs ended; --keep writes the programs at fault to DIR/mutant-N.metal, --print prints
// every program.
#include "SL42/builder/Assembly.h"
#include "SL42/builder/Preprocessor.h"
#include "bench/mutants/Mutator.h"
#include "bench/mutants/Trial.h"
#include "platform/TextFile.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

namespace fs = std::filesystem;

struct Options {
    std::uint64_t seed = 1;
    std::uint64_t count = 100;
    std::string folder;
    bool prints = false;
    std::vector<fs::path> files;
};

[[noreturn]] void stop(const std::string& message) {
    std::fprintf(stderr, "starloom-mutants: %s\n", message.c_str());
    std::exit(2);
}

std::vector<fs::path> programsOfTheTree() {
    std::vector<fs::path> files;
    for (const char* folder : {"examples", "bench", "tests/compute/metal/language"})
        for (const auto& file : fs::directory_iterator(fs::path(SL42_SOURCES) / folder))
            if (file.path().extension() == ".metal")
                files.push_back(file.path());
    std::ranges::sort(files); // the order of a folder is different on every machine
    return files;
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--print")
            options.prints = true;
        else if (!name.starts_with("--"))
            options.files.emplace_back(name);
        else if (i + 1 < argc && name == "--seed")
            options.seed = std::stoull(argv[++i]);
        else if (i + 1 < argc && name == "--count")
            options.count = std::stoull(argv[++i]);
        else if (i + 1 < argc && name == "--keep")
            options.folder = argv[++i];
        else
            stop("what is " + name + "?");
    }
    if (options.files.empty())
        options.files = programsOfTheTree();
    return options;
}

std::vector<std::string> readAll(const std::vector<fs::path>& files) {
    std::vector<std::string> texts;
    for (const fs::path& file : files) {
        auto text = platform::readTextFile(file);
        if (!text)
            stop(text.error().message);
        texts.push_back(std::move(*text));
    }
    return texts;
}

/// What the device gets: plain kernels as they are, programs of the console with all around them.
std::string completed(const std::string& text) {
    if (text.find("kernel ") != text.npos)
        return text;
    platform::Log quiet(platform::printNothing);
    return starloom::assembleProgram(
        text, starloom::preprocessSource(text, quiet, [](const starloom::AudioSpec&) {}));
}

/// Ends this process when a program takes so long that only a fault can be the reason.
class Watchdog {
public:
    void begin(std::uint64_t seed) {
        m_seed = seed;
        m_begun = now();
    }
    void watch() {
        std::thread([this] {
            while (now() - m_begun.load() < longest)
                std::this_thread::sleep_for(std::chrono::seconds(1));
            stop("seed " + std::to_string(m_seed.load()) + ": nothing happens any more");
        }).detach();
    }

private:
    static constexpr std::int64_t longest = 120;

    static std::int64_t now() {
        return std::chrono::duration_cast<std::chrono::seconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

    std::atomic<std::uint64_t> m_seed = 0;
    std::atomic<std::int64_t> m_begun = now();
};

void printCounts(const mutants::Counts& counts, std::size_t faults,
                 std::chrono::steady_clock::time_point start) {
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::printf("%zu programs in %.0f s, %zu compiled; %zu kernels refused, %zu run: %zu completed",
                counts.programs, time.count(), counts.compiled, counts.refusedKernels,
                counts.kernels, counts.completed);
    for (const auto& [what, count] : counts.errors)
        std::printf(", %zu %s", count, what.c_str());
    std::printf("; %zu at fault\n", faults);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    const mutants::Mutator mutator(readAll(options.files));
    const auto programOf = [&](std::uint64_t number) {
        fuzz::Random random(options.seed + number);
        return completed(mutator.mutant(random));
    };
    auto trial = mutants::Trial::create();
    if (!trial)
        return 2;
    static Watchdog watchdog;
    watchdog.watch();
    const auto start = std::chrono::steady_clock::now();
    std::size_t faults = 0;
    std::string text = programOf(0);
    auto program = trial->start(text);
    for (std::uint64_t number = 0; number < options.count; ++number) {
        watchdog.begin(options.seed + number);
        std::string nextText = programOf(number + 1);
        auto next = trial->start(nextText); // compiles while this one runs
        if (options.prints)
            std::fputs(text.c_str(), stdout);
        const std::string found = trial->run(text, std::move(program));
        if (!found.empty()) {
            ++faults;
            std::printf("seed %s: %s", std::to_string(options.seed + number).c_str(),
                        found.c_str());
            if (!options.folder.empty())
                std::ofstream(options.folder + "/mutant-" + std::to_string(options.seed + number) +
                              ".metal")
                    << text;
        }
        if (number % 500 == 499) // a long run says how far it is
            printCounts(trial->counts(), faults, start);
        text = std::move(nextText);
        program = std::move(next);
    }
    printCounts(trial->counts(), faults, start);
    std::fflush(nullptr);
    std::_Exit(faults > 0 ? 1 : 0); // the watchdog still runs
}
