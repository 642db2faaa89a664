// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A random program of the shading language as a tree of plain values: what the generator makes, the
// printer writes, the evaluator runs and the shrinker edits. A program is one kernel and functions
// that it calls.
#pragma once

#include "bench/fuzz/Type.h"

#include <optional>
#include <string>
#include <vector>

namespace fuzz {

/// Bounds of an exact value: a multiple of 2^granule, no larger than bound.
struct Range {
    double bound = 0;
    int granule = 0;
};

enum class Op : std::uint8_t {
    Literal, ///< integer or number; of aggregates, all zeros
    Thread,  ///< which: x, y, width or height of the grid
    Place,   ///< variable `which`
    Element, ///< args[0] at args[1]: of an array, a column of a matrix, a lane of a vector
    Field,   ///< field `which` of args[0]
    Slice,   ///< a shorter array within args[0], from args[1] on; only for pointers to point at
    Input,   ///< input buffer `which` at args[0]: modulo inputCount unless `integer`, which says
             ///< that it is within the buffer
    Pick,    ///< args[0] chooses one of the first two input buffers, read at args[1]
    Table,   ///< constant table at args[0]; as numbers where the type is
    Peek,    ///< `integer` bytes of the thread's own region at args[0], at once where `which`
    Unary,   ///< unaryOperators[which]
    Binary,  ///< binaryOperators[which] on operands of the result's type, or with a matrix
    Compare, ///< compareOperators[which] on operands of one type; == and != of matrices
    Logic,   ///< && or || of scalars, the second operand evaluated as needed
    Choose,  ///< args[0] ? args[1] : args[2]
    Convert, ///< to `type`, lane by lane
    Bits,    ///< as_type
    Make,    ///< of all parts in order; a matrix also of one number for its diagonal
    Swizzle, ///< lanes of args[0]
    Transpose,
    Determinant,
    Integer,  ///< integerFunctions[which]
    Exact,    ///< exactFunctions[which]
    Rough,    ///< roughFunctions[which], lane by lane
    Geometry, ///< geometryFunctions[which]
    Call,     ///< function `which`, which has only plain parameters
    Texel,    ///< the texture at args[0], args[1], as 8-bit integers
    Sample,   ///< the texture filtered at the coordinates args[0], args[1]
};

inline constexpr const char* unaryOperators[] = {"-", "~", "!", "any", "all"};
enum : unsigned { Negate, Complement, Not, Any, All };
inline constexpr const char* binaryOperators[] = {"+", "-", "*", "/",  "%",
                                                  "&", "|", "^", "<<", ">>"};
enum : unsigned { Add, Subtract, Multiply, Divide, Remainder, And, Or, Xor, ShiftLeft, ShiftRight };
inline constexpr const char* compareOperators[] = {"==", "!=", "<", "<=", ">", ">="};
inline constexpr const char* logicOperators[] = {"&&", "||"};

struct Expr {
    Op op = Op::Literal;
    Type type;
    unsigned which = 0;
    std::int64_t integer = 0;
    double number = 0;
    std::vector<Expr> args;
    std::vector<unsigned> lanes; ///< Swizzle: lanes by name
    Range range;                 ///< of exact values
};

/// Whether the expression names memory: a variable or a part of one.
inline bool isPlace(const Expr& e) {
    const bool isPart =
        e.op == Op::Element || e.op == Op::Field || e.op == Op::Slice || e.op == Op::Swizzle;
    return e.op == Op::Place || (isPart && isPlace(e.args[0]));
}

enum class Form : std::uint8_t {
    Plain,
    Reference, ///< parameters only
    Pointer,
    Counter, ///< of a loop: not to be assigned
    Capture, ///< a lambda's copy of a variable, not to be assigned
    Output,  ///< an array in device memory, one for each thread; the kernel's only
};

struct Variable {
    Form form = Form::Plain;
    Type type; ///< of a pointer: what it points at, or, for a T[N], at whose first element
    bool isUniform = false; ///< only assigned what does not differ between threads by itself
};

struct Structure {
    std::vector<Type> fields;
};

enum class Verb : std::uint8_t {
    Assign,  ///< exprs[0] = exprs[1], or with binaryOperators[which] where compound
    Step,    ///< exprs[0] by `step`, 1 or -1; exprs[1], if any, gets it as it is after where
             ///< compound, and else as it was before
    If,      ///< exprs[0], bodies[0], bodies[1]
    For,     ///< counter `which`, from `start` in steps up or down to exprs[0]
    While,   ///< while exprs[0], but at most `limit` times, counted by `which`
    DoWhile, ///< the same, tested at the end
    Switch,  ///< exprs[0] modulo 8, bodies with labels; the last is the default
    Break,
    Continue,
    Return, ///< exprs[0] if any
    Call,   ///< function `which`; exprs[0] is assigned the result where `compound`, then arguments
    Point,  ///< pointer `which` to exprs[0], or where there are three, exprs[2] ? exprs[0] :
            ///< exprs[1]
    Poke,   ///< `limit` bytes of exprs[1] to the thread's own region at exprs[0]
    Atomic, ///< atomicOperations[which] on one of its counters, exprs[0], by exprs[1]
    Exchange, ///< exprs[1] goes to the thread's slot in array `which` of the threadgroup, and then
              ///< exprs[0] is assigned the slot of the thread that exprs[2] names
    Together, ///< exprs[0] = collectives()[which] of exprs[1] and perhaps the number `limit` or
              ///< exprs[2]
    Gather,   ///< every thread does atomicOperations[limit] by exprs[1] on word `which` of the
              ///< threadgroup, which begins with `start`; then exprs[0] is assigned the word
    Lambda,   ///< function `which` comes to be: it captures what its variables name
};

inline constexpr const char* atomicOperations[] = {"add", "sub", "and", "or", "xor", "min", "max"};
enum : unsigned { AtomicAdd, AtomicSub, AtomicAnd, AtomicOr, AtomicXor, AtomicMin, AtomicMax };
inline constexpr unsigned countersPerOperation = 4;

struct Stmt {
    Verb verb = Verb::Assign;
    unsigned which = 0;
    bool compound = false;
    unsigned limit = 0;
    int start = 0;
    int step = 1;
    std::vector<Expr> exprs = {};
    std::vector<std::vector<Stmt>> bodies = {};
    std::vector<unsigned> labels = {};
    std::vector<bool> fallsThrough = {}; ///< of each body of a switch
};

/// A function that stands as a template in the text.
struct Generic {
    unsigned source;  ///< the function whose text it is: this one, or the one that it is a copy of
    Scalar parameter; ///< what its type parameter stands for; integers only
};

struct Function {
    Type result;
    std::vector<Variable> variables; ///< the captures first, then the parameters
    unsigned parameters = 0;         ///< with captures
    bool isPlain = true; ///< all parameters are plain values, so that it can be called anywhere
    std::vector<Stmt> body;
    bool isLambda = false; ///< within the kernel
    /// Of a lambda: the kernel's variables that its first ones are, as Reference or Capture.
    std::vector<unsigned> captures;
    std::optional<Generic> generic;

