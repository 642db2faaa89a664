// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/WakeUp.h"

#include "platform/base/Fatal.h"

#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace gpu::host {

WakeUp::WakeUp() : m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_event)
        platform::fatalError("Couldn't create an event descriptor");
}

void WakeUp::signal() const {
    const std::uint64_t one = 1;
    (void)!::write(m_event.get(), &one, sizeof one);
}

void WakeUp::clear() const {
    std::uint64_t count = 0;
    (void)!::read(m_event.get(), &count, sizeof count);
}

} // namespace gpu::host
