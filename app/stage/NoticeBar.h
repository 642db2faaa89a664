// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A line over the picture for what the person at the desk should know: a file that cannot be
// saved, an export that is done. It may offer one thing to do about it, but never asks for an
// answer and never takes the keyboard.
#pragma once

#include <QFrame>
#include <QLabel>
#include <QTimer>
#include <QToolButton>

#include <functional>

namespace app {

/// What a notice offers, as a button: a few words, and what pressing it does. The notice goes then.
struct NoticeAction {
    QString label; ///< empty for a notice that offers nothing
    std::function<void()> run = nullptr;
};

class NoticeBar final : public QFrame {
public:
    /// Where it lies in its parent: below the badge.
    static constexpr int top = 46;

    explicit NoticeBar(QWidget* parent);

    /// Stays until it is closed or the next one comes.
    void showError(const QString& text, const NoticeAction& action = {});
    /// Goes by itself after some seconds in which it could be read; later when it offers something.
    void showInformation(const QString& text, const NoticeAction& action = {});
    /// Takes the notice with this text away, if it is the one that is there.
    void withdraw(const QString& text);
    /// While quiet, as during a performance, notices wait.
    void setQuiet(bool quiet);

private:
    void showText(const QString& text, const NoticeAction& action, bool error);
    void showPending();
    void dismiss();

    QLabel* m_text;
    QToolButton* m_action;
    QToolButton* m_close;
    std::function<void()> m_run;
    QTimer m_timer;
    int m_milliseconds = 0; ///< until it goes by itself; 0 for never
    bool m_pending = false;
    bool m_quiet = false;
};

} // namespace app
