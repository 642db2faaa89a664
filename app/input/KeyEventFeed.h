// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Feeds the keys that our windows see to the console's keyboard.
#pragma once

#include "platform/keyboard/FocusKeyStateSource.h"

#include <QObject>

#include <memory>

class QKeyEvent;

namespace app {

/// An event filter for the whole application. It only listens; every event goes on its way.
class KeyEventFeed final : public QObject {
public:
    KeyEventFeed(QObject* parent, std::shared_ptr<platform::FocusKeyStateSource> source);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void press(const QKeyEvent& event);

    std::shared_ptr<platform::FocusKeyStateSource> m_source;
};

} // namespace app
