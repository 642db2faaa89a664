// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/mutants/Mutator.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <utility>

namespace mutants {

using fuzz::Random;

namespace {

constexpr const char* numbers[] = {"0",
                                   "1",
                                   "-1",
                                   "2",
                                   "3",
                                   "31",
                                   "32",
                                   "33",
                                   "64",
                                   "255",
                                   "256",
                                   "65535",
                                   "65536",
                                   "1000000",
                                   "2147483647",
                                   "2147483648",
                                   "(-2147483647-1)",
                                   "4294967295u",
                                   "0x7fffffffffffffffl",
                                   "0.0",
                                   "-0.0",
                                   "1e30f",
                                   "1e-40f",
                                   "NAN",
                                   "INFINITY",
                                   "0.5h"};

/// Pointers made from integers, reads and writes by way of them, endless loops, wild recursion:
/// what changed tokens alone seldom come to.
/// Pointers made from integers, and reads by way of them: what changed tokens seldom come to.
constexpr const char* expressions[] = {
    " *(device uint*)(ulong)0",
    " *(device float*)(ulong)coords.x",
    " ((device uchar*)(0x200000000000ul))[7]",
    " *(device float*)(0x7fffffffe000ul)",
    " *(device int*)(-1l)",
    " memory[-1]",
    " memory[4000000000u]",
    " screenMemory[1 << 30].x",
    " int(*(device ulong*)(ulong(memory) + 1))",
    " (ulong)(device uchar*)memory",
    " as_type<float>(0x7fc00000)",
    " (1 / int(coords.x - coords.x))",
    " (1 << int(coords.y + 31))",
    " int(1e30f * coords.x)",
    " pix(coords - 1e9f).x",
    " sizeof(SL42)",
};

/// Writes where nothing is, loops without an end, recursion, and what is not of the language.
constexpr const char* statements[] = {
    " *(device uint*)(ulong)8 = 1;",
    " *(device float4*)(0x300000000000ul) = 1;",
    " ((device uchar*)memory)[4000000000u] = 1;",
    " ((device uchar*)memory)[int(coords.x) - 1] = 7;",
    " ((device float4*)screenMemory)[1 << 28] = 1;",
    " for (;;) {",
    " for (;;) {}",
    " while (coords.x >= 0) ;",
    " for (uint i = 0; i < 4000000000u; ++i) memory[i % 64] += 1;",
    " if (coords.x > 3)",
    " return;",
    " fx();",
    " cpu();",
    " int many[100000]; many[int(coords.x)] = 1; pix(many[int(coords.y)], coords);",
    " float a[4]; a[int(coords.x) * 1000000] = 2; pix(a[int(coords.y) - 3], coords);",
    " threadgroup_barrier(mem_flags::mem_device);",
    " atomic_fetch_add_explicit((device atomic_int*)memory, 1, memory_order_relaxed);",
    " switch (int(coords.x)) { case 0: case 3: break; default: }",
    " goto end;",
    " asm(\"hlt\");",
    " __builtin_trap();",
    " thread int& r = *(thread int*)nullptr; r = 1;",
    " thread int* p = (thread int*)0x7ffffffff000ul; *p = 1;",
    " template <int N> struct S { S<N + 1> s; };",
    "\n#define float half\n",
    "\n#include \"/etc/passwd\"\n",
    "\n#pragma pack(1)\n"};

constexpr const char* arithmetic[] = {"+", "-", "*", "/", "%", "&", "|", "^", "<<", ">>"};
constexpr const char* comparisons[] = {"<", ">", "<=", ">=", "==", "!="};

constexpr const char* signs[] = {
    "+",  "-",  "*",  "/",  "%",  "<",  ">",  "<=", ">=", "==", "!=", "&",  "|", "^", "<<",
    ">>", "&&", ",",  ";",  "=",  "+=", "-=", "?",  ":",  ".",  "->", "(",  ")", "{", "}",
    "[",  "]",  "[[", "]]", "++", "--", "~",  "!",  "::", "#",  "\\", "\"", "'"};

std::string_view withoutSpace(std::string_view token) {
    const auto first = token.find_first_not_of(" \t\n");
    return first == token.npos ? std::string_view() : token.substr(first);
}

bool isNumber(const std::string& token) {
    const auto text = withoutSpace(token);
    return !text.empty() && (std::isdigit(static_cast<unsigned char>(text[0])) != 0);
}

template <class Signs>
bool isOneOf(const Signs& group, const std::string& token) {
    return std::ranges::find(group, withoutSpace(token)) != std::end(group);
}

bool endsStatement(const std::string& token) {
    return token.ends_with(';');
}

bool isBracket(const std::string& token) {
    return token.find_first_of("()[]{}") != token.npos;
}

template <class Matches>
std::size_t placeOf(const std::vector<std::string>& tokens, Random& random,
                    const Matches& matches) {
    const std::size_t from = random.below(tokens.size());
    for (std::size_t i = 0; i < tokens.size(); ++i)
        if (matches(tokens[(from + i) % tokens.size()]))
            return (from + i) % tokens.size();
    return from;
}

auto placeIn(std::vector<std::string>& tokens, std::size_t index) {
    return tokens.begin() + static_cast<std::ptrdiff_t>(index);
}

/// A few tokens that follow each other.
std::pair<std::size_t, std::size_t> stretch(const std::vector<std::string>& tokens,
                                            Random& random) {
    const std::size_t first = random.below(tokens.size());
    const std::size_t count = random.percent(70) ? 1 : random.between(2, 12);
    return {first, std::min(first + count, tokens.size())};
}

std::size_t startOfLine(std::string_view text, Random& random) {
    const auto end = text.find('\n', random.below(text.size()));
    return end == text.npos ? text.size() : end + 1;
}

} // namespace

Mutator::Mutator(std::vector<std::string> programs) : m_programs(std::move(programs)) {
    for (const std::string& program : m_programs)
        m_tokens.push_back(tokensOf(program));
}

std::string Mutator::mutant(Random& random) const {
    std::string text = random.pick(m_programs);
    for (unsigned i = random.percent(50) ? 1 : random.between(2, 4); i > 0; --i)
        text = changed(text, random);
    return text;
}

std::string Mutator::changed(std::string_view text, Random& random) const {
    Tokens tokens = tokensOf(text);
    if (tokens.empty())
        return random.pick(m_programs);
    if (random.percent(5))
        return spliced(text, random);
    if (random.percent(70))
        changeMeaning(tokens, random);
    else
        changeForm(tokens, random);
    std::string result;
    for (const std::string& token : tokens)
        result += token;
    return result;
}

std::string Mutator::borrowedToken(Random& random) const {
    return random.pick(random.pick(m_tokens));
}

/// Lines of the text, and behind them lines of another one.
std::string Mutator::spliced(std::string_view text, Random& random) const {
    const std::string& other = random.pick(m_programs);
    return std::string(text.substr(0, startOfLine(text, random)))
        .append(other, startOfLine(other, random));
}

/// So that it often still compiles.
void Mutator::changeMeaning(Tokens& tokens, Random& random) {
    const auto replace = [&](const auto& matches, const auto& choices) {
        tokens[placeOf(tokens, random, matches)] = std::string(" ") + random.pick(choices);
    };
    switch (random.below(5)) {
    case 0:
        return replace(isNumber, numbers);
    case 1:
        return replace(isNumber, expressions);
    case 2:
        return replace([](const auto& token) { return isOneOf(arithmetic, token); }, arithmetic);
    case 3:
        return replace([](const auto& token) { return isOneOf(comparisons, token); }, comparisons);
    default:
        tokens.insert(placeIn(tokens, placeOf(tokens, random, endsStatement)) + 1,
                      random.pick(statements));
    }
}

/// So that it hardly ever compiles.
void Mutator::changeForm(Tokens& tokens, Random& random) const {
    const auto [first, last] = stretch(tokens, random);
    switch (random.below(7)) {
    case 0:
        tokens.erase(placeIn(tokens, first), placeIn(tokens, last));
        break;
    case 1: {
        const Tokens copy(placeIn(tokens, first), placeIn(tokens, last));
        tokens.insert(placeIn(tokens, first), copy.begin(), copy.end());
        break;
    }
    case 2:
        std::swap(tokens[first], tokens[random.below(tokens.size())]);
        break;
    case 3:
        tokens[first] = borrowedToken(random);
        break;
    case 4:
        tokens.insert(placeIn(tokens, first), borrowedToken(random));
        break;
    case 5:
        tokens.erase(placeIn(tokens, placeOf(tokens, random, isBracket)));
        break;
    default:
        tokens[first] = random.pick(signs);
    }
}

} // namespace mutants
