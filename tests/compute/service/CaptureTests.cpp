// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A service in which somebody runs machine code of their own: the process that it could harm lives,
// and the frames go on.
#include "tests/compute/service/Console.h"
#include "tests/compute/service/HostileKernels.h"

#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

using Code = gpu::CommandBufferError::Code;

namespace test {
namespace {

/// Another process of the same user, which does nothing.
class Victim {
public:
    Victim() : m_pid(::fork()) {
        while (m_pid == 0)
            ::pause();
    }
    ~Victim() {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    pid_t id() const { return m_pid; }
    bool lives() const {
        siginfo_t info{};
        return ::waitid(P_PID, static_cast<id_t>(m_pid), &info,
                        WEXITED | WSTOPPED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == 0;
    }

private:
    pid_t m_pid;
};

class Captured : public Console {
protected:
    Captured() { set(VictimPlace, static_cast<std::uint32_t>(victim.id())); }

    void set(std::size_t place, std::uint32_t value) {
        std::memcpy(buffer->contents().data() + 4 * place, &value, sizeof value);
    }
    void expectFramesGoOn() {
        const auto count = pipeline("count");
        for (std::uint32_t i = 0; i < 5; ++i)
            EXPECT_EQ(run({count})->status(), gpu::CommandBufferStatus::Completed);
        EXPECT_EQ(counter(63), 5u);
        EXPECT_TRUE(victim.lives());
    }

    Victim victim;
};

TEST_F(Captured, ServiceReachesNoOtherProcess) {
    set(SuccessPlace, 1000);
    EXPECT_EQ(run({pipeline("attack-process")})->status(), gpu::CommandBufferStatus::Completed);
    EXPECT_EQ(counter(SuccessPlace), 0u);
    expectFramesGoOn();
}

TEST_F(Captured, CodeOfItsOwnDoesNotRunFromMemoryThatCanBeWritten) {
    for (const char* attack : {"run-buffer", "store-into-arena"}) {
        SCOPED_TRACE(attack);
        set(SuccessPlace, 1000);
        set(AmountPlace, 0);
        const auto attacked = run({pipeline(attack)});
        const auto error = attacked->error();
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code, Code::KernelFault);
        EXPECT_EQ(counter(SuccessPlace), 0u);
        EXPECT_EQ(counter(AmountPlace), 0u);
    }
    expectFramesGoOn();
}

TEST_F(Captured, CodeOfItsOwnInTheArenaIsStillLockedIn) {
    EXPECT_EQ(run({pipeline("run-from-arena")})->status(), gpu::CommandBufferStatus::Completed);
    EXPECT_EQ(counter(AmountPlace), 42u);
    expectFramesGoOn();
}

TEST_F(Captured, CallsOfAnotherKindEndTheService) {
    set(SuccessPlace, 1000);
    const auto attacked = run({pipeline("call-as-32-bits")});
    ASSERT_TRUE(attacked->error());
    EXPECT_EQ(counter(SuccessPlace), 1000u) << "the call does not return";
    expectFramesGoOn();
}

} // namespace
} // namespace test
