// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/HostBackend.h"

#include "compute/host/HostKernel.h"

namespace compute::host {

platform::Result<void> HostBackend::openDump() {
    if (!m_options.dumpFolder.empty())
        m_dump = SL42_TRY(kernel::Dump::create(m_options.dumpFolder));
    return {};
}

void HostBackend::warmUp() const {
    host::warmUp(m_target);
}

platform::Result<std::shared_ptr<Kernel>> HostBackend::build(const kernel::Program& program,
                                                             std::string_view function,
                                                             const ConstantValues& constants,
                                                             const kernel::Dump* dump,
                                                             const std::stop_token& stop) const {
    auto canonical = SL42_TRY(kernel::canonicalise(program, function, constants,
                                                   *m_target.takeMachine(), m_options, dump, stop));
    return generate(std::move(canonical), m_target, m_options, dump);
}

} // namespace compute::host
