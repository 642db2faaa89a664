// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which functions of the prelude keep their bodies.
#include "SL42/builder/PreludeBodies.h"

#include "SL42/prelude/ShaderStrings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace starloom {
namespace {

using Names = std::set<std::string>;

/// Those with bodies.
Names definedIn(const std::string& prelude) {
    static const std::regex definition(R"(\n(?:[a-z]\w* )+(\w+)\([^(){};]*\) \{)");
    Names names;
    for (std::sregex_iterator at(prelude.begin(), prelude.end(), definition), end; at != end; ++at)
        names.insert((*at)[1]);
    return names;
}

Names definedFor(const std::string& rest) {
    return definedIn(preludeFor(rest));
}

} // namespace

TEST(PreludeBodies, KeepsWhatIsCalledAndWhatThatCalls) {
    const Names drawing = {"pix", "blend", "coordsToIndex"};
    const auto with = [&](Names more) {
        more.insert(drawing.begin(), drawing.end());
        return more;
    };
    EXPECT_EQ(definedFor("void fx() {}"), Names());
    EXPECT_EQ(definedFor("void fx() { circ(0, 1, 1); }"), with({"circ"}));
    EXPECT_EQ(definedFor("#define disc circ\nvoid fx() { disc(0, 1, 1); }"), with({"circ"}));
    EXPECT_EQ(definedFor("void fx() { print(s, 1, 0, 1); }"), with({"print", "getChar"}));
    EXPECT_EQ(definedFor("void fx() { cls(randomfloat2().x); }"),
              with({"cls", "randomfloat2", "randomuint2", "randomuint"}));
    EXPECT_EQ(definedFor("circles rectangle ctri _elli 8line"), Names());
}

TEST(PreludeBodies, KeepsAllWhereNamesMayHide) {
    const std::string& whole = SharedShaderStrings::standardProcessingHeader();
    EXPECT_EQ(preludeFor("#define F(x) ci##x"), whole);
    EXPECT_EQ(preludeFor("#define F(x) ci%:%:x"), whole);
    EXPECT_EQ(preludeFor("ci\\\nrc(0, 1, 1);"), whole);
    EXPECT_NE(preludeFor("#define TWO \\\n 2"), whole);
}

TEST(PreludeBodies, LeavesEveryLineAndDeclarationInPlace) {
    const std::string& whole = SharedShaderStrings::standardProcessingHeader();
    const std::string least = preludeFor("");
    EXPECT_LT(least.size(), whole.size() * 2 / 3);
    ASSERT_EQ(std::ranges::count(least, '\n'), std::ranges::count(whole, '\n'));
    // Of each definition the line with the name stays, and so do all lines in between.
    std::istringstream wholeLines(whole);
    std::istringstream leastLines(least);
    bool isInBody = false;
    for (std::string line, kept; std::getline(wholeLines, line);) {
        std::getline(leastLines, kept);
        if (kept.ends_with(';') && line.ends_with(" {"))
            isInBody = kept == line.substr(0, line.size() - 1) + ";";
        else
            EXPECT_EQ(kept, isInBody ? "" : line);
        isInBody = isInBody && line != "}";
    }
    for (const std::string& name : definedIn(whole))
        EXPECT_TRUE(definedFor(name).contains(name)) << name;
}

} // namespace starloom
