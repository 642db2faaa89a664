// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Real editors save, and the text arrives.
#include "tests/LiveCoding/LiveCodingTest.h"

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace starloom {
namespace {

using namespace std::chrono_literals;

/// A program at a terminal of its own, which is ended with the object.
class Terminal {
public:
    explicit Terminal(std::vector<const char*> command) {
        command.push_back(nullptr);
        const winsize size{24, 80, 0, 0};
        m_child = ::forkpty(&m_descriptor, nullptr, nullptr, &size);
        // No process may be -1 here: to a signal that means all of them.
        if (m_child < 0)
            throw std::runtime_error("there are no terminals here");
        if (m_child == 0) {
            ::setenv("TERM", "xterm", 1);
            ::execvp(command[0], const_cast<char**>(command.data()));
            ::_exit(127);
        }
    }
    ~Terminal() {
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
        ::close(m_descriptor);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Waits until it has drawn something, then types.
    void type(std::string_view keys) {
        char output[4096];
        ASSERT_GT(::read(m_descriptor, output, sizeof output), 0);
        std::this_thread::sleep_for(300ms);
        ASSERT_EQ(::write(m_descriptor, keys.data(), keys.size()),
                  static_cast<ssize_t>(keys.size()));
    }

private:
    int m_descriptor = -1;
    pid_t m_child = -1;
};

class EditorTest : public LiveCodingTest {
protected:
    static bool isInstalled(const std::string& program) {
        return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
    }
    static std::string vim(const std::string& settings, int saves = 1) {
        return "vim -es -u NONE -i NONE -c 'set " + settings + "' -c 'for i in range(1, " +
               std::to_string(saves) + ") | call setline(1, i) | w | endfor | q'";
    }
    /// Under /tmp, where the test is, vim keeps no backup unless it is told to.
    int runVim(const std::string& settings, int saves = 1) const {
        const std::string command = vim("backupskip= " + settings, saves);
        return std::system((command + " '" + path + "' </dev/null").c_str());
    }
};

TEST_F(EditorTest, Vim) {
    if (!isInstalled("vim"))
        GTEST_SKIP() << "no vim here";
    struct Row {
        const char* settings;
        bool everyWrite;
        bool arrives;
    };
    // It renames the old file aside as soon as it keeps a backup, even for a moment, unless it is
    // told to copy.
    for (const auto& [settings, everyWrite, arrives] :
         {Row{"writebackup backupcopy=auto", false, true}, Row{"backup backupcopy=no", false, true},
          Row{"writebackup backupcopy=no nofsync", false, true},
          Row{"nowritebackup nobackup", false, false}, Row{"nowritebackup nobackup", true, true},
          Row{"writebackup backupcopy=yes", true, true}}) {
        texts.clear();
        folder.file("show.metal", "old");
        watch();
        file->reloadOnEveryWrite = everyWrite;
        ASSERT_EQ(runVim(settings), 0);
        settle(1, arrives ? 5000ms : 200ms);
        EXPECT_EQ(texts, (arrives ? std::vector<std::string>{"1\n"} : std::vector<std::string>{}))
            << settings;
        EXPECT_EQ(lines, std::vector<std::string>{}) << settings;
    }
}

TEST_F(EditorTest, VimSavesAgainAndAgain) {
    if (!isInstalled("vim"))
        GTEST_SKIP() << "no vim here";
    watch();
    ASSERT_EQ(runVim("writebackup backupcopy=auto", 20), 0);
    settle();
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back(), "20\n");
}

TEST_F(EditorTest, VimAsItComesOpensTheFileThatWeMake) {
    if (!isInstalled("vim"))
        GTEST_SKIP() << "no vim here";
    const ::tests::ScratchFolder runtime("/var/tmp"); // anywhere but under /tmp
    ::setenv("XDG_RUNTIME_DIR", runtime.path("").c_str(), 1);
    const auto made = LiveCodingFile::create("Untitled", "metal", "old", vim("nocompatible"), queue,
                                             log, received());
    ASSERT_TRUE(made) << made.error().message;
    settle(1);
    EXPECT_EQ(texts, std::vector<std::string>{"1\n"});
    ::unsetenv("XDG_RUNTIME_DIR");
}

TEST_F(EditorTest, Nano) {
    if (!isInstalled("nano"))
        GTEST_SKIP() << "no nano here";
    if (::access("/dev/pts/ptmx", F_OK) != 0)
        GTEST_SKIP() << "no terminals here";
    watch();
    file->reloadOnEveryWrite = true; // it writes in place
    Terminal nano({"nano", "--ignorercfiles", path.c_str()});
    nano.type("new \x0f\r"); // write out, under the same name
    settle(1);
    EXPECT_EQ(texts, std::vector<std::string>{"new old\n"});
}

} // namespace
} // namespace starloom
