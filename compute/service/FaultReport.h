// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the service was doing when it ended. Signal handlers write it into the status page and end
// the process; nothing is repaired, because after a wild access nothing here can be trusted.
#pragma once

#include "compute/backend/Device.h"
#include "compute/protocol/Protocol.h"
#include "compute/protocol/StatusPage.h"

namespace compute::service {

/// Installs handlers for the signals of faulty code. They write to `page`, which must stay mapped
/// for the rest of the process.
void reportFaultsTo(protocol::StatusPage& page);

/// Gives the calling thread a stack for signal handlers of its own, so that the overflow of the
/// ordinary one can be reported.
void giveThisThreadFaultStack();

/// While it exists, what the calling thread does wrong is the fault of this question to the
/// compiler.
class CompilingFor {
public:
    explicit CompilingFor(protocol::RequestId request);
    ~CompilingFor();
    CompilingFor(const CompilingFor&) = delete;
    CompilingFor& operator=(const CompilingFor&) = delete;
};

/// Ends the process because of what the compiler has used for this question; none where it may be
/// one of several.
[[noreturn]] void endFor(protocol::RequestId request, protocol::FaultKind what);

/// The calling thread executes kernels: what it does wrong is a kernel's fault. Gives it a fault
/// stack too.
void markThisThreadAsKernels();

/// Writes where the kernel of this job stands and ends the process, unless the job is done. Takes
/// some tens of milliseconds.
void reportPlaceOf(protocol::JobId job);

/// Ends the process because the device of its kernels will never do anything again.
[[noreturn]] void endForLostDevice();

/// From now on, threads that are not known run kernels, too: those of this device's driver, which
/// may know better than the page what it is at. It must live as long as the process.
void takeUnknownThreadsForKernels(const Device& device);

} // namespace compute::service
