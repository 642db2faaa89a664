// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Going back to texts that were on the stage before, and the small pictures by which one knows
// them again.
#pragma once

#include "app/common/Actions.h"
#include "app/console/Console.h"
#include "app/panes/HistoryPane.h"
#include "app/stage/NoticeBar.h"

#include <QObject>
#include <QTimer>

#include <cstdint>

namespace app {

/// All that it is made with must outlive it.
class HistoryCommands final : public QObject {
public:
    HistoryCommands(Console& console, NoticeBar& notices, const Actions& actions);

    /// The caller gives it a parent.
    HistoryPane* pane() { return m_pane; }

private:
    enum class Direction { Older, Newer };

    void step(Direction direction);
    void goBack(std::uint64_t number);
    void takeOver(const starloom::HistoryEntry& entry);
    void takePicture();

    Console& m_console;
    NoticeBar& m_notices;
    HistoryPane* m_pane;
    QTimer m_pictureTimer;
    std::uint64_t m_drew = 0; ///< the entry that has no picture yet
};

} // namespace app
