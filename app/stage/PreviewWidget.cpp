// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/stage/PreviewWidget.h"

#include <QBitmap>
#include <QPaintEvent>
#include <QPainter>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace app {
namespace {

// An unseen window still draws a few frames: the program's memory keeps changing, and a fault in a
// newly saved text is found soon. The sound does not depend on frames.
constexpr int unseenFramesPerSecond = 1;
// How late the picture may be when the window is seen again.
constexpr platform::Seconds longestWait{0.02};

QCursor makeEmptyCursor() {
    QBitmap blank(16, 16);
    blank.clear();
    return {blank, blank, 0, 0};
}

QImage wrap(const starloom::ScreenPicture& picture) {
    const auto width = static_cast<int>(picture.size.width);
    const auto height = static_cast<int>(picture.size.height);
    return {reinterpret_cast<const uchar*>(picture.pixels.data()), width, height,
            qsizetype{4} * width, QImage::Format_RGB32};
}

} // namespace

PreviewWidget::PreviewWidget(std::shared_ptr<gpu::Device> device)
    : m_emptyCursor(makeEmptyCursor()),
      m_presenter(std::move(device), [this](PicturePtr picture) { receive(std::move(picture)); }) {
    resize(drawableWidth, drawableHeight);
    setMinimumSize(drawableWidth / 4, drawableHeight / 4);
    setAttribute(Qt::WA_OpaquePaintEvent); // paints every pixel of its own
    setAccessibleName(tr("Picture"));
    m_rateObservation = preferredFPS.observe([this](int rate) { m_pacer.setRate(rate); });
    m_unseenPacer.setRate(unseenFramesPerSecond);
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &PreviewWidget::tick);
    m_timer.start(0);
}

std::shared_ptr<gpu::Drawable> PreviewWidget::currentDrawable() {
    return m_presenter.pool().nextDrawable(m_frameTime ? m_frameTime() : 0);
}

void PreviewWidget::setTap(starloom::Presenter::Tap tap, std::function<std::int64_t()> time) {
    m_frameTime = std::move(time);
    m_presenter.setTap(std::move(tap));
}

void PreviewWidget::setNeedsDisplay() {
    m_needsDisplay = true;
}

void PreviewWidget::tick() {
    starloom::FramePacer& pacer = isSeen() ? m_pacer : m_unseenPacer;
    if (pacer.isDue(m_clock.now()))
        draw();
    const auto wait = std::min(pacer.untilDue(m_clock.now()), longestWait);
    m_timer.start(std::chrono::floor<std::chrono::milliseconds>(wait));
}

// A minimised window may stay exposed for those who watch miniatures of it; that is not worth the
// frames.
bool PreviewWidget::isSeen() const {
    const QWindow* handle = window()->windowHandle();
    return handle && handle->isExposed() && !window()->isMinimized();
}

void PreviewWidget::draw() {
    if (isPaused.get() && !m_needsDisplay)
        return;
    if (delegate() && delegate()->isReadyToDraw()) {
        m_needsDisplay = false;
        delegate()->draw(*this);
    }
}

// On the presenter's thread. One event is enough for all pictures that come before it arrives.
void PreviewWidget::receive(PicturePtr picture) {
    const platform::Lock lock(m_mutex);
    m_frameRate.frame(m_clock.now());
    if (picture == (m_received ? m_received : m_shown))
        return;
    if (!std::exchange(m_received, std::move(picture)))
        QMetaObject::invokeMethod(this, [this] { showReceived(); }, Qt::QueuedConnection);
}

void PreviewWidget::repeatPicture() {
    const platform::Lock lock(m_mutex);
    m_frameRate.frame(m_clock.now());
}

void PreviewWidget::showReceived() {
    {
        const platform::Lock lock(m_mutex);
        m_shown = std::move(m_received);
    }
    update();
}

PreviewWidget::PicturePtr PreviewWidget::shown() {
    const platform::Lock lock(m_mutex);
    return m_shown;
}

QImage PreviewWidget::miniature(QSize size) {
    const PicturePtr shown = this->shown();
    return shown ? wrap(*shown).scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                 : QImage();
}

int PreviewWidget::framesPerSecond() {
    const platform::Lock lock(m_mutex);
    return m_frameRate.perSecond(m_clock.now());
}

starloom::PicturePlacement PreviewWidget::placement() const {
    const double ratio = devicePixelRatioF();
    return starloom::placePicture(static_cast<int>(std::lround(width() * ratio)),
                                  static_cast<int>(std::lround(height() * ratio)), m_wholeOnly);
}

QRectF PreviewWidget::pictureRect() const {
    const auto place = placement();
    const double ratio = devicePixelRatioF();
    return {place.x / ratio, place.y / ratio, place.width / ratio, place.height / ratio};
}

void PreviewWidget::setWholeScalesOnly(bool wholeOnly) {
    m_wholeOnly = wholeOnly;
    updateTarget();
    update();
}

void PreviewWidget::setSurround(const QColor& colour) {
    m_surround = colour;
    update();
}

void PreviewWidget::setPointerHidden(bool hidden) {
    m_pointerHidden = hidden;
    resetCursorRects();
}

void PreviewWidget::updateTarget() {
    const auto place = placement();
    m_presenter.setTargetSize(
        {static_cast<std::size_t>(place.width), static_cast<std::size_t>(place.height)});
}

void PreviewWidget::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    updateTarget();
}

void PreviewWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const double ratio = devicePixelRatioF();
    const auto place = placement();
    painter.scale(1 / ratio, 1 / ratio);
    const QRect picture(place.x, place.y, place.width, place.height);
    const QRect whole(0, 0, static_cast<int>(std::ceil(width() * ratio)),
                      static_cast<int>(std::ceil(height() * ratio)));
    for (const QRect& border : QRegion(whole).subtracted(picture))
        painter.fillRect(border, m_surround);
    const PicturePtr shown = this->shown();
    if (!shown)
        painter.fillRect(picture, Qt::black);
    else // of another size only for a moment after the view's size has changed
        painter.drawImage(picture, wrap(*shown));
}

void PreviewWidget::resetCursorRects() {
    setCursor(showCursor() && !m_pointerHidden ? QCursor(Qt::ArrowCursor) : m_emptyCursor);
}

} // namespace app
