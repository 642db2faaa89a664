// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The picture with what lies over it: the view that tracks the mouse, the badge, the notices.
#pragma once

#include "app/stage/Badge.h"
#include "app/stage/NoticeBar.h"
#include "app/stage/PreviewWidget.h"

#include <QPointer>
#include <QWidget>

namespace app {

/// Shows the console's view without owning it.
class Stage final : public QWidget {
public:
    Stage(PreviewWidget& preview, QWidget& mouseTracking);

    PreviewWidget& preview() { return *m_preview; }
    Badge& badge() { return *m_badge; }
    NoticeBar& notices() { return *m_notices; }
    /// Gives the picture the keyboard focus.
    void takeFocus() { m_mouseTracking->setFocus(); }

    QSize sizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QPointer<PreviewWidget> m_preview;
    QPointer<QWidget> m_mouseTracking;
    Badge* m_badge;
    NoticeBar* m_notices;
};

} // namespace app
