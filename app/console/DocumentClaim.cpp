// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/DocumentClaim.h"

namespace app {

DocumentClaim::DocumentClaim() : m_claim([this] { onWanted(); }) {
    m_claim.onListen = [this](int descriptor) { listen(descriptor); };
}

void DocumentClaim::listen(int descriptor) {
    m_notifier.reset();
    if (descriptor < 0)
        return;
    m_notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { m_claim.answer(); });
}

} // namespace app
