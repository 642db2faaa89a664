// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The pane beside the picture with the console's controls, from top to bottom.
#pragma once

#include "app/common/Actions.h"

#include <QScrollArea>
#include <QVBoxLayout>

namespace app {

class ControlsPane final : public QScrollArea {
public:
    ControlsPane();

    /// A row of buttons for actions.
    void addButtons(const QList<QAction*>& actions);
    void addHeading(const QString& text);
    void addControl(QWidget* control);
    /// A control with its name in front of it.
    void addRow(const QString& name, QWidget* control);
    /// Fills what is left below.
    void finish() { m_column->addStretch(1); }

    QSize sizeHint() const override { return {288, 540}; }

private:
    QVBoxLayout* m_column;
};

} // namespace app
