// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/stage/NoticeBar.h"

#include <QHBoxLayout>
#include <QStyle>

#include <algorithm>
#include <utility>

namespace app {

static constexpr int informationMilliseconds = 6000;
static constexpr int offerMilliseconds = 12000;
static constexpr int widestText = 640;

NoticeBar::NoticeBar(QWidget* parent)
    : QFrame(parent), m_text(new QLabel), m_action(new QToolButton), m_close(new QToolButton) {
    setObjectName("notice");
    m_text->setWordWrap(true);
    m_text->setTextFormat(Qt::PlainText);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_close->setText("\u2715");
    m_close->setAutoRaise(true);
    m_close->setAccessibleName(tr("Close the notice"));
    m_action->setObjectName("offer");
    m_action->setFocusPolicy(Qt::NoFocus); // keys belong to the program
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 8, 8, 8);
    row->addWidget(m_text, 1);
    row->addWidget(m_action, 0, Qt::AlignTop);
    row->addWidget(m_close, 0, Qt::AlignTop);
    connect(m_close, &QToolButton::clicked, this, &NoticeBar::dismiss);
    connect(m_action, &QToolButton::clicked, this, [this] {
        const auto run = std::exchange(m_run, nullptr);
        dismiss(); // what is run may show the next one
        run();
    });
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &NoticeBar::dismiss);
    hide();
}

void NoticeBar::showError(const QString& text, const NoticeAction& action) {
    m_milliseconds = 0;
    showText(text, action, true);
}

void NoticeBar::showInformation(const QString& text, const NoticeAction& action) {
    m_milliseconds = action.label.isEmpty() ? informationMilliseconds : offerMilliseconds;
    showText(text, action, false);
}

void NoticeBar::showText(const QString& text, const NoticeAction& action, bool error) {
    setProperty("error", error);
    style()->unpolish(this);
    style()->polish(this);
    m_text->setText(text);
    setAccessibleName(text);
    m_run = action.run;
    m_action->setText(action.label);
    m_action->setVisible(!action.label.isEmpty());
    const int room = parentWidget()->width() - 32;
    const int wanted = m_text->fontMetrics().horizontalAdvance(text) + 72 +
                       (action.label.isEmpty() ? 0 : m_action->sizeHint().width() + 8);
    setFixedWidth(std::max(120, std::min({room, wanted, widestText})));
    resize(width(), heightForWidth(width()));
    move((parentWidget()->width() - width()) / 2, top);
    m_pending = true;
    showPending();
}

void NoticeBar::setQuiet(bool quiet) {
    m_quiet = quiet;
    showPending();
}

// The time of a notice begins when it can be read.
void NoticeBar::showPending() {
    const bool shown = m_pending && !m_quiet;
    setVisible(shown);
    if (shown)
        raise();
    if (shown && m_milliseconds > 0)
        m_timer.start(m_milliseconds);
    else
        m_timer.stop();
}

void NoticeBar::withdraw(const QString& text) {
    if (m_pending && m_text->text() == text)
        dismiss();
}

void NoticeBar::dismiss() {
    m_pending = false;
    showPending();
}

} // namespace app
