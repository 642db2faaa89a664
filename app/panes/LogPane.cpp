// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/LogPane.h"

#include "SL42/builder/Assembly.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QTextBlock>

#include <algorithm>
#include <utility>

namespace app {

LogPane::LogPane(GoTo goTo)
    : m_goTo(std::move(goTo)), m_preludeLines(static_cast<int>(starloom::linesBeforeProgram())) {
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setLineWrapMode(NoWrap);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setTabChangesFocus(true);
    setAccessibleName(tr("Compile log"));
    setAccessibleDescription(tr("Return on a line with a position shows it in the source"));
    viewport()->setMouseTracking(true);
}

void LogPane::setLog(const Contents& contents) {
    m_lead = contents.lead;
    std::string log = contents.log;
    if (!contents.remarks.empty())
        log += (log.ends_with('\n') ? "" : "\n") + contents.remarks;
    m_problems = problemsIn(contents.fault, log, starloom::spanOf(contents.source), m_lead);
    setPlainText(
        QString::fromStdString(contents.fault.empty() ? log : contents.fault + "\n\n" + log));
    markPositions();
}

std::optional<SourcePosition> LogPane::positionAt(const QTextCursor& cursor) const {
    const auto position = positionIn(cursor.block().text().toStdString(), m_preludeLines);
    return position ? std::optional(inFile(*position, m_lead)) : std::nullopt;
}

void LogPane::goToPositionAt(const QTextCursor& cursor) const {
    if (const auto position = positionAt(cursor))
        m_goTo(*position);
}

// Colours the lines that can be clicked; the text stays as it is.
void LogPane::markPositions() {
    QList<QTextEdit::ExtraSelection> marks;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        QTextCursor cursor(block);
        if (!positionAt(cursor))
            continue;
        cursor.select(QTextCursor::LineUnderCursor);
        QTextEdit::ExtraSelection mark;
        mark.cursor = cursor;
        mark.format.setForeground(palette().brush(QPalette::Link));
        marks.append(mark);
    }
    setExtraSelections(marks);
}

void LogPane::mouseReleaseEvent(QMouseEvent* event) {
    QPlainTextEdit::mouseReleaseEvent(event);
    if (event->button() == Qt::LeftButton && !textCursor().hasSelection())
        goToPositionAt(cursorForPosition(event->pos()));
}

void LogPane::mouseMoveEvent(QMouseEvent* event) {
    QPlainTextEdit::mouseMoveEvent(event);
    const bool leads = positionAt(cursorForPosition(event->pos())).has_value();
    viewport()->setCursor(leads ? Qt::PointingHandCursor : Qt::IBeamCursor);
}

void LogPane::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        goToPositionAt(textCursor());
    else
        QPlainTextEdit::keyPressEvent(event);
}

} // namespace app
