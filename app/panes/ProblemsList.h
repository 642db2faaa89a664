// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What is wrong with the program, a line each. Takes no room while nothing is.
#pragma once

#include "app/panes/Problem.h"

#include <QListWidget>

#include <functional>
#include <vector>

namespace app {

class ProblemsList final : public QListWidget {
public:
    /// Gets the place of a problem that is clicked, or on which Return is pressed.
    using GoTo = std::function<void(SourcePosition)>;

    explicit ProblemsList(GoTo goTo);

    void setProblems(std::vector<Problem> problems);
    /// The place of the first problem that has one.
    std::optional<SourcePosition> firstPosition() const;
    bool hasErrors() const;
    /// Goes to the first problem that has a place, then to the one after it, and around.
    void goToNext();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

private:
    void goTo(int row);

    const GoTo m_goTo;
    std::vector<Problem> m_problems;
    int m_visited = -1;
};

} // namespace app
