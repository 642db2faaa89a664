// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Real editors save, and the text arrives.
#include "tests/LiveCoding/LiveCodingTest.h"

#include <cstdlib>

namespace starloom {
namespace {

using namespace std::chrono_literals;

class EditorTest : public LiveCodingTest {
protected:
    static std::string vim(const std::string& settings, int saves = 1) {
        return "vim -es -u NONE -i NONE -c 'set " + settings + "' -c 'for i in range(1, " +
               std::to_string(saves) + ") | call setline(1, i) | w | endfor | q'";
    }
};

TEST_F(EditorTest, Vim) {
    struct Row {
        const char* settings;
        bool everyWrite;
        bool arrives;
        int saves = 1;
    };
    // It renames the old file aside as soon as it keeps a backup, even for a moment, unless it is
    // told to copy.
    for (const auto& [settings, everyWrite, arrives, saves] :
         {Row{"writebackup backupcopy=auto", false, true}, Row{"backup backupcopy=no", false, true},
          Row{"writebackup backupcopy=no nofsync", false, true},
          Row{"nowritebackup nobackup", false, false}, Row{"nowritebackup nobackup", true, true},
          Row{"writebackup backupcopy=yes", true, true},
          Row{"writebackup backupcopy=auto", false, true, 20}}) {
        texts = {"none"};
        folder.file("show.metal", "old");
        watch();
        file->reloadOnEveryWrite = everyWrite;
        // Under /tmp, where the test is, vim keeps no backup unless it is told to.
        const std::string command = vim(std::string("backupskip= ") + settings, saves);
        ASSERT_EQ(std::system((command + " '" + path + "' </dev/null").c_str()), 0);
        const std::string last = arrives ? std::to_string(saves) + "\n" : "none";
        settleUntil([&] { return arrives && texts.back() == last; }, arrives ? 5000ms : 200ms);
        EXPECT_EQ(texts.back(), last) << settings;
        EXPECT_EQ(lines, std::vector<std::string>{}) << settings;
    }
}

TEST_F(EditorTest, VimAsItComesOpensTheFileThatWeMake) {
    const ::tests::ScratchFolder runtime("/var/tmp"); // anywhere but under /tmp
    ::setenv("XDG_RUNTIME_DIR", runtime.path("").c_str(), 1);
    const auto made = LiveCodingFile::create("Untitled", "metal", "old", vim("nocompatible"), queue,
                                             log, received());
    ASSERT_TRUE(made) << made.error().message;
    settle(1);
    EXPECT_EQ(texts, std::vector<std::string>{"1\n"});
    ::unsetenv("XDG_RUNTIME_DIR");
}

} // namespace
} // namespace starloom
