// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/ProblemsList.h"

#include <algorithm>
#include <utility>

namespace app {

static constexpr int maxRows = 5;
static constexpr QColor errorColour(0xff, 0xb4, 0xa8);
static constexpr QColor warningColour(0xe8, 0xa9, 0x6a);

ProblemsList::ProblemsList(GoTo goTo) : m_goTo(std::move(goTo)) {
    setAccessibleName(tr("Problems"));
    setAccessibleDescription(tr("Return on a problem shows its place in the source"));
    setTextElideMode(Qt::ElideRight);
    setUniformItemSizes(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { this->goTo(row(item)); });
    connect(this, &QListWidget::itemActivated, this,
            [this](QListWidgetItem* item) { this->goTo(row(item)); });
    hide();
}

void ProblemsList::setProblems(std::vector<Problem> problems) {
    if (problems == m_problems)
        return;
    m_problems = std::move(problems);
    m_visited = -1;
    clear();
    for (const auto& [severity, position, message] : m_problems) {
        const QString place =
            position ? QString("%1:%2  ").arg(position->line).arg(position->column) : QString();
        auto* item = new QListWidgetItem(place + QString::fromStdString(message), this);
        item->setForeground(severity == Problem::Severity::Error ? errorColour : warningColour);
        item->setToolTip(QString::fromStdString(message));
    }
    setVisible(!m_problems.empty());
    updateGeometry();
}

std::optional<SourcePosition> ProblemsList::firstPosition() const {
    const auto found = std::ranges::find_if(
        m_problems, [](const Problem& problem) { return problem.position.has_value(); });
    return found == m_problems.end() ? std::nullopt : found->position;
}

bool ProblemsList::hasErrors() const {
    return std::ranges::any_of(m_problems, [](const Problem& problem) {
        return problem.severity == Problem::Severity::Error;
    });
}

void ProblemsList::goToNext() {
    const int size = count();
    for (int step = 1; step <= size; ++step) {
        const int row = (m_visited + step) % size;
        if (m_problems[static_cast<std::size_t>(row)].position)
            return goTo(row);
    }
}

void ProblemsList::goTo(int row) {
    m_visited = row;
    setCurrentRow(row);
    if (const auto& position = m_problems[static_cast<std::size_t>(row)].position)
        m_goTo(*position);
}

QSize ProblemsList::sizeHint() const {
    const int rows = std::clamp(count(), 1, maxRows);
    return {400, rows * std::max(sizeHintForRow(0), fontMetrics().height()) + 2 * frameWidth()};
}

} // namespace app