    unsigned captured() const { return static_cast<unsigned>(captures.size()); }
};

inline constexpr unsigned inputCount = 256;
inline constexpr unsigned maxWidth = 70;
inline constexpr unsigned regionBytes = 32;

/// Bounds that every exact variable, parameter and input keeps.
constexpr Range standardRange(Scalar s) {
    return {s == Scalar::Half ? 32.0 : 1024.0, 0};
}

/// Input buffers; Pick chooses between the first two, the third is in constant memory.
inline constexpr Type inputTypes[] = {{Scalar::UInt},  {Scalar::UInt},  {Scalar::Int},
                                      {Scalar::Short}, {Scalar::UChar}, {Scalar::Float},
                                      {Scalar::Half}};
inline constexpr unsigned constantInput = 2;

struct Texture {
    std::uint32_t width = 0; ///< none when 0
    std::uint32_t height = 0;
    unsigned channels = 4; ///< 1, 2 or 4, of 8 bits
    bool repeats = false;
};

/// A constant table's elements as floating-point numbers.
constexpr std::int64_t tableNumber(std::int64_t element) {
    return element % 1024;
}

/// What only some programs have.
struct Features {
    bool groups = false;   ///< threads that work together in threadgroups and SIMD groups
    bool rounding = false; ///< conversions to half that round
    bool sums = false;     ///< sums in loops, tests for overflow, atomics of threadgroups
    bool aligned = false;  ///< words among bytes lie at multiples of 4 only
};

struct Program {
    std::uint64_t seed = 0;
    Features features;
    std::uint32_t group = 32; ///< threads of a threadgroup, of one row
    std::uint32_t width = 1;
    std::uint32_t height = 1; ///< 1: the kernel's position has one component
    std::vector<Structure> structures;
    std::vector<std::int64_t> table; ///< of int
    Texture texture;
    std::vector<Function> functions; ///< each calls only those before it; the last is the kernel

    const Function& kernel() const { return functions.back(); }
    const std::vector<Type>& fields(Type structureType) const {
        return structures[static_cast<unsigned>(structureType.structure)].fields;
    }
    /// How many numbers a value of the type consists of.
    unsigned cellsOf(Type type) const {
        if (type.isArray())
            return type.count() * cellsOf(type.element());
        if (!type.isStructure())
            return type.lanes * std::max(1u, unsigned{type.columns});
        unsigned cells = 0;
        for (const Type& field : fields(type))
            cells += cellsOf(field);
        return cells;
    }
};

} // namespace fuzz
