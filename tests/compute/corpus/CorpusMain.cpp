// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs programs of the shading language for corpus.py, one after the other, as its lines on
// standard input say:
//
//     file PATH                                        begins a program
//     constant INDEX TYPE BYTES                        a function constant; bytes in hexadecimal
//     buffer INDEX BYTES
//     texture INDEX KIND FORMAT WIDTH HEIGHT DEPTH LEVELS BYTES
//     sampler INDEX FILTER ADDRESS
//     argument_buffer INDEX MEMBER...                  bytes, or @N for a pointer to buffer N
//     run NAME WIDTH HEIGHT DEPTH WIDTH HEIGHT DEPTH   grid, threadgroup; "-": the first kernel
//     go WIDTH...                                      runs all of that at these SIMD widths
//
// The answer to "go" is, for each width, "width N" and then "error TEXT" (line ends as \n) or a
// line "buffer INDEX BYTES" or "texture INDEX BYTES" for each of them; and after all widths "done".
#include "tests/compute/corpus/Session.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <sstream>

namespace {

using corpus::Bytes;

constexpr std::string_view digits = "0123456789abcdef";

Bytes bytesOf(const std::string& text) {
    Bytes result(text.size() / 2);
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] =
            static_cast<std::byte>(digits.find(text[2 * i]) * 16 + digits.find(text[2 * i + 1]));
    return result;
}

Bytes bytesFrom(std::istream& words) {
    std::string text;
    words >> text;
    return bytesOf(text);
}

std::string textOf(const Bytes& bytes) {
    std::string result;
    result.reserve(2 * bytes.size());
    for (const std::byte b : bytes) {
        result += digits[static_cast<unsigned>(b) >> 4];
        result += digits[static_cast<unsigned>(b) & 15];
    }
    return result;
}

std::string onOneLine(const std::string& text) {
    std::string result;
    for (const char c : text)
        result += c == '\n' ? std::string("\\n") : std::string(1, c);
    return result;
}

compute::ConstantValue constantFrom(std::istream& words) {
    compute::ConstantValue result;
    std::string type;
    words >> type;
    for (int i = 0; i <= static_cast<int>(compute::DataType::Float4); ++i)
        if (type == nameOf(static_cast<compute::DataType>(i)))
            result.type = static_cast<compute::DataType>(i);
    const Bytes value = bytesFrom(words);
    for (std::size_t i = 0; i < std::min(value.size(), result.bytes.size()); ++i)
        result.bytes[i] = value[i];
    return result;
}

corpus::Image imageFrom(std::istream& words) {
    constexpr std::array<std::string_view, 12> names{
        "r8unorm", "rg8unorm",  "rgba8unorm", "rgba16float", "rgba32float", "depth32float",
        "r8uint",  "rgba8uint", "r32uint",    "r32sint",     "rgba32uint",  "rgba32sint"};
    corpus::Image image;
    std::string format;
    words >> image.kind >> format >> image.size.width >> image.size.height >> image.size.depth >>
        image.levels;
    const auto found = std::ranges::find(names, format);
    if (found == names.end())
        image.kind += " of " + format;
    else
        image.format = static_cast<compute::PixelFormat>(found - names.begin());
    image.pixels = bytesFrom(words);
    return image;
}

compute::SamplerRecord samplerFrom(std::istream& words) {
    constexpr std::array<std::string_view, 5> modes{"clamp_to_zero", "clamp_to_edge", "repeat",
                                                    "mirrored_repeat", "clamp_to_border"};
    std::string filter;
    std::string address;
    words >> filter >> address;
    compute::Sampler s;
    s.minFilter = s.magFilter =
        filter == "linear" ? compute::Filter::Linear : compute::Filter::Nearest;
    const auto mode =
        static_cast<compute::AddressMode>(std::ranges::find(modes, address) - modes.begin());
    s.sAddress = s.tAddress = s.rAddress = mode;
    return recordOf(s);
}

/// "@3" is a pointer to buffer 3.
std::vector<corpus::Member> membersFrom(std::istream& words) {
    std::vector<corpus::Member> result;
    for (std::string word; words >> word;)
        if (word[0] == '@')
            result.push_back({static_cast<std::uint32_t>(std::stoul(word.substr(1))), {}});
        else
            result.push_back({std::nullopt, bytesOf(word)});
    return result;
}

corpus::Dispatch dispatchFrom(std::istream& words) {
    corpus::Dispatch d;
    words >> d.kernel >> d.grid.width >> d.grid.height >> d.grid.depth >> d.group.width >>
        d.group.height >> d.group.depth;
    if (d.kernel == "-")
        d.kernel.clear();
    return d;
}

void show(const platform::Result<corpus::Outcome>& outcome) {
    if (!outcome) {
        std::cout << "error " << onOneLine(outcome.error().message) << "\n";
        return;
    }
    for (const auto& [index, bytes] : outcome->buffers)
        std::cout << "buffer " << index << " " << textOf(bytes) << "\n";
    for (const auto& [index, bytes] : outcome->images)
        std::cout << "texture " << index << " " << textOf(bytes) << "\n";
}

void run(corpus::Job job, std::istream& widths) {
    const auto session = corpus::Session::create(std::move(job));
    for (unsigned width = 0; widths >> width;) {
        std::cout << "width " << width << "\n";
        show(session ? session->run(width) : platform::Result<corpus::Outcome>(session.error()));
    }
    std::cout << "done" << std::endl;
}

} // namespace

int main() {
    compute::metal::warmUp();
    corpus::Job job;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string word;
        std::uint32_t index = 0;
        words >> word;
        if (word == "file")
            words >> job.file;
        else if (word == "constant" && words >> index)
            job.constants[index] = constantFrom(words);
        else if (word == "buffer" && words >> index)
            job.buffers[index] = bytesFrom(words);
        else if (word == "texture" && words >> index)
            job.images[index] = imageFrom(words);
        else if (word == "run")
            job.dispatches.push_back(dispatchFrom(words));
        else if (word == "sampler" && words >> index)
            job.samplers[index] = samplerFrom(words);
        else if (word == "argument_buffer" && words >> index)
            job.argumentBuffers[index] = membersFrom(words);
        else if (word == "go")
            run(std::exchange(job, {}), words);
    }
}
