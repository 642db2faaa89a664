// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/FileTask.h"

#include <utility>

namespace app {

FileTask::FileTask(QString what, std::filesystem::path file, Work work, Client client)
    : m_what(std::move(what)), m_file(std::move(file)), m_client(std::move(client)) {
    m_thread = std::jthread([this, work = std::move(work)](const std::stop_token& stop) {
        const auto tell = [this](std::uint32_t done, std::uint32_t total) {
            QMetaObject::invokeMethod(this, [=, this] { m_client.progress(*this, done, total); });
        };
        auto result = work(tell, stop);
        QMetaObject::invokeMethod(
            this, [this, result = std::move(result)] { m_client.finished(*this, result); });
    });
}

} // namespace app
