// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A queue that keeps its memory: once it has been as long as it gets, it asks for no more.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace platform {

template <class T>
class Fifo {
public:
    bool empty() const { return m_count == 0; }
    std::size_t size() const { return m_count; }
    /// Counted from the oldest.
    T& operator[](std::size_t index) { return m_slots[place(index)]; }
    const T& operator[](std::size_t index) const { return m_slots[place(index)]; }
    T& front() { return (*this)[0]; }
    const T& front() const { return (*this)[0]; }

    void push(T&& item) { exchangeIn(item); }
    T pop() {
        T item{};
        exchangeOut(item);
        return item;
    }

    /// As push(); gives back what lay there, so that the memory of an item taken out long ago can
    /// be filled again.
    void exchangeIn(T& item) {
        if (m_count == m_slots.size())
            grow();
        std::swap(m_slots[place(m_count++)], item);
    }
    /// As pop(); leaves `item` for a later exchangeIn().
    void exchangeOut(T& item) {
        std::swap(front(), item);
        m_first = place(1);
        --m_count;
    }

private:
    std::size_t place(std::size_t index) const { return (m_first + index) % m_slots.size(); }
    void grow() {
        std::vector<T> larger(m_slots.empty() ? 8 : 2 * m_slots.size());
        for (std::size_t i = 0; i < m_count; ++i)
            larger[i] = std::move((*this)[i]);
        m_slots = std::move(larger);
        m_first = 0;
    }

    std::vector<T> m_slots;
    std::size_t m_first = 0;
    std::size_t m_count = 0;
};

} // namespace platform
