// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/LowPriority.h"

#include <sched.h>
#include <sys/resource.h>

namespace platform {

// Where the system knows no such thread, its priority is at least the lowest.
void takeOnlyIdleTime() {
    const sched_param parameters{};
    if (::sched_setscheduler(0, SCHED_IDLE, &parameters) != 0)
        ::setpriority(PRIO_PROCESS, 0, 19);
}

} // namespace platform
