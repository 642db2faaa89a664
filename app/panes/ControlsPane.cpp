// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/ControlsPane.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace app {

ControlsPane::ControlsPane() {
    auto* content = new QWidget;
    m_column = new QVBoxLayout(content);
    m_column->setContentsMargins(12, 8, 12, 12);
    m_column->setSpacing(6);
    setWidget(content);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setMinimumWidth(240);
}

void ControlsPane::addButtons(const QList<QAction*>& actions) {
    auto* row = new QHBoxLayout;
    for (QAction* action : actions) {
        auto* button = new QToolButton;
        button->setDefaultAction(action);
        button->setFocusPolicy(Qt::StrongFocus);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        row->addWidget(button);
    }
    m_column->addLayout(row);
}

void ControlsPane::addHeading(const QString& text) {
    auto* heading = new QLabel(text);
    heading->setObjectName("heading");
    m_column->addWidget(heading);
}

void ControlsPane::addControl(QWidget* control) {
    m_column->addWidget(control);
}

void ControlsPane::addRow(const QString& name, QWidget* control) {
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(name);
    label->setBuddy(control);
    control->setAccessibleName(name);
    row->addWidget(label);
    row->addWidget(control, 1);
    m_column->addLayout(row);
}

} // namespace app
