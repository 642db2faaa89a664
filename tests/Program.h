// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs that tests run beside themselves, in the one place that starts and signals them.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tests {

/// Files that stand for the standard streams; those without a name are the test's own.
struct Streams {
    std::string in;
    std::string out; ///< appended to, as is `err`
    std::string err;
};

/// A process that ends with the object at the latest, or with the test if that is killed.
class Program {
public:
    /// The program, looked for on the path, and its arguments. Throws when there can be no process.
    explicit Program(const std::vector<std::string>& words, const Streams& streams = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t id() const { return m_process; }
    bool isRunning();
    /// Does nothing once it has ended.
    void signal(int number);
    /// The exit status, or minus the number of the signal that ended it. 127: it is not installed.
    int wait();

private:
    pid_t m_process = 0;
    int m_status = 0;
    bool m_isRunning = true;
};

} // namespace tests
