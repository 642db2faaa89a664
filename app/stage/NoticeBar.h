// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A line over the picture for what the person at the desk should know: a file that cannot be
// saved, an export that is done. It never asks for an answer and never takes the keyboard.
#pragma once

#include <QFrame>
#include <QLabel>
#include <QTimer>
#include <QToolButton>

namespace app {

class NoticeBar final : public QFrame {
public:
    /// Where it lies in its parent: below the badge.
    static constexpr int top = 46;

    explicit NoticeBar(QWidget* parent);

    /// Stays until it is closed or the next one comes.
    void showError(const QString& text);
    /// Goes by itself after a few seconds.
    void showInformation(const QString& text);
    /// Takes the notice with this text away, if it is the one that is there.
    void withdraw(const QString& text);
    /// While quiet, as during a performance, notices wait.
    void setQuiet(bool quiet);

private:
    void showText(const QString& text, bool error);
    void dismiss();

    QLabel* m_text;
    QToolButton* m_close;
    QTimer m_timer;
    bool m_pending = false;
    bool m_quiet = false;
};

} // namespace app
