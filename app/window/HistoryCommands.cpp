// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/HistoryCommands.h"

#include <QBuffer>
#include <QImage>

#include <algorithm>
#include <span>

namespace app {

using starloom::History;
using starloom::HistoryEntry;

static constexpr QSize pictureSize{160, 90};
/// The first frame is often black.
static constexpr int pictureMilliseconds = 400;

HistoryCommands::HistoryCommands(Console& console, NoticeBar& notices, const Actions& actions)
    : m_console(console),
      m_notices(notices),
      m_pane(new HistoryPane(console.engine(), console.history())) {
    m_pane->onGoBack = [this](std::uint64_t number) { goBack(number); };
    m_console.history().onChange = [this] { m_pane->changed(); };
    m_console.engine().onGoodFrame = [this](const std::string&) {
        m_drew = m_console.history().current();
        m_pictureTimer.start();
    };
    m_pictureTimer.setSingleShot(true);
    m_pictureTimer.setInterval(pictureMilliseconds);
    connect(&m_pictureTimer, &QTimer::timeout, this, &HistoryCommands::takePicture);
    connect(actions.olderText, &QAction::triggered, this, [this] { step(Direction::Older); });
    connect(actions.newerText, &QAction::triggered, this, [this] { step(Direction::Newer); });
}

// Only texts that drew are worth a step on the stage.
void HistoryCommands::step(Direction direction) {
    auto entries = History::read(m_console.history().file()).entries;
    const auto current = m_console.history().current();
    const auto isElsewhere = [&](const HistoryEntry& entry) {
        return entry.drew && entry.text() != m_console.engine().source() &&
               (direction == Direction::Older ? entry.number < current : entry.number > current);
    };
    if (direction == Direction::Older)
        std::ranges::reverse(entries);
    const auto found = std::ranges::find_if(entries, isElsewhere);
    if (found != entries.end())
        takeOver(*found);
    else
        m_notices.showInformation(direction == Direction::Older
                                      ? tr("There is no older text that drew")
                                      : tr("There is no newer text that drew"));
}

void HistoryCommands::goBack(std::uint64_t number) {
    const auto entries = History::read(m_console.history().file()).entries;
    const auto found = std::ranges::find(entries, number, &HistoryEntry::number);
    if (found != entries.end())
        takeOver(*found);
}

void HistoryCommands::takeOver(const HistoryEntry& entry) {
    m_console.history().revisit(entry.number);
    m_console.engine().offerSource(entry.text());
}

void HistoryCommands::takePicture() {
    if (m_drew == 0 || m_drew != m_console.history().current())
        return;
    const QImage picture = m_console.view().miniature(pictureSize);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    if (!picture.isNull() && picture.save(&buffer, "PNG"))
        m_console.history().notePicture(m_drew, std::as_bytes(std::span(bytes)));
}

} // namespace app
