// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The window's view of the console: drives the frames and shows the pictures.
#pragma once

#include "app/stage/FrameRate.h"
#include "gpu/Device.h"
#include "platform/Clock.h"
#include "platform/base/Mutex.h"
#include "platform/image/Image.h"
#include "preview/FramePacer.h"
#include "preview/MTLPreview.h"
#include "preview/PicturePlacement.h"
#include "preview/Presenter.h"

#include <QColor>
#include <QCursor>
#include <QImage>
#include <QTimer>
#include <QWidget>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace app {

/// The console owns its view, so this widget must go before its parent does. A frame is only begun
/// when the console can do so at once; while the device is busy, frames are left out and the
/// interface lives on.
class PreviewWidget final : public QWidget, public starloom::MTLPreview {
public:
    explicit PreviewWidget(std::shared_ptr<gpu::Device> device);

    std::shared_ptr<gpu::Drawable> currentDrawable() override;
    void repeatPicture() override;
    void setNeedsDisplay() override;

    /// Leaves more of the view red rather than mix neighbouring pixels.
    void setWholeScalesOnly(bool wholeOnly);
    /// The colour of what the picture does not cover; red at first, so that a mistake in the layout
    /// of a stage is seen when it is set up.
    void setSurround(const QColor& colour);
    /// Hides the mouse pointer over the picture, whatever the program wants.
    void setPointerHidden(bool hidden);
    /// Where the picture lies in the widget.
    QRectF pictureRect() const;
    /// What is shown, as the console drew it.
    platform::Image picture() { return m_presenter.picture(); }
    /// The same in a small size; null while nothing has been shown.
    QImage miniature(QSize size);
    /// Who else gets the pictures; see Presenter. `time` is asked, on the main thread, when a frame
    /// is begun.
    void setTap(starloom::Presenter::Tap tap, std::function<std::int64_t()> time);
    /// Pictures shown during the last second.
    int framesPerSecond();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void resetCursorRects() override;

private:
    using PicturePtr = std::shared_ptr<const starloom::ScreenPicture>;

    void tick();
    void draw();
    bool isSeen() const;
    void receive(PicturePtr picture);
    void showReceived();
    PicturePtr shown();
    void updateTarget();
    /// In pixels of the screen.
    starloom::PicturePlacement placement() const;

    platform::SystemClock m_clock;
    starloom::FramePacer m_pacer;
    starloom::FramePacer m_unseenPacer; ///< while nobody can see the window
    QTimer m_timer;
    QCursor m_emptyCursor;
    platform::Observation m_rateObservation;
    bool m_needsDisplay = true;
    bool m_wholeOnly = false;
    QColor m_surround{255, 0, 0};
    bool m_pointerHidden = false;
    std::function<std::int64_t()> m_frameTime; ///< empty while nobody wants to know

    platform::Mutex m_mutex;
    FrameRate m_frameRate SL42_GUARDED_BY(m_mutex);
    PicturePtr m_received SL42_GUARDED_BY(m_mutex);
    PicturePtr m_shown SL42_GUARDED_BY(m_mutex);
    starloom::Presenter m_presenter; // last: it delivers from its thread
};

} // namespace app
