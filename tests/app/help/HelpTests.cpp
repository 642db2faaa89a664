// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reading the format of the texts, searching, and turning entries into pages.
#include "app/help/HelpReference.h"
#include "app/help/Html.h"
#include "tests/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace help {
namespace {

/// Something of everything that the format has.
const std::string sample = tests::contentsOf(std::filesystem::path(std::getenv("SL42_SOURCE_DIR")) /
                                             "tests/app/help/sample.txt");

platform::Result<HelpReference> parsed(std::string_view text) {
    return HelpReference::parse(std::span(&text, 1));
}

} // namespace

// What an entry consists of stands in the pages that are made from it.
TEST(HelpReference, FindsSearchesAndRanks) {
    const auto reference = parsed(sample);
    ASSERT_TRUE(reference) << reference.error().message;
    const auto& entries = reference->sections().at(0).entries;
    EXPECT_EQ(reference->find("rock"), &entries.at(0));
    EXPECT_EQ(reference->find("a-word-on-things"), &entries.at(2));
    EXPECT_EQ(reference->find("heavy"), nullptr);
    using Ids = std::vector<std::string>;
    const std::pair<const char*, Ids> cases[] = {
        {"sand", {"sand", "stone", "a-word-on-things"}}, // name, summary, details
        {"STONE", {"stone", "sand"}},
        {"ock", {"stone"}},
        {"small stone", {"sand"}}, // every word
        {"  metres  ", {"stone"}},
        {"stone unicorn", {}},
        {"", {}}};
    for (const auto& [query, expected] : cases) {
        Ids found;
        for (const Entry* entry : reference->search(query))
            found.push_back(entry->id);
        EXPECT_EQ(found, expected) << query;
    }
}

TEST(HelpReference, FindsWhatPeopleLookFor) {
    const std::pair<const char*, const char*> cases[] = {
        {"circ", "circ"},         {"circle outline", "circb"},
        {"disc", "circ"},         {"random", "randomuint"},
        {"arrow", "Shift"},       {"hide pointer", "MousePointer"},
        {"stereo", "the-song"},   {"unicorn", ""},
        {"clear", "cls"},         {"keydown", "keydown"},
        {"trails", "lpix"},       {"memory size", "the-memory-map"},
        {"error line", "errors"}, {"first", "the-first-picture"}};
    for (const auto& [query, expected] : cases) {
        const auto found = HelpReference::builtIn().search(query);
        EXPECT_EQ(found.empty() ? "" : found.front()->id, expected) << query;
    }
}

TEST(Html, ShowsAnEntry) {
    const auto reference = parsed(sample);
    ASSERT_TRUE(reference);
    const std::string html = toHtml(*reference, *reference->find("stone"));
    for (const char* part :
         {"Things / Large ones", "<h1>stone, rock</h1>", "<code>heavy</code>",
          "<a href=\"help:sand\"><code>sand</code></a>-like", "More &amp; more.",
          "<li>two lines</li>", "<th align=\"left\">weight</th>",
          "<td align=\"left\">2 &lt; 3</td>", "cls(1 &lt; 2)", "<a href=\"example:stone\">",
          "<a href=\"help:a-word-on-things\">A word on things!</a>", "<i>returns</i>"})
        EXPECT_NE(html.find(part), html.npos) << part << "\n" << html;
    const std::string overview = toHtml(reference->sections().front());
    EXPECT_NE(overview.find("<a href=\"help:sand\">sand</a></td><td>Small stone."), overview.npos);
}

} // namespace help
