// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/LineDifference.h"

#include "platform/Lines.h"

#include <algorithm>
#include <optional>
#include <span>

namespace starloom {
namespace {

using Kind = DifferenceLine::Kind;
using Lines = std::span<const std::string_view>;

/// Lines removed and added, together. The time grows with the square.
constexpr int maxChanges = 1000;

void add(std::vector<DifferenceLine>& lines, Kind kind, Lines texts) {
    for (const std::string_view text : texts)
        lines.push_back({kind, std::string(text)});
}

/// The shortest way through the edit graph, where x counts lines of `from` and y those of `to`.
class EditGraph {
public:
    EditGraph(Lines from, Lines to) : m_from(from), m_to(to) {}

    /// None when more lines have changed than we care for.
    std::optional<std::vector<DifferenceLine>> shortestWay() {
        for (int changes = 0; changes <= maxChanges; ++changes)
            if (reaches(changes))
                return wayBack(changes);
        return std::nullopt;
    }

private:
    /// The furthest x on each diagonal x - y from -changes to changes.
    using Furthest = std::vector<int>;

    static int& at(Furthest& furthest, int diagonal) {
        const int index = diagonal + maxChanges + 1;
        return furthest[static_cast<std::size_t>(index)];
    }
    int fromSize() const { return static_cast<int>(m_from.size()); }
    int toSize() const { return static_cast<int>(m_to.size()); }

    static bool stepsDown(Furthest& before, int diagonal, int changes) {
        return diagonal == -changes ||
               (diagonal != changes && at(before, diagonal - 1) < at(before, diagonal + 1));
    }

    bool reaches(int changes) {
        m_furthest.push_back(m_furthest.empty() ? Furthest(2 * maxChanges + 3) : m_furthest.back());
        Furthest& furthest = m_furthest.back();
        for (int diagonal = -changes; diagonal <= changes; diagonal += 2) {
            int x = changes == 0                             ? 0
                    : stepsDown(furthest, diagonal, changes) ? at(furthest, diagonal + 1)
                                                             : at(furthest, diagonal - 1) + 1;
            while (x < fromSize() && x - diagonal < toSize() &&
                   m_from[static_cast<std::size_t>(x)] ==
                       m_to[static_cast<std::size_t>(x - diagonal)])
                ++x;
            at(furthest, diagonal) = x;
            if (x >= fromSize() && x - diagonal >= toSize())
                return true;
        }
        return false;
    }

    std::vector<DifferenceLine> wayBack(int changes) {
        std::vector<DifferenceLine> lines;
        int x = fromSize();
        int y = toSize();
        const auto common = [&](int until) {
            while (x > until)
                add(lines, Kind::Common, m_from.subspan(static_cast<std::size_t>(--x), 1)), --y;
        };
        for (; changes > 0; --changes) {
            Furthest& before = m_furthest[static_cast<std::size_t>(changes - 1)];
            const int diagonal = x - y;
            if (stepsDown(before, diagonal, changes)) {
                common(at(before, diagonal + 1));
                add(lines, Kind::Added, m_to.subspan(static_cast<std::size_t>(--y), 1));
            } else {
                common(at(before, diagonal - 1) + 1);
                add(lines, Kind::Removed, m_from.subspan(static_cast<std::size_t>(--x), 1));
            }
        }
        common(0);
        std::ranges::reverse(lines);
        return lines;
    }

    const Lines m_from;
    const Lines m_to;
    std::vector<Furthest> m_furthest; ///< by number of changes
};

} // namespace

std::vector<DifferenceLine> differenceOf(std::string_view from, std::string_view to) {
    const auto before = platform::linesOf(from);
    const auto after = platform::linesOf(to);
    const auto begin =
        static_cast<std::size_t>(std::ranges::mismatch(before, after).in1 - before.begin());
    const std::size_t room = std::min(before.size(), after.size()) - begin;
    std::size_t end = 0;
    while (end < room && before[before.size() - 1 - end] == after[after.size() - 1 - end])
        ++end;
    const Lines removed = Lines(before).subspan(begin, before.size() - begin - end);
    const Lines added = Lines(after).subspan(begin, after.size() - begin - end);

    std::vector<DifferenceLine> lines;
    add(lines, Kind::Common, Lines(before).first(begin));
    if (auto way = EditGraph(removed, added).shortestWay()) {
        lines.insert(lines.end(), way->begin(), way->end());
    } else {
        add(lines, Kind::Removed, removed);
        add(lines, Kind::Added, added);
    }
    add(lines, Kind::Common, Lines(before).last(end));
    return lines;
}

} // namespace starloom
