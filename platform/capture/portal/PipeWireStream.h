// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The stream of pictures that a desktop has granted.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"
#include "platform/capture/portal/Delivery.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// One thread.
class PipeWireStream {
public:
    using Clock = std::chrono::steady_clock;

    struct Source {
        FileDescriptor remote; ///< the connection to PipeWire
        std::uint32_t node = 0;
        std::uint32_t widthInPoints = 0; ///< 0 when the desktop does not say
    };
    /// They may not destroy the stream.
    struct Handlers {
        /// May exchange the picture for one whose memory can be used again.
        std::function<void(OwnPicture&)> onPicture;
        /// Whether pictures arrive when something changes.
        std::function<void(bool isRunning)> onRunning;
        /// Why there will be no more; for a person. May come more than once.
        std::function<void(std::string)> onEnd;
    };

    static Result<std::unique_ptr<PipeWireStream>>
    connect(Source source, unsigned picturesPerSecond, Handlers handlers);
    ~PipeWireStream();

    /// Can be read from (as poll() says) when there is something for process() to do.
    int descriptor() const;
    /// When there is something for it in any case.
    std::optional<Clock::time_point> deadline() const;
    void process();

private:
    class Connection;

    explicit PipeWireStream(std::unique_ptr<Connection> connection);

    std::unique_ptr<Connection> m_connection;
};

} // namespace platform
