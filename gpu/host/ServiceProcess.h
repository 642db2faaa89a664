// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One run of the compute service: the child process, the socket to it, its status page and what it
// says to people.
#pragma once

#include "compute/protocol/Channel.h"
#include "compute/protocol/Protocol.h"
#include "compute/protocol/StatusPage.h"
#include "gpu/host/ServiceMessages.h"
#include "platform/base/SharedMemory.h"

#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace gpu::host {

/// What the service claims to have been doing when it ended. Nothing of it has been checked.
struct LastWords {
    std::uint64_t job = 0;
    std::uint32_t command = 0;
    std::uint64_t request = 0;
    std::uint32_t faultKind = 0;
    std::uint32_t faultPlace = 0;
    std::uint32_t faultAccess = 0;
    bool isLoop = false;
    // NOLINTNEXTLINE(readability-redundant-member-init): whoever names the others leaves it out
    std::vector<std::uint32_t> lines = {};

    /// Whether it says that something went wrong there.
    bool reports(compute::protocol::FaultPlace place) const {
        return faultKind != 0 && faultPlace == static_cast<std::uint32_t>(place);
    }
};

/// Killed on destruction.
class ServiceProcess {
public:
    /// $SL42_COMPUTE, or else the program beside this one, or else the installed one.
    static std::string findExecutable();

    /// Must be called on a thread that lives as long as the process shall: the kernel ends it
    /// together with that thread. Some systems grant namespaces in which it then cannot run;
    /// without `mayIsolate` it has none to begin with. Kernels run on `device`.
    static platform::Result<std::unique_ptr<ServiceProcess>>
    start(const std::string& executable, const std::string& device, bool mayIsolate);
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    compute::protocol::Channel& channel() { return m_channel; }
    ServiceMessages& messages() { return m_messages; }
    const ServiceMessages& messages() const { return m_messages; }
    pid_t id() const { return m_pid; }
    /// Has the process write where the job stands and end itself. Waits for that a moment.
    void askForPlace(compute::protocol::JobId job);
    /// Has the process finish what it has and end itself, which is not waited for. False when it
    /// cannot be told.
    bool askToFinish();
    /// Kills the process, unless it has ended, and waits until it is gone.
    void end();
    /// Once it is gone: whether it was killed, by whomever, and did not end by itself.
    bool wasKilled() const { return m_killed; }
    LastWords lastWords() const;

private:
    ServiceProcess(platform::FileDescriptor socket, std::shared_ptr<platform::SharedMemory> page,
                   ServiceMessages messages, pid_t pid);

    compute::protocol::Channel m_channel;
    std::shared_ptr<platform::SharedMemory> m_page;
    ServiceMessages m_messages;
    pid_t m_pid;
    bool m_killed = false;
};

} // namespace gpu::host
