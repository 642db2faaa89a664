// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The running program's text with line numbers, to look at. It is edited in the user's own editor.
#pragma once

#include "SL42/document/ProgramText.h"
#include "app/panes/LogPosition.h"

#include <QPlainTextEdit>

#include <string>

namespace app {

class SourcePane final : public QPlainTextEdit {
public:
    SourcePane();

    /// With the blank lines that stand before it in the user's file, so that its lines have the
    /// numbers that they have there.
    void setSource(const std::string& source, const starloom::BlankLead& lead);
    /// Scrolls to the place and marks its line until the source changes.
    void show(SourcePosition position);
    using QPlainTextEdit::show;

    QSize sizeHint() const override { return {460, 170}; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    class LineNumbers;

    int lineNumberWidth() const;
    void paintLineNumbers(QPaintEvent& event);

    LineNumbers* m_lineNumbers;
    int m_markedLine = 0;
};

} // namespace app
