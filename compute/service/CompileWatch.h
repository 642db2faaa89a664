// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Watches what compilations use, for there are texts at which the compiler works for ever, or with
// all memory there is, at a place where nobody can tell it to stop. Then the process ends and says
// whose fault it was, and the console starts it again without that text.
#pragma once

#include "compute/protocol/Protocol.h"
#include "compute/protocol/StatusPage.h"
#include "platform/base/Mutex.h"

#include <chrono>
#include <cstddef>
#include <ctime>
#include <optional>
#include <thread>
#include <vector>

namespace compute::service {

/// Processor time that reading a text may take. The compiler itself tries to end before that.
inline constexpr std::chrono::milliseconds longestCompilation(5'500);
/// What all that is being compiled may have taken from the heap in the meantime.
inline constexpr std::size_t mostCompilerBytes = 768u << 20;

class CompileWatch {
public:
    CompileWatch();
    ~CompileWatch();
    CompileWatch(const CompileWatch&) = delete;
    CompileWatch& operator=(const CompileWatch&) = delete;

    /// While it exists, the calling thread works on that question.
    class Guard {
    public:
        /// Without a limit, time is left to the console.
        Guard(CompileWatch& watch, protocol::RequestId request,
              std::optional<std::chrono::nanoseconds> limit);
        ~Guard();
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        CompileWatch& m_watch;
        protocol::RequestId m_request;
    };

private:
    struct Watched {
        protocol::RequestId request;
        clockid_t clock;
        std::optional<std::chrono::nanoseconds> deadline; ///< of that clock
    };

    void loop();
    void check() const SL42_REQUIRES(m_mutex);

    platform::Mutex m_mutex;
    platform::Condition m_wake;
    std::vector<Watched> m_watched SL42_GUARDED_BY(m_mutex);
    std::size_t m_bytesBefore SL42_GUARDED_BY(m_mutex) = 0; ///< in use when the first of them began
    bool m_stopping SL42_GUARDED_BY(m_mutex) = false;
    std::thread m_thread; // last, so that it finds the rest
};

} // namespace compute::service
