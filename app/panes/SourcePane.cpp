// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/SourcePane.h"

#include <QFontDatabase>
#include <QPaintEvent>
#include <QPainter>
#include <QTextBlock>

#include <algorithm>

namespace app {

class SourcePane::LineNumbers final : public QWidget {
public:
    explicit LineNumbers(SourcePane& pane) : QWidget(&pane), m_pane(pane) {}

protected:
    void paintEvent(QPaintEvent* event) override { m_pane.paintLineNumbers(*event); }

private:
    SourcePane& m_pane;
};

static constexpr int numberPadding = 8;

SourcePane::SourcePane() : m_lineNumbers(new LineNumbers(*this)) {
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setLineWrapMode(NoWrap);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setTabStopDistance(4 * fontMetrics().horizontalAdvance(' '));
    setTabChangesFocus(true);
    setAccessibleName(tr("Source"));
    connect(this, &QPlainTextEdit::updateRequest, m_lineNumbers,
            [this] { m_lineNumbers->update(); });
    connect(this, &QPlainTextEdit::blockCountChanged, m_lineNumbers,
            [this] { setViewportMargins(lineNumberWidth(), 0, 0, 0); });
    setViewportMargins(lineNumberWidth(), 0, 0, 0);
}

void SourcePane::setSource(const std::string& source, const starloom::BlankLead& lead) {
    m_markedLine = 0;
    setExtraSelections({});
    setPlainText(QString(lead.lines, '\n') + QString(lead.columns, ' ') +
                 QString::fromStdString(source));
}

void SourcePane::show(SourcePosition position) {
    const QTextBlock block = document()->findBlockByNumber(position.line - 1);
    if (!block.isValid())
        return;
    m_markedLine = position.line;
    QTextCursor cursor(block);
    // The compiler counts bytes, the cursor characters.
    const QByteArray before = block.text().toUtf8().left(position.column - 1);
    cursor.movePosition(QTextCursor::Right, QTextCursor::MoveAnchor,
                        static_cast<int>(QString::fromUtf8(before).size()));
    setTextCursor(cursor);
    centerCursor();
    QTextEdit::ExtraSelection mark;
    mark.cursor = cursor;
    mark.format.setProperty(QTextFormat::FullWidthSelection, true);
    mark.format.setBackground(QColor(0x5a, 0x2a, 0x2e));
    setExtraSelections({mark});
    m_lineNumbers->update();
}

int SourcePane::lineNumberWidth() const {
    const auto digits = QString::number(std::max(blockCount(), 99)).size();
    return static_cast<int>(digits) * fontMetrics().horizontalAdvance('9') + 2 * numberPadding;
}

void SourcePane::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    const QRect area = contentsRect();
    m_lineNumbers->setGeometry(area.left(), area.top(), lineNumberWidth(), area.height());
}

void SourcePane::paintLineNumbers(QPaintEvent& event) {
    QPainter painter(m_lineNumbers);
    painter.setFont(font());
    painter.fillRect(event.rect(), palette().base().color().darker(112));
    const int width = m_lineNumbers->width() - numberPadding;
    const int height = fontMetrics().height();
    double top = blockBoundingGeometry(firstVisibleBlock()).translated(contentOffset()).top();
    for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
        if (top > event.rect().bottom())
            break;
        const int number = block.blockNumber() + 1;
        painter.setPen(number == m_markedLine
                           ? palette().text().color()
                           : palette().color(QPalette::Disabled, QPalette::Text));
        painter.drawText(0, static_cast<int>(top), width, height, Qt::AlignRight,
                         QString::number(number));
        top += blockBoundingRect(block).height();
    }
}

} // namespace app
