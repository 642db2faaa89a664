// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs jobs in a process of their own, so that one which crashes or does not end is a result like
// any other.
#pragma once

#include <functional>
#include <string>

namespace fuzz {

/// Calls job(0) .. job(count - 1), one after the other, and report() in this process with what each
/// returned, or with how its process ended: "crash: ..." or, after `seconds`, "time-out". A process
/// that is lost is replaced. prepare() runs first in each. The calling process must not have other
/// threads.
void runIsolated(std::size_t count, int seconds, const std::function<void()>& prepare,
                 const std::function<std::string(std::size_t)>& job,
                 const std::function<void(std::size_t, const std::string&)>& report);

} // namespace fuzz
