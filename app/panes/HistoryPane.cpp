// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/HistoryPane.h"

#include "SL42/document/LineDifference.h"

#include <QDateTime>
#include <QFontDatabase>
#include <QPixmap>
#include <QTextBlock>

#include <algorithm>
#include <utility>

namespace app {
namespace {

using starloom::HistoryEntry;
using Kind = starloom::DifferenceLine::Kind;

constexpr QSize pictureSize{96, 54};
constexpr int fillMilliseconds = 200;
/// Nobody looks further back by scrolling; the command line lists all.
constexpr std::size_t maxShown = 500;
constexpr int numberRole = Qt::UserRole;

QString timeOf(const HistoryEntry& entry) {
    const auto since = std::chrono::floor<std::chrono::milliseconds>(entry.time.time_since_epoch());
    const auto time = QDateTime::fromMSecsSinceEpoch(since.count());
    const bool today = time.date() == QDate::currentDate();
    return time.toString(today ? "HH:mm:ss" : "yyyy-MM-dd HH:mm:ss");
}

QTextCharFormat formatOf(Kind kind) {
    QTextCharFormat format;
    if (kind == Kind::Removed)
        format.setBackground(QColor(0x4a, 0x24, 0x28));
    else if (kind == Kind::Added)
        format.setBackground(QColor(0x1f, 0x40, 0x2c));
    return format;
}

QString signOf(Kind kind) {
    return kind == Kind::Removed ? "\u2212 " : kind == Kind::Added ? "+ " : "  ";
}

} // namespace

HistoryPane::HistoryPane(const starloom::SL42& console, const starloom::History& history)
    : m_console(console),
      m_history(history),
      m_list(new QListWidget),
      m_comparison(new QPlainTextEdit) {
    m_list->setIconSize(pictureSize);
    m_list->setAccessibleName(tr("History"));
    m_list->setAccessibleDescription(tr("Return on a text goes back to it"));
    m_comparison->setReadOnly(true);
    m_comparison->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_comparison->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_comparison->setAccessibleName(tr("Comparison with the present text"));
    m_comparison->setPlaceholderText(tr("Pick a text to see what has changed since"));
    m_comparison->setTabChangesFocus(true);
    addWidget(m_list);
    addWidget(m_comparison);
    setStretchFactor(1, 1);
    setChildrenCollapsible(false);
    connect(m_list, &QListWidget::currentItemChanged, this, &HistoryPane::compare);
    connect(m_list, &QListWidget::itemActivated, this, [this](const QListWidgetItem* item) {
        onGoBack(item->data(numberRole).toULongLong());
    });
    m_timer.setSingleShot(true);
    m_timer.setInterval(fillMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &HistoryPane::fill);
}

void HistoryPane::showEvent(QShowEvent* event) {
    QSplitter::showEvent(event);
    fill();
}

// The newest one stands first. What was picked stays picked.
void HistoryPane::fill() {
    if (!isVisible())
        return;
    const auto* picked = m_list->currentItem();
    const auto number = picked ? picked->data(numberRole).toULongLong() : 0;
    m_entries = starloom::History::read(m_history.file()).entries;
    std::ranges::reverse(m_entries);
    m_entries.resize(std::min(m_entries.size(), maxShown));
    const QSignalBlocker quiet(m_list);
    m_list->clear();
    for (const HistoryEntry& entry : m_entries) {
        m_list->addItem(makeItem(entry));
        if (entry.number == number)
            m_list->setCurrentRow(m_list->count() - 1);
    }
    compare();
}

// Decoding hundreds of pictures takes longer than a frame, so it is done once for each.
QIcon HistoryPane::iconOf(const HistoryEntry& entry) {
    if (const auto known = m_icons.find(entry.time); known != m_icons.end())
        return known->second;
    QPixmap picture(pictureSize);
    picture.fill(Qt::black);
    if (QPixmap kept; kept.loadFromData(reinterpret_cast<const uchar*>(entry.picture.data()),
                                        static_cast<uint>(entry.picture.size()), "PNG")) {
        picture = kept.scaled(pictureSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        m_icons[entry.time] = picture;
    }
    return picture;
}

QListWidgetItem* HistoryPane::makeItem(const HistoryEntry& entry) {
    auto* item = new QListWidgetItem(timeOf(entry) + "\n" + entry.outcome());
    item->setIcon(iconOf(entry));
    item->setData(numberRole, QVariant::fromValue(qulonglong{entry.number}));
    if (entry.number == m_history.current()) {
        QFont font = m_list->font();
        font.setBold(true);
        item->setFont(font);
        item->setToolTip(tr("On the stage now"));
    }
    return item;
}

void HistoryPane::compare() {
    m_comparison->clear();
    const int row = m_list->currentRow();
    if (row < 0 || static_cast<std::size_t>(row) >= m_entries.size())
        return;
    const auto lines =
        starloom::differenceOf(m_entries[static_cast<std::size_t>(row)].text(), m_console.source());
    QTextCursor cursor(m_comparison->document());
    cursor.beginEditBlock();
    int firstChange = -1;
    for (const auto& [kind, text] : lines) {
        if (cursor.position() > 0)
            cursor.insertBlock();
        if (kind != Kind::Common && firstChange < 0)
            firstChange = cursor.blockNumber();
        cursor.insertText(signOf(kind) + QString::fromStdString(text), formatOf(kind));
    }
    cursor.endEditBlock();
    m_comparison->setTextCursor(
        QTextCursor(m_comparison->document()->findBlockByNumber(std::max(0, firstChange))));
    m_comparison->centerCursor();
}

} // namespace app
