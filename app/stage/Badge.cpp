// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/stage/Badge.h"

namespace app {

Badge::Badge(QWidget* parent) : QLabel(parent) {
    setObjectName("badge");
    setCursor(Qt::PointingHandCursor);
    hide();
}

void Badge::setProblem(const QString& problem) {
    setText(problem);
    setAccessibleName(problem);
    adjustSize();
    setVisible(!m_quiet && !problem.isEmpty());
}

void Badge::setQuiet(bool quiet) {
    m_quiet = quiet;
    setVisible(!m_quiet && !text().isEmpty());
}

void Badge::mousePressEvent(QMouseEvent*) {
    if (m_clicked)
        m_clicked();
}

} // namespace app
