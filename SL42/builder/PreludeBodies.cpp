// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/PreludeBodies.h"

#include "SL42/prelude/ShaderStrings.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <unordered_set>
#include <vector>

namespace starloom {
namespace {

bool isWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

/// The words and signs of the prelude one after the other, without comments.
class Tokens {
public:
    explicit Tokens(std::string_view text, std::size_t begin = 0) : m_text(text), m_at(begin) {}

    /// Empty at the end.
    std::string_view next() {
        while (m_at < m_text.size()) {
            const std::size_t begin = m_at;
            if (m_text.substr(begin).starts_with("//")) {
                m_at = std::min(m_text.find('\n', begin), m_text.size());
            } else if (isWord(m_text[begin])) {
                m_at = static_cast<std::size_t>(
                    std::find_if_not(m_text.begin() + static_cast<std::ptrdiff_t>(begin),
                                     m_text.end(), isWord) -
                    m_text.begin());
                return m_text.substr(begin, m_at - begin);
            } else {
                ++m_at;
                if (std::isspace(static_cast<unsigned char>(m_text[begin])) == 0)
                    return m_text.substr(begin, 1);
            }
        }
        return {};
    }
    std::size_t position() const { return m_at; }

private:
    std::string_view m_text;
    std::size_t m_at;
};

using Words = std::unordered_set<std::string_view>;

void addWords(std::string_view text, Words& words) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = at;
        while (at < text.size() && isWord(text[at]))
            ++at;
        if (at > begin)
            words.insert(text.substr(begin, at - begin));
        else
            ++at;
    }
}

/// A function of the machine class. Overloads are functions of their own.
struct Function {
    std::string_view name;
    std::size_t begin; ///< of the body, with its braces
    std::size_t end;
    Words words; ///< of the body
};

/// Reads the declarations of a class, whose functions all end in a body.
class FunctionList {
public:
    explicit FunctionList(std::string_view prelude) : m_prelude(prelude) {
        constexpr std::string_view opening = "class SL42 {";
        Tokens tokens(prelude, prelude.find(opening) + opening.size());
        std::string_view previous;
        for (std::string_view token; !(token = tokens.next()).empty(); previous = token) {
            if (token == "(" && m_parentheses++ == 0)
                m_name = previous;
            else if (token == ")")
                --m_parentheses;
            else if (token == "{")
                readBraces(tokens, previous == ")");
            else if (token == ";")
                m_name = {};
        }
    }

    std::vector<Function> take() { return std::move(m_functions); }

private:
    void readBraces(Tokens& tokens, bool isBody) {
        const std::size_t begin = tokens.position() - 1;
        for (int depth = 1; depth > 0;) {
            const std::string_view token = tokens.next();
            if (token.empty())
                return;
            depth += token == "{" ? 1 : 0;
            depth -= token == "}" ? 1 : 0;
        }
        if (!isBody)
            return;
        Function function{
            .name = m_name, .begin = begin, .end = tokens.position(), .words = Words()};
        addWords(m_prelude.substr(begin, function.end - begin), function.words);
        m_functions.push_back(std::move(function));
    }

    std::string_view m_prelude;
    std::vector<Function> m_functions;
    std::string_view m_name;
    int m_parentheses = 0;
};

/// Macros can put a name together from pieces, and a backslash can stand within one.
bool mayHideNames(std::string_view text) {
    for (const char* sign : {"##", "%:%:"})
        if (text.find(sign) != text.npos)
            return true;
    for (auto at = text.find('\\', 1); at != text.npos; at = text.find('\\', at + 1))
        if (isWord(text[at - 1]))
            return true;
    return false;
}

/// Which of the functions a text can call that holds `words`.
std::vector<bool> findCallable(const std::vector<Function>& functions, Words words) {
    std::vector<bool> callable(functions.size());
    for (bool isDone = false; !isDone;) {
        isDone = true;
        for (std::size_t i = 0; i < functions.size(); ++i) {
            if (callable[i] || !words.contains(functions[i].name))
                continue;
            callable[i] = true;
            isDone = false;
            words.insert(functions[i].words.begin(), functions[i].words.end());
        }
    }
    return callable;
}

} // namespace

std::string preludeFor(std::string_view rest) {
    const std::string& prelude = SharedShaderStrings::standardProcessingHeader();
    static const std::vector<Function> functions = FunctionList(prelude).take();
    if (mayHideNames(rest))
        return prelude;
    Words words;
    addWords(rest, words);
    const std::vector<bool> callable = findCallable(functions, std::move(words));
    std::string text;
    text.reserve(prelude.size());
    std::size_t copied = 0;
    for (std::size_t i = 0; i < functions.size(); ++i) {
        if (callable[i])
            continue;
        const auto& [name, begin, end, inBody] = functions[i];
        const std::string_view body = std::string_view(prelude).substr(begin, end - begin);
        text.append(prelude, copied, begin - copied).append(";");
        text.append(static_cast<std::size_t>(std::ranges::count(body, '\n')), '\n');
        copied = end;
    }
    return text.append(prelude, copied);
}

} // namespace starloom
