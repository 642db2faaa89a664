// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What people read when their program is wrong: the whole output of `starloom compile`.
#include "tests/cli/RunStarloom.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace cli::tests {
namespace {

const std::string programMark = "=== ";
const std::string outputMark = "--- ";

struct Mistake {
    std::string name;
    std::string program;
    std::string expected; ///< from the line with the exit status on
};

struct Table {
    std::string preamble;
    std::vector<Mistake> mistakes;
};

std::filesystem::path tablePath() {
    return sourceFolder() / "tests/cli/mistakes.txt";
}

Table readTable() {
    Table table;
    std::ifstream file(tablePath());
    bool isOutput = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(programMark)) {
            table.mistakes.push_back({line.substr(programMark.size()), {}, {}});
            isOutput = false;
            continue;
        }
        isOutput |= line.starts_with(outputMark);
        std::string& part = table.mistakes.empty() ? table.preamble
                            : isOutput             ? table.mistakes.back().expected
                                                   : table.mistakes.back().program;
        part += line + "\n";
    }
    return table;
}

std::string outputFor(const Mistake& mistake) {
    const ScratchFolder scratch;
    const std::string file = scratch.file(mistake.name + ".metal", mistake.program);
    const Outcome run = runStarloom({"compile", file});
    std::string output = outputMark + std::to_string(run.status) + "\n" + run.out + run.err;
    const std::string folder = std::filesystem::path(file).parent_path().string() + "/";
    for (auto at = output.find(folder); at != output.npos; at = output.find(folder))
        output.erase(at, folder.size());
    return output;
}

TEST(Mistakes, AreToldWhereTheyAreAndWhatToDo) {
    Table table = readTable();
    ASSERT_GE(table.mistakes.size(), 40U);
    const bool update = std::getenv("SL42_UPDATE_GOLDENS") != nullptr;
    std::ofstream updated;
    if (update) {
        updated.open(tablePath());
        updated << table.preamble;
    }
    for (const Mistake& mistake : table.mistakes) {
        const std::string output = outputFor(mistake);
        // What is the compiler's, and not the person's.
        for (const char* word : {"vec<", "mask<", "__sl42", "metal::", "'double'", "_Float16",
                                 "program_source", "prelude:", "as_type", "setter"})
            EXPECT_TRUE(output.find(word) == output.npos || mistake.name == "double")
                << word << " in " << output;
        if (update)
            updated << programMark << mistake.name << "\n" << mistake.program << output;
        else
            EXPECT_EQ(output, mistake.expected)
                << mistake.name << "\nWhen the new text is right: ./test --update-goldens";
    }
    if (update)
        GTEST_SKIP() << "wrote " << tablePath() << "; read it before it is committed";
}

} // namespace
} // namespace cli::tests
