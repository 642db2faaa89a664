// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Result carries a value or the reason why there is none, for failures that a caller can handle.
// Faults of the machine that nobody can handle go through platform/base/Fatal.h instead.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace platform {

/// A failure in words that can be shown to a person as they stand.
struct Error {
    std::string message;
};

/// Either a value of type T or an E. Reading the one that is not there is a programming fault and
/// ends the program.
template <class T, class E = Error>
class [[nodiscard]] Result {
public:
    // Implicit on purpose, so that `return value;` and `return Error{...};` both read naturally.
    Result(T value) : m_state(std::in_place_index<0>, std::move(value)) {}
    Result(E error) : m_state(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return m_state.index() == 0; }
    bool hasValue() const { return m_state.index() == 0; }

    T& value() & { return std::get<0>(m_state); }
    const T& value() const& { return std::get<0>(m_state); }
    T&& value() && { return std::move(std::get<0>(m_state)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T&& operator*() && { return std::move(*this).value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    E& error() & { return std::get<1>(m_state); }
    const E& error() const& { return std::get<1>(m_state); }
    E&& error() && { return std::move(std::get<1>(m_state)); }

private:
    std::variant<T, E> m_state;
};

/// Success without a value, or an E.
template <class E>
class [[nodiscard]] Result<void, E> {
public:
    Result() = default;
    Result(E error) : m_error(std::move(error)) {}

    explicit operator bool() const { return !m_error; }
    bool hasValue() const { return !m_error; }
    E& error() & { return m_error.value(); }              // NOLINT: value() checks
    const E& error() const& { return m_error.value(); }   // NOLINT: value() checks
    E&& error() && { return std::move(m_error).value(); } // NOLINT: value() checks

private:
    std::optional<E> m_error;
};

} // namespace platform

/// Evaluates to the value of a Result, or returns its error from the enclosing function.
/// (A statement expression, which both compilers that we build with have.)
#define SL42_TRY(expression)                                                                       \
    __extension__({                                                                                \
        auto&& tried = (expression);                                                               \
        if (!tried)                                                                                \
            return std::move(tried).error();                                                       \
        std::move(tried).value();                                                                  \
    })

/// The same for a Result<void>.
#define SL42_TRY_VOID(expression)                                                                  \
    do {                                                                                           \
        auto&& tried = (expression);                                                               \
        if (!tried)                                                                                \
            return std::move(tried).error();                                                       \
    } while (false)
