// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A small mark on the picture that says that something is wrong with the program, without taking
// anybody's eyes off the show.
#pragma once

#include <QLabel>

#include <functional>

namespace app {

class Badge final : public QLabel {
public:
    explicit Badge(QWidget* parent);

    /// What is wrong, in a few words; empty when all is well. A click on the badge runs `clicked`.
    void setProblem(const QString& problem);
    /// While quiet, as before an audience, it does not show.
    void setQuiet(bool quiet);
    void setClicked(std::function<void()> clicked) { m_clicked = std::move(clicked); }

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    std::function<void()> m_clicked;
    bool m_quiet = false;
};

} // namespace app
