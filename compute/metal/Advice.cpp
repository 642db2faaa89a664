// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Advice.h"

#include "compute/metal/AddressSpaces.h"
#include "compute/metal/ForeignNames.h"

#include <clang/Basic/DiagnosticLex.h>
#include <clang/Basic/DiagnosticParse.h>
#include <clang/Basic/DiagnosticSema.h>

#include <array>
#include <optional>
#include <regex>
#include <string_view>

namespace compute::metal {
namespace {

constexpr const char* liveInMemory =
    "; a value that changes lives in memory, with poke32 and peek32";

/// The texts in quotation marks, in their order.
std::vector<std::string> quotedIn(const std::string& message) {
    std::vector<std::string> texts;
    for (std::size_t begin = message.find('\''); begin != message.npos;) {
        const auto end = message.find('\'', begin + 1);
        if (end == message.npos)
            break;
        texts.push_back(message.substr(begin + 1, end - begin - 1));
        begin = message.find('\'', end + 1);
    }
    return texts;
}

std::string firstQuotedIn(const std::string& message) {
    const auto texts = quotedIn(message);
    return texts.empty() ? std::string() : texts.front();
}

bool isWordCharacter(char c) {
    return llvm::isAlnum(c) || c == '_';
}

llvm::StringRef wordAt(llvm::StringRef text) {
    return text.take_while(isWordCharacter);
}

/// A vector type by its name: float and 3 of float3.
struct Vector {
    std::string element;
    char count = '1';
};

std::optional<Vector> vectorOf(const std::string& type) {
    static const std::regex vector(
        "(float|half|int|uint|short|ushort|char|uchar|long|ulong|bool)([234]?)");
    std::smatch found;
    if (!std::regex_match(type, found, vector))
        return std::nullopt;
    return Vector{found[1], found[2].length() == 0 ? '1' : found[2].str()[0]};
}

// A picture that is read is named behind the function that reads it.
std::string unknownName(const std::string& message, const SourceText& source) {
    const std::string name = firstQuotedIn(message);
    for (const llvm::StringRef function : {"texture2D(", "texture(", "tex2D("})
        if (const auto at = source.before.rfind(function);
            at != llvm::StringRef::npos && !source.before.drop_front(at).contains(')'))
            if (auto explanation = explainForeignName(std::string_view(function.drop_back())))
                return *std::move(explanation);
    if (auto explanation = explainForeignName(name))
        return *std::move(explanation);
    if (const auto inside = message.find("; did you mean '__sl42"); inside != message.npos)
        return message.substr(0, inside);
    const llvm::StringRef behind = source.from.drop_front(wordAt(source.from).size()).ltrim(" \t");
    const bool isParameter =
        source.before.rtrim(" \t").ends_with("(") || source.before.rtrim(" \t").ends_with(",");
    if (llvm::StringRef(message).starts_with("unknown type name") && isParameter &&
        (behind.starts_with(")") || behind.starts_with(",")))
        return "'" + name + "' needs a type in front of it, as in 'float " + name + "'";
    return message;
}

/// Columns and rows of a matrix type.
struct Matrix {
    int columns = 0;
    int rows = 0;
};

std::optional<Matrix> matrixOf(const std::string& type) {
    static const std::regex matrix("(?:float|half)([234])x([234])");
    std::smatch found;
    if (!std::regex_match(type, found, matrix))
        return std::nullopt;
    return Matrix{found[1].str()[0] - '0', found[2].str()[0] - '0'};
}

std::string wrongComponents(const std::string& message, const SourceText& source) {
    for (const std::string& type : quotedIn(message)) {
        if (const auto vector = vectorOf(type); vector && vector->count != '1')
            return "'" + type + "' is made of one number or of parts that have " + vector->count +
                   " components together";
        if (const auto matrix = matrixOf(type))
            return "'" + type + "' is made of one number for its diagonal, of its " +
                   std::to_string(matrix->columns) + " columns, or of " +
                   std::to_string(matrix->columns * matrix->rows) + " numbers";
        if (type == wordAt(source.from))
            return message + "; a struct without a constructor is filled in braces, as in " + type +
                   "{...}";
    }
    return message;
}

bool hasFloat(const std::string& message) {
    return message.find("'float") != message.npos || message.find("'half") != message.npos;
}

std::string wrongOperands(std::string message, const SourceText& source) {
    // A number with a point is of a type that programs cannot name.
    for (auto at = message.find("'double'"); at != message.npos; at = message.find("'double'"))
        message.replace(at, 8, "'float'");
    const llvm::StringRef from = source.from;
    if (message.find("'const char") != message.npos)
        return "texts cannot be joined, compared or computed with; print them one after the other";
    if (from.starts_with("%") && hasFloat(message))
        return "'%' is for whole numbers; write fmod(a, b) for the remainder of these";
    if (from.starts_with("^") && hasFloat(message))
        return "'^' is for whole numbers; write pow(a, b) for a power";
    for (const llvm::StringRef sign : {"&", "|", "<<", ">>"})
        if (from.starts_with(sign) && hasFloat(message))
            return "'" + sign.str() + "' is for whole numbers, and here are floating-point ones";
    static const std::regex matrix("'(?:float|half)([234])x([234])'");
    if (from.starts_with("*") && std::regex_search(message, matrix))
        return message + "; a matrix times a vector needs as many components as the matrix has "
                         "columns, and a vector times a matrix as many as it has rows";
    const auto types = quotedIn(message);
    if (types.size() == 2) {
        const auto left = vectorOf(types[0]);
        const auto right = vectorOf(types[1]);
        if (left && right && left->element == right->element && left->count != right->count)
            return message + "; both must have the same number of components";
        if (left && right && left->count == right->count)
            return message + "; convert one of them, as in " + types[0] + "(...)";
    }
    return message;
}

std::string wrongCondition(const std::string& message) {
    const std::string type = firstQuotedIn(message);
    if (!type.starts_with("bool") || type == "bool")
        return message;
    return "a condition is one bool, and this is a '" + type +
           "'; write select(b, a, condition) to choose by component, or any(...) or all(...)";
}

std::string noMember(const std::string& message, const SourceText& source) {
    const auto names = quotedIn(message);
    if (names.size() < 2)
        return message;
    const auto vector = vectorOf(names[1]);
    if (matrixOf(names[1]))
        return "a '" + names[1] + "' has no '" + names[0] +
               "'; m[0] is its first column, and m[0].x a number";
    if (!vector) { // a class by its name alone
        const auto scope = names[1].rfind("::");
        return scope == names[1].npos
                   ? message
                   : std::regex_replace(message, std::regex(R"('\w[\w:]*::)"), "'");
    }
    const llvm::StringRef behind = source.from.drop_front(wordAt(source.from).size());
    if (behind.starts_with("("))
        return "vectors have no functions of their own; write " + names[0] + "(...) around it";
    const llvm::StringRef name = names[0];
    const bool mixes = name.find_first_of("xyzw") != name.npos &&
                       name.find_first_of("rgba") != name.npos &&
                       name.find_first_not_of("xyzwrgba") == name.npos;
    return "a '" + names[1] + "' has no component '" + names[0] + "'" +
           (mixes ? "; x, y, z, w and r, g, b, a do not go together" : "");
}

/// Advice on a value of a wrong vector type.
std::string wrongType(const std::string& message) {
    const auto types = quotedIn(message);
    if (types.size() < 2)
        return message;
    const bool isInitialisation = message.starts_with("cannot initialize");
    const auto from = vectorOf(types[isInitialisation ? 1 : 0]);
    const auto to = vectorOf(types[isInitialisation ? 0 : 1]);
    if (!from || !to)
        return message;
    constexpr std::string_view components = "xyzw";
    if (from->count > to->count)
        return message + "; write ." + std::string(components.substr(0, to->count - '0')) +
               " behind it to take " +
               (to->count == '1' ? "its first component"
                                 : std::string("its first ") + to->count + " components");
    if (from->count < to->count)
        return message + "; write " + types[isInitialisation ? 0 : 1] +
               "(...) with the components that are missing";
    return message + "; convert it with " + types[isInitialisation ? 0 : 1] + "(...)";
}

std::string assignedConstant(const std::string& message) {
    const std::string name = firstQuotedIn(message);
    const bool isVariable = message.starts_with("cannot assign to variable");
    const bool isMember = message.starts_with("cannot assign to non-static data member '");
    if (isVariable && message.find('&') == message.npos)
        return "'" + name +
               "' is a constant; leave out 'const' where it is declared, or declare "
               "another variable";
    if (isVariable || isMember)
        return "'" + name + "' is a constant" + liveInMemory;
    return message + liveInMemory;
}

/// Characters that look like others, as word processors and web pages put them.
std::string strangeCharacter(const std::string& message) {
    struct Likeness {
        std::string_view code;
        const char* meaning;
    };
    constexpr std::array likenesses{
        Likeness{"U+201C", "a straight quotation mark: \""},
        Likeness{"U+201D", "a straight quotation mark: \""},
        Likeness{"U+201E", "a straight quotation mark: \""},
        Likeness{"U+2018", "a straight quotation mark: '"},
        Likeness{"U+2019", "a straight quotation mark: '"},
        Likeness{"U+2013", "a minus sign: -"},
        Likeness{"U+2014", "a minus sign: -"},
        Likeness{"U+2212", "a minus sign: -"},
        Likeness{"U+00D7", "an asterisk: *"},
        Likeness{"U+00F7", "a slash: /"},
        Likeness{"U+00B7", "an asterisk: *"},
        Likeness{"U+00B2", "x * x for a square"},
        Likeness{"U+2264", "<="},
        Likeness{"U+2265", ">="},
        Likeness{"U+2260", "!="},
    };
    for (const auto& [code, meaning] : likenesses)
        if (message.find(code) != message.npos)
            return "this character is not part of the language; write " + std::string(meaning);
    return message;
}

constexpr const char* loneElse =
    "this 'else' has no 'if': between the two there is one statement, or a block in braces, and no "
    "other ';'";

/// Whether the line so far is no more than the name of a macro.
bool isDefinition(llvm::StringRef before) {
    static const std::regex definition(R"(^\s*#\s*define\s+\w+\s*[^;=]*$)");
    return std::regex_search(before.str(), definition);
}

std::string misplacedExpression(const std::string& message, const SourceText& source) {
    const llvm::StringRef before = source.before.rtrim(" \t");
    if (source.from.starts_with(">") && before.ends_with("="))
        return "there is no '=>' in this language; write '>='";
    if (source.from.starts_with("<") && before.ends_with("="))
        return "there is no '=<' in this language; write '<='";
    if (source.from.starts_with("#"))
        return "there is no '#' in an expression; a colour is float4(red, green, blue, 1) with "
               "numbers from 0 to 1";
    if (wordAt(source.from) == "else")
        return loneElse;
    if (source.from.starts_with("=") && isDefinition(source.before))
        return "between the name and the text of a '#define' there is no '='";
    return message;
}

/// Something in a place where it is no part of a declaration or statement.
std::string misplacedToken(const std::string& message, const SourceText& source) {
    const std::string before = source.before.rtrim(" \t").str();
    static const std::regex comma(R"(\d,$)");
    if (std::regex_search(before, comma) &&
        llvm::isDigit(source.from.empty() ? ' ' : source.from[0]))
        return "a number has a point in front of its fraction, as in 0.5";
    static const std::regex type(R"((?:^|[\s;{])(\w+)\s*:\s*(\w+)$)");
    std::smatch found;
    if (std::regex_search(before, found, type) && source.from.starts_with("="))
        return "the type stands in front of the name: " + found[2].str() + " " + found[1].str();
    if (wordAt(source.from) == "else")
        return loneElse;
    if (llvm::StringRef(before).ends_with("[]"))
        return "an array is handed over by a pointer, as in 'thread float* " +
               wordAt(source.from).str() + "'";
    if (source.from.starts_with(";") && isDefinition(source.before))
        return "a '#define' does not end in ';'";
    return message;
}

/// Loops as other languages write them.
std::string wrongLoop(const std::string& message, const SourceText& source) {
    static const std::regex foreign(R"(^(\w+\s+)?in\b)");
    if (std::regex_search(source.from.take_until([](char c) { return c == '\n'; }).str(),
                          foreign) ||
        (source.before + source.from.take_front(3)).str().find(" in ") != std::string::npos)
        return "a loop counts as in 'for (int i = 0; i < 10; i++)', and goes through an array as "
               "in 'for (float x : list)'";
    return message;
}

/// A file that is not the library's: there are none.
std::string missingFile(const std::string& message, const SourceText& source) {
    if (source.from.starts_with("\""))
        return message + ": a program is a single text, and has all of the language's library "
                         "already";
    return message + "; programs have all of the language's library already";
}

/// A struct that uses what belongs to the program around it.
std::string outOfReach(const std::string& message) {
    const std::string name = firstQuotedIn(message);
    return "'" + name +
           "' cannot be used inside a struct: hand over what it needs, or write a "
           "function outside";
}

/// What is declared twice where the parts of a 'for' stand is most often meant as its condition.
std::string declaredTwice(const std::string& message, const SourceText& source) {
    static const std::regex loop(R"(\bfor\s*\([^;]*,\s*$)");
    if (std::regex_search(source.before.str(), loop))
        return "the three parts of a 'for' are separated by ';'";
    return message;
}

} // namespace

std::string withLanguageNames(std::string message) {
    message = spellAddressSpaces(message);
    static const std::regex vector(R"((?:metal::)?vec<(?:unsigned (\w+)|(\w+)), ([234])>)");
    static const std::regex matrix(R"((?:metal::)?matrix<(\w+), ([234]), ([234])>)");
    static const std::regex mask(R"((?:metal::)?mask<\w+, ([234])>)");
    static const std::regex half(R"(\b_Float16\b)");
    message = std::regex_replace(message, half, "half");
    message = std::regex_replace(message, mask, "bool$1");
    message = std::regex_replace(message, matrix, "$1$2x$3");
    std::smatch found;
    while (std::regex_search(message, found, vector)) {
        const std::string element = found[1].matched ? "u" + found[1].str() : found[2].str();
        message = found.prefix().str() + element + found[3].str() + found.suffix().str();
    }
    return message;
}

std::string advise(unsigned id, const std::string& text, const SourceText& source) {
    std::string message = withLanguageNames(text);
    // This one is ours, too, but written without its type it is that of another language.
    if (message.starts_with("use of class template 'uniform' requires"))
        return unknownName(message, source);
    switch (id) {
    case clang::diag::err_undeclared_var_use:
    case clang::diag::err_undeclared_var_use_suggest:
    case clang::diag::err_unknown_typename:
    case clang::diag::err_unknown_typename_suggest:
        return unknownName(message, source);
    case clang::diag::err_ovl_ambiguous_init:
    case clang::diag::err_ovl_deleted_init:
    case clang::diag::err_ovl_no_viable_function_in_init:
        return wrongComponents(message, source);
    case clang::diag::err_typecheck_invalid_operands:
        return wrongOperands(message, source);
    case clang::diag::err_typecheck_bool_condition:
        return wrongCondition(message);
    case clang::diag::err_no_member:
    case clang::diag::err_no_member_suggest:
        return noMember(message, source);
    case clang::diag::err_typecheck_nonviable_condition:
    case clang::diag::err_init_conversion_failed:
        return wrongType(message);
    case clang::diag::err_no_accessor_for_property:
        return "'" + firstQuotedIn(message) +
               "' names a component twice, so nothing can be assigned to it";
    case clang::diag::err_typecheck_assign_const:
        return assignedConstant(message);
    case clang::diag::note_typecheck_assign_const:
        return "'" + firstQuotedIn(message) + "' is declared here";
    case clang::diag::err_in_class_initializer_non_const:
        return std::string("a static variable must be a constant") + liveInMemory;
    case clang::diag::err_character_not_allowed:
    case clang::diag::err_character_not_allowed_identifier:
        return strangeCharacter(message);
    case clang::diag::err_expected_expression:
        return misplacedExpression(message, source);
    case clang::diag::err_redefinition:
        return declaredTwice(message, source);
    case clang::diag::err_duplicate_member:
        return "there is something of the name '" + firstQuotedIn(message) +
               "' already; choose another one";
    case clang::diag::err_member_redeclared:
        return "'" + wordAt(source.from).str() + "' is declared twice";
    case clang::diag::err_function_definition_not_allowed:
        return "a function cannot stand inside another one; or is a '}' missing above?";
    case clang::diag::err_missing_type_specifier:
        return "a type is missing in front of this name, such as 'float', or 'void' for a function "
               "that returns nothing";
    case clang::diag::err_vla_unsupported:
        return "the size of an array must be a constant";
    case clang::diag::err_bound_member_function:
        return "'" + wordAt(source.from).str() + "' is a function: write " +
               wordAt(source.from).str() + "(...)";
    case clang::diag::err_typecheck_call_not_function:
        return message + "; does a variable have the name of the function that is meant?";
    case clang::diag::err_typecheck_member_reference_struct_union:
        return "a '" + firstQuotedIn(message) + "' has no components";
    case clang::diag::err_typecheck_indirection_requires_pointer:
        if (source.before.rtrim(" \t").ends_with("*"))
            return "there is no '**' in this language; write pow(a, b) for a power";
        return message;
    case clang::diag::err_typecheck_statement_requires_integer:
        return "'switch' is for whole numbers; convert this with int(...), or write 'if'";
    case clang::diag::err_invalid_digit:
        if (firstQuotedIn(message) == "f")
            return "a number that ends in 'f' needs a point, as in 1.0f";
        return message;
    case clang::diag::err_pp_invalid_directive:
        return message + "; a comment begins with //";
    case clang::diag::err_pp_file_not_found:
        return missingFile(message, source);
    case clang::diag::err_expected_unqualified_id:
    case clang::diag::err_expected_member_name_or_semi:
    case clang::diag::err_unexpected_semi:
    case clang::diag::err_expected:
        return misplacedToken(message, source);
    case clang::diag::err_expected_semi_for:
    case clang::diag::err_expected_lparen_after:
    case clang::diag::err_expected_lparen_after_type:
        return wrongLoop(message, source);
    case clang::diag::err_typecheck_subscript_not_integer:
        return "an array is indexed by a whole number; convert this with int(...)";
    case clang::diag::err_ovl_no_viable_subscript:
    case clang::diag::err_ovl_no_viable_oper:
        if (message.find("operator[]") != message.npos)
            return "an array is indexed by one whole number";
        return message;
    case clang::diag::err_switch_into_protected_scope:
        return "a 'case' that declares a variable needs braces around it: those below would jump "
               "over the variable";
    case clang::diag::err_nested_non_static_member_use:
        return outOfReach(message);
    case clang::diag::warn_uninit_self_reference_in_init:
        return message + "; behind its own name the new variable is meant already";
    case clang::diag::warn_consecutive_comparison:
        return "this compares the result of the first comparison; write a < x && x < b";
    case clang::diag::warn_condition_is_assignment:
        return "this assigns; write '==' to compare";
    default:
        return message;
    }
}

} // namespace compute::metal
