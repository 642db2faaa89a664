// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Shows why the program was stopped, if it was, and the compile log as it is, and leads from their
// positions to the source.
#pragma once

#include "app/panes/Problem.h"

#include <QPlainTextEdit>

#include <functional>
#include <string>

namespace app {

class LogPane final : public QPlainTextEdit {
public:
    using GoTo = std::function<void(SourcePosition)>;

    /// A click on a line with a position in the user's source, or Return on it, runs `goTo`.
    explicit LogPane(GoTo goTo);

    /// What there is to say about a program.
    struct Contents {
        const std::string& fault;   ///< stands above the log; empty when the program runs
        const std::string& log;     ///< its lines keep their own numbers
        const std::string& remarks; ///< what the compiler says beside it, below the log
        const std::string& source;
        starloom::BlankLead lead; ///< is added to the places that the lines lead to
    };
    void setLog(const Contents& contents);

    /// What the log says, in short.
    const std::vector<Problem>& problems() const { return m_problems; }

    QSize sizeHint() const override { return {600, 170}; }

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    std::optional<SourcePosition> positionAt(const QTextCursor& cursor) const;
    void goToPositionAt(const QTextCursor& cursor) const;
    void markPositions();

    const GoTo m_goTo;
    const int m_preludeLines;
    starloom::BlankLead m_lead;
    std::vector<Problem> m_problems;
};

} // namespace app
