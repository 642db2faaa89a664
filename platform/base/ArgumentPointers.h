// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Words as the system wants them for a new program: its arguments or its environment.
#pragma once

#include <string>
#include <vector>

namespace platform {

/// With a null pointer at the end. Valid as long as the words are there and unchanged.
inline std::vector<char*> pointersTo(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace platform
