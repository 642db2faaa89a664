// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The claim of this process to its document's file, served by the event loop.
#pragma once

#include "platform/files/FileClaim.h"

#include <QSocketNotifier>

#include <filesystem>
#include <functional>
#include <memory>

namespace app {

/// Main thread; the application must exist.
class DocumentClaim {
public:
    using Answer = platform::FileClaim::Answer;

    DocumentClaim();

    /// Gives up what was claimed before if it is granted.
    Answer claim(const std::filesystem::path& file) { return m_claim.claim(file); }
    void release() { m_claim.release(); }

    /// Called when somebody else wants to open the file.
    std::function<void()> onWanted = [] {};

private:
    void listen(int descriptor);

    std::unique_ptr<QSocketNotifier> m_notifier;
    platform::FileClaim m_claim; // last: its end is told
};

} // namespace app
