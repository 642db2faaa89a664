// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The texts that the document has had: to look at, to compare with the present one, to go back to.
#pragma once

#include "SL42/console/SL42.h"
#include "SL42/document/History.h"

#include <QIcon>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace app {

/// Both must outlive it.
class HistoryPane final : public QSplitter {
public:
    HistoryPane(const starloom::SL42& console, const starloom::History& history);

    /// Called with the number of the entry that somebody wants back.
    std::function<void(std::uint64_t number)> onGoBack = [](std::uint64_t) {};

    /// The history or the present text has changed.
    void changed() { m_timer.start(); }

    QSize sizeHint() const override { return {760, 200}; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fill();
    QListWidgetItem* makeItem(const starloom::HistoryEntry& entry);
    QIcon iconOf(const starloom::HistoryEntry& entry);
    void compare();

    const starloom::SL42& m_console;
    const starloom::History& m_history;
    std::vector<starloom::HistoryEntry> m_entries;
    std::map<std::chrono::system_clock::time_point, QIcon> m_icons; ///< of those with a picture
    QListWidget* m_list;
    QPlainTextEdit* m_comparison;
    QTimer m_timer;
};

} // namespace app
