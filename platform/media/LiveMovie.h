// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A movie that is encoded while it happens, with little work: its last seconds are in memory, and a
// file can be begun and ended at any time.
#pragma once

#include "platform/base/Result.h"
#include "platform/media/MovieFormat.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// Movable. One thread, which the encoder's own threads take their priority from.
class LiveMovie {
public:
    /// Writes the movie of that moment to a file, on any thread, also when the movie has gone. As
    /// with all files, what stood under the name stands there still after an error.
    using Save = std::function<Result<void>(const std::string& path)>;

    /// The effort of `format` does not count.
    static Result<LiveMovie> create(MovieFormat format);
    LiveMovie(LiveMovie&&) noexcept;
    LiveMovie& operator=(LiveMovie&&) = delete;
    /// A file that was not finished leaves nothing.
    ~LiveMovie();

    /// The next frame, as MovieWriter takes it.
    Result<void> writeFrame(std::span<const std::uint32_t> pixels);
    /// Goes on without the next frames: the one before is seen longer.
    void skipFrames(std::int64_t count);
    /// The next samples; see MovieWriter. Their number does not depend on the frames that are
    /// skipped.
    Result<void> writeSound(std::span<const float> left, std::span<const float> right);

    /// How much is kept in memory; up to two seconds more.
    void keepLast(double seconds);
    std::size_t keptBytes() const;
    Save saveLast() const;

    /// Begins a file with the next frame. After an error of any call there is no file.
    Result<void> startFile(const std::string& path);
    /// The next frame belongs to it no more. Sound is still in its encoder then, so the file waits
    /// for a tenth of a second more of it.
    void endFile();
    /// Whether that was enough.
    bool isFileComplete() const;
    /// Completes the file with what there is.
    Result<void> finishFile();
    bool hasFile() const;

private:
    struct Parts;
    explicit LiveMovie(std::unique_ptr<Parts> parts);

    std::unique_ptr<Parts> m_parts;
};

} // namespace platform
