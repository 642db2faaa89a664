// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/backend/SourceLocations.h"

#include <algorithm>
#include <functional>

namespace compute {

/// A function that a thread is in, and the range of code within it.
struct SourceLocations::Frame {
    std::uint32_t function = LocationTable::none;
    LocationTable::Range range;
};

namespace {

/// The last element that begins at or before the offset; the end when there is none.
template <class T, class Begin>
auto lastBefore(const std::vector<T>& sorted, std::int64_t offset, Begin begin) {
    const auto after = std::ranges::upper_bound(
        sorted, offset, {}, [&](const T& t) -> std::int64_t { return std::invoke(begin, t); });
    return after == sorted.begin() ? sorted.end() : std::prev(after);
}

} // namespace

std::uint32_t SourceLocations::functionAt(std::int64_t offset) const {
    const auto found = lastBefore(m_table.functions, offset, std::identity());
    return found == m_table.functions.end()
               ? LocationTable::none
               : static_cast<std::uint32_t>(found - m_table.functions.begin());
}

bool SourceLocations::enter(std::int64_t offset, Frame& frame) const {
    const auto range = lastBefore(m_table.ranges, offset, &LocationTable::Range::offset);
    if (range == m_table.ranges.end() || std::next(range) == m_table.ranges.end())
        return false;
    frame = {functionAt(offset), *range};
    return true;
}

void SourceLocations::add(const Frame& frame, Stand& stand) const {
    if (stand.callCount == Stand::maxCalls)
        return;
    for (std::uint32_t loop = frame.range.loop; loop < m_table.loops.size();
         loop = m_table.loops[loop].parent)
        if (stand.loopCount < Stand::maxLoops)
            stand.loops[stand.loopCount++] = {loop, stand.callCount};
    stand.calls[stand.callCount++] = frame.range.lines;
}

const LocationTable::Return* SourceLocations::returnTo(std::uintptr_t address) const {
    const auto offset = static_cast<std::int64_t>(address - m_code);
    const auto found =
        std::ranges::lower_bound(m_table.returns, offset, {}, [](const LocationTable::Return& r) {
            return std::int64_t{r.offset};
        });
    return found != m_table.returns.end() && found->offset == offset ? &*found : nullptr;
}

bool SourceLocations::isCalled(std::uint32_t function) const {
    return std::ranges::find(m_table.returns, function, &LocationTable::Return::callee) !=
           m_table.returns.end();
}

// Generated code has no frame pointers. But a function's return address is on the stack, and hardly
// any other word there is an address behind a call of this very function.
bool SourceLocations::find(std::uintptr_t address, std::span<const std::uintptr_t> stack,
                           Stand& stand) const {
    stand.callCount = 0;
    stand.loopCount = 0;
    Frame frame;
    if (enter(static_cast<std::int64_t>(address - m_code), frame))
        add(frame, stand);
    bool isCallee = isCalled(frame.function);
    for (const std::uintptr_t word : stack) {
        if (!isCallee || stand.callCount == Stand::maxCalls)
            break;
        const LocationTable::Return* found = returnTo(word);
        if (found == nullptr || found->callee != frame.function)
            continue;
        if (!enter(found->offset - 1, frame))
            break;
        add(frame, stand);
        isCallee = isCalled(frame.function);
    }
    return stand.callCount > 0;
}

std::size_t SourceLocations::append(std::uint32_t list, std::span<std::uint32_t> lines) const {
    if (list >= m_table.listBegins.size())
        return 0;
    const std::size_t begin = m_table.listBegins[list];
    const std::size_t end =
        list + 1 < m_table.listBegins.size() ? m_table.listBegins[list + 1] : m_table.lines.size();
    const std::size_t count = std::min(end - begin, lines.size());
    std::copy_n(m_table.lines.begin() + static_cast<std::ptrdiff_t>(begin), count, lines.begin());
    return count;
}

std::size_t SourceLocations::appendCalls(const Stand& stand, std::size_t first,
                                         std::span<std::uint32_t> lines) const {
    std::size_t count = 0;
    for (std::size_t i = first; i < stand.callCount; ++i)
        count += append(stand.calls[i], lines.subspan(count));
    return count;
}

std::size_t SourceLocations::linesOf(const Stand& stand, std::span<std::uint32_t> lines) const {
    return appendCalls(stand, 0, lines);
}

std::size_t SourceLocations::linesOfLoop(const Stand& stand, std::size_t loop,
                                         std::span<std::uint32_t> lines) const {
    const Stand::Loop& found = stand.loops[loop];
    const std::size_t count = append(m_table.loops[found.number].lines, lines);
    return count + appendCalls(stand, found.call + 1, lines.subspan(count));
}

} // namespace compute
