// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A file that is made while the window goes on drawing, on a thread of its own.
#pragma once

#include "platform/base/Result.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <thread>

namespace app {

/// Main thread. Stops early when it goes before it has finished, and waits for that.
class FileTask final : public QObject {
public:
    /// Told from the thread of the work how much of how much is done.
    using Progress = std::function<void(std::uint32_t done, std::uint32_t total)>;
    /// Runs on a thread of its own. Leaves no file when it fails or is to stop, and then whatever
    /// stood under the name stands there still.
    using Work = std::function<platform::Result<void>(const Progress&, const std::stop_token&)>;
    struct Client {
        /// On the main thread.
        std::function<void(FileTask&, std::uint32_t done, std::uint32_t total)> progress;
        /// Gets the error, or nothing after success, on the main thread. The task may be deleted in
        /// it.
        std::function<void(FileTask&, const platform::Result<void>&)> finished;
    };

    /// `what` it is, in a word or two for the user.
    FileTask(QString what, std::filesystem::path file, Work work, Client client);

    const QString& what() const { return m_what; }
    const std::filesystem::path& file() const { return m_file; }
    void cancel() { m_thread.request_stop(); }
    bool isCancelled() const { return m_thread.get_stop_token().stop_requested(); }

private:
    const QString m_what;
    const std::filesystem::path m_file;
    const Client m_client;
    std::jthread m_thread; // last: it uses all the others
};

} // namespace app
