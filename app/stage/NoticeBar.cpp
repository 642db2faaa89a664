// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/stage/NoticeBar.h"

#include <QHBoxLayout>
#include <QStyle>

namespace app {

static constexpr int informationMilliseconds = 6000;
static constexpr int widestText = 640;

NoticeBar::NoticeBar(QWidget* parent)
    : QFrame(parent), m_text(new QLabel), m_close(new QToolButton) {
    setObjectName("notice");
    m_text->setWordWrap(true);
    m_text->setTextFormat(Qt::PlainText);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_close->setText("\u2715");
    m_close->setAutoRaise(true);
    m_close->setAccessibleName(tr("Close the notice"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 8, 8, 8);
    row->addWidget(m_text, 1);
    row->addWidget(m_close, 0, Qt::AlignTop);
    connect(m_close, &QToolButton::clicked, this, &NoticeBar::dismiss);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &NoticeBar::dismiss);
    hide();
}

void NoticeBar::showError(const QString& text) {
    m_timer.stop();
    showText(text, true);
}

void NoticeBar::showInformation(const QString& text) {
    m_timer.start(informationMilliseconds);
    showText(text, false);
}

void NoticeBar::showText(const QString& text, bool error) {
    setProperty("error", error);
    style()->unpolish(this);
    style()->polish(this);
    m_text->setText(text);
    setAccessibleName(text);
    const int room = parentWidget()->width() - 32;
    const int wanted = m_text->fontMetrics().horizontalAdvance(text) + 72;
    setFixedWidth(std::max(120, std::min({room, wanted, widestText})));
    resize(width(), heightForWidth(width()));
    move((parentWidget()->width() - width()) / 2, top);
    m_pending = true;
    setVisible(!m_quiet);
    raise();
}

void NoticeBar::setQuiet(bool quiet) {
    m_quiet = quiet;
    setVisible(m_pending && !quiet);
}

void NoticeBar::withdraw(const QString& text) {
    if (m_pending && m_text->text() == text)
        dismiss();
}

void NoticeBar::dismiss() {
    m_pending = false;
    hide();
}

} // namespace app
