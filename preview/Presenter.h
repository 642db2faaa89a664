// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Brings finished drawables into the form that a screen shows, on a thread of its own, so that
// neither the interface nor the device waits for it.
#pragma once

#include "platform/base/Mutex.h"
#include "platform/image/Image.h"
#include "preview/DrawablePool.h"
#include "preview/PictureScaler.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace starloom {

/// Rows of 0xffRRGGBB without padding.
struct ScreenPicture {
    PictureScaler::Size size;
    std::vector<std::uint32_t> pixels;
};

/// Always works on the newest drawable; those that were overtaken are left out. Only rows that
/// differ from those of the picture before are converted, so a still picture costs no more than a
/// look at it.
class Presenter {
public:
    /// Runs on the presenter's thread, once for each drawable. The picture does not change as long
    /// as it is held; where nothing has changed on the screen, the same object comes again.
    using Deliver = std::function<void(std::shared_ptr<const ScreenPicture>)>;

    /// Runs on the presenter's thread for each picture that differs from the one before: rows of
    /// 0xffRRGGBB, drawableWidth x drawableHeight, and the time that its drawable was given.
    using Tap = std::function<void(std::span<const std::uint32_t> pixels, std::int64_t time)>;

    Presenter(std::shared_ptr<gpu::Device> device, Deliver deliver);
    /// No picture is delivered after this.
    ~Presenter();
    Presenter(const Presenter&) = delete;
    Presenter& operator=(const Presenter&) = delete;

    DrawablePool& pool() { return *m_pool; }
    /// The newest drawable's picture; black before the first one. Any thread.
    platform::Image picture();
    /// The size that pictures should have from now on. Main thread.
    void setTargetSize(PictureScaler::Size size);

    /// Who else gets the pictures, the present one first; empty for nobody. What was set before may
    /// still be called once. Main thread.
    void setTap(Tap tap);

private:
    struct Work {
        PictureScaler::Size target;
        std::shared_ptr<const Tap> tap;
        bool tapIsNew = false;
    };
    void wake();
    void run();
    /// What to do when there is something; none when it is time to go.
    std::optional<Work> waitForWork();
    /// Says whether anything has changed.
    bool takeOverShown();
    bool takeOverRow(std::size_t y, std::span<const std::byte> row) SL42_REQUIRES(m_imageMutex);
    std::shared_ptr<const ScreenPicture> scaledTo(PictureScaler::Size size);
    std::shared_ptr<ScreenPicture> unusedPicture(PictureScaler::Size size);

    const Deliver m_deliver;
    std::shared_ptr<DrawablePool> m_pool;
    platform::Mutex m_imageMutex;
    platform::Image m_image SL42_GUARDED_BY(m_imageMutex);
    bool m_anyShown = false;
    std::int64_t m_shownTime = 0;
    std::vector<std::uint32_t> m_converted;
    std::optional<PictureScaler> m_scaler;
    std::shared_ptr<const ScreenPicture> m_latest; ///< of what was converted; null when outdated
    std::vector<std::shared_ptr<ScreenPicture>> m_pictures;

    platform::Mutex m_mutex;
    platform::Condition m_changed;
    bool m_work SL42_GUARDED_BY(m_mutex) = false;
    bool m_done SL42_GUARDED_BY(m_mutex) = false;
    PictureScaler::Size m_target SL42_GUARDED_BY(m_mutex);
    std::shared_ptr<const Tap> m_tap SL42_GUARDED_BY(m_mutex);
    bool m_tapIsNew SL42_GUARDED_BY(m_mutex) = false;
    std::thread m_thread; // last: it uses all the others
};

} // namespace starloom
