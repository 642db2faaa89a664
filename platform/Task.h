// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Something to be done once, on another thread or later. It lies in the object itself, so that
// handing it over takes no memory; what captures too much for that does not compile.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace platform {

/// Moves, and then leaves nothing behind; never copies.
class Task {
public:
    /// Bytes of captures that fit.
    static constexpr std::size_t capacity = 128;

    /// Nothing to be done.
    Task() = default;
    template <class Work>
        requires(!std::same_as<std::decay_t<Work>, Task> && std::invocable<std::decay_t<Work>&>)
    Task(Work&& work) : m_operations(&operationsOf<std::decay_t<Work>>) {
        using Stored = std::decay_t<Work>;
        static_assert(sizeof(Stored) <= capacity && alignof(Stored) <= alignof(std::max_align_t) &&
                      std::is_nothrow_move_constructible_v<Stored>);
        std::construct_at(reinterpret_cast<Stored*>(m_place.data()), std::forward<Work>(work));
    }
    Task(Task&& other) noexcept { takeFrom(other); }
    Task& operator=(Task&& other) noexcept {
        if (this != &other) {
            clear();
            takeFrom(other);
        }
        return *this;
    }
    ~Task() { clear(); }

    /// There must be something to be done.
    void operator()() { m_operations->run(m_place.data()); }

private:
    struct Operations {
        void (*run)(std::byte* work);
        void (*move)(std::byte* work, std::byte* to) noexcept; ///< and destroy the first
        void (*destroy)(std::byte* work) noexcept;
    };
    template <class Stored>
    static Stored& in(std::byte* place) {
        return *std::launder(reinterpret_cast<Stored*>(place));
    }
    template <class Stored>
    static constexpr Operations operationsOf = {
        [](std::byte* work) { in<Stored>(work)(); },
        [](std::byte* work, std::byte* to) noexcept {
            std::construct_at(reinterpret_cast<Stored*>(to), std::move(in<Stored>(work)));
            std::destroy_at(&in<Stored>(work));
        },
        [](std::byte* work) noexcept { std::destroy_at(&in<Stored>(work)); }};

    void takeFrom(Task& other) noexcept {
        m_operations = std::exchange(other.m_operations, nullptr);
        if (m_operations != nullptr)
            m_operations->move(other.m_place.data(), m_place.data());
    }
    void clear() noexcept {
        if (m_operations != nullptr)
            std::exchange(m_operations, nullptr)->destroy(m_place.data());
    }

    const Operations* m_operations = nullptr;
    alignas(std::max_align_t) std::array<std::byte, capacity> m_place;
};

} // namespace platform
