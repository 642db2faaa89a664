// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/stage/Stage.h"

namespace app {

Stage::Stage(PreviewWidget& preview, QWidget& mouseTracking)
    : m_preview(&preview),
      m_mouseTracking(&mouseTracking),
      m_badge(new Badge(this)),
      m_notices(new NoticeBar(this)) {
    preview.setParent(this);
    preview.lower();
    mouseTracking.setParent(&preview); // has the picture's cursor, and goes with it
    preview.show();
    mouseTracking.show();
    setFocusProxy(&mouseTracking);
}

QSize Stage::sizeHint() const {
    return {static_cast<int>(PreviewWidget::drawableWidth),
            static_cast<int>(PreviewWidget::drawableHeight)};
}

void Stage::resizeEvent(QResizeEvent*) {
    m_preview->setGeometry(rect());
    m_mouseTracking->setGeometry(m_preview->rect());
    m_badge->move(12, 12);
    m_notices->move((width() - m_notices->width()) / 2, NoticeBar::top);
}

} // namespace app
