// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Waiting for what a device makes, for programs without an event loop: tools and tests. Nothing of
// a window may call this.
#pragma once

#include "gpu/Device.h"

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <utility>

namespace gpu {

/// What a device makes meanwhile.
template <class T>
class Awaited {
public:
    using Answer = Result<std::shared_ptr<T>>;

    /// `start` gets the handler to pass on and returns what the device returned.
    template <class Start>
    explicit Awaited(const Start& start) {
        // Shared, since this thread may go on before set_value() has returned on the other.
        const auto promise = std::make_shared<std::promise<Answer>>();
        m_answer = promise->get_future();
        m_pending = start(Made<T>([promise](Answer made) { promise->set_value(std::move(made)); }));
    }

    bool isThere() const {
        return m_answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }
    /// Blocks. Once, and not on the device's callback thread.
    Answer get() { return m_answer.get(); }

private:
    std::future<Answer> m_answer;
    Pending m_pending;
};

inline Awaited<Library> startLibrary(Device& device, std::string source) {
    return Awaited<Library>(
        [&](Made<Library> made) { return device.makeLibrary(std::move(source), std::move(made)); });
}
inline Result<std::shared_ptr<Library>> waitForLibrary(Device& device, std::string source) {
    return startLibrary(device, std::move(source)).get();
}

inline Awaited<ComputePipelineState> startPipeline(Device& device,
                                                   const std::shared_ptr<Function>& function) {
    return Awaited<ComputePipelineState>([&](Made<ComputePipelineState> made) {
        return device.makeComputePipelineState(function, std::move(made));
    });
}
inline Result<std::shared_ptr<ComputePipelineState>>
waitForPipeline(Device& device, const std::shared_ptr<Function>& function) {
    return startPipeline(device, function).get();
}

} // namespace gpu
