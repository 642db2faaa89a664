// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/cli/RunStarloom.h"

#include <cstdlib>
#include <stdexcept>

namespace cli::tests {
namespace fs = std::filesystem;

static std::string environment(const char* name) {
    const char* value = std::getenv(name);
    if (!value)
        throw std::runtime_error(std::string(name) + " is not set; run the tests with ctest");
    return value;
}

Outcome runStarloom(std::vector<std::string> arguments, std::string_view input,
                    const std::function<void(::tests::Program&)>& meanwhile) {
    const ScratchFolder streams;
    arguments.insert(arguments.begin(), (buildFolder() / "starloom").string());
    ::tests::Program program(
        arguments,
        {.in = streams.file("in", input), .out = streams.path("out"), .err = streams.path("err")});
    if (meanwhile)
        meanwhile(program);
    const int status = program.wait();
    return {status, contentsOf(streams.path("out")), contentsOf(streams.path("err"))};
}

fs::path sourceFolder() {
    return environment("SL42_SOURCE_DIR");
}
fs::path buildFolder() {
    return environment("SL42_BUILD_DIR");
}

} // namespace cli::tests
