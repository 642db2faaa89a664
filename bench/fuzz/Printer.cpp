// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Printer.h"

#include "bench/fuzz/Collectives.h"
#include "bench/fuzz/ExpressionPrinter.h"
#include "bench/fuzz/TypeText.h"

#include <sstream>
#include <utility>

namespace fuzz {
namespace {

constexpr const char* includes = R"(#include <metal_stdlib>
using namespace metal;
)";
constexpr const char* peek4 = R"(
uint peek4(device const uchar* at) {
    return at[0] | at[1] << 8 | at[2] << 16 | uint(at[3]) << 24;
}
)";
constexpr const char* hasLane = R"(
template <typename T>
T has_lane(uint lane, uint count, T there, T own) {
    return lane < count ? there : own;
}
)";
constexpr const char* poke4 = R"(
void poke4(device uchar* at, uint value) {
    for (uint i = 0; i < 4; ++i)
        at[i] = uchar(value >> 8 * i);
}
)";

std::string indent(unsigned depth) {
    return std::string(std::size_t{4} * depth, ' ');
}

class Printer {
public:
    explicit Printer(const Program& program) : m_program(program) {}

    std::string run() {
        m_called.resize(m_program.functions.size());
        m_called.back() = true;
        for (std::size_t i = m_program.functions.size(); i-- > 0;)
            if (m_called[i])
                markCalls(m_program.functions[i].body);
        for (unsigned i = 0; i + 1 < m_program.functions.size(); ++i)
            if (m_called[i] && !m_program.functions[i].isLambda)
                printHelper(i);
        const std::string helpers = std::exchange(m_out, {}).str();
        m_function = &m_program.kernel();
        printBody();
        m_out << "}\n";
        const std::string body = std::exchange(m_out, {}).str();
        printParameters(body);
        const std::string kernel = std::exchange(m_out, {}).str() + body;
        printGlobals(helpers + kernel);
        m_out << helpers << kernel;
        return m_out.str();
    }

private:
    /// Which variables of a function appear in its body. Pointers start at the variable before.
    std::vector<bool> usedVariables(const Function& function) const {
        std::vector<bool> used(function.variables.size());
        markVariables(function.body, used);
        for (std::size_t i = used.size(); i-- > 1;)
            if (function.variables[i].form == Form::Pointer && used[i])
                used[i - 1] = true;
        return used;
    }
    static void markVariables(const Expr& e, std::vector<bool>& used) {
        if (e.op == Op::Place)
            used[e.which] = true;
        for (const Expr& argument : e.args)
            markVariables(argument, used);
    }
    void markVariables(const std::vector<Stmt>& body, std::vector<bool>& used) const {
        for (const Stmt& s : body) {
            if (s.verb == Verb::Lambda && m_called[s.which])
                for (const unsigned captured : m_program.functions[s.which].captures)
                    used[captured] = true;
            if (s.verb == Verb::For || s.verb == Verb::While || s.verb == Verb::DoWhile ||
                s.verb == Verb::Point)
                used[s.which] = true;
            for (const Expr& e : s.exprs)
                markVariables(e, used);
            for (const auto& inner : s.bodies)
                markVariables(inner, used);
        }
    }

    /// A template is written where any instance is called.
    void markCall(unsigned which) {
        const auto& generic = m_program.functions[which].generic;
        m_called[generic ? generic->source : which] = true;
    }
    void markCalls(const Expr& e) {
        if (e.op == Op::Call)
            markCall(e.which);
        for (const Expr& argument : e.args)
            markCalls(argument);
    }
    void markCalls(const std::vector<Stmt>& body) {
        for (const Stmt& s : body) {
            if (s.verb == Verb::Call)
                markCall(s.which);
            for (const Expr& e : s.exprs)
                markCalls(e);
            for (const auto& inner : s.bodies)
                markCalls(inner);
        }
    }

    static bool contains(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }

    /// What the text makes use of.
    void printGlobals(const std::string& text) {
        m_out << includes << (contains(text, "peek4(") ? peek4 : "")
              << (contains(text, "poke4(") ? poke4 : "")
              << (contains(text, "has_lane(") ? hasLane : "");
        printStructures(text);
        if (contains(text, "integers[")) {
            m_out << "constant int integers[] = {";
            for (const std::int64_t value : m_program.table)
                m_out << "int(" << value << "), ";
            m_out << "};\n";
        }
        if (contains(text, "numbers[")) {
            m_out << "constant float numbers[] = {";
            for (const std::int64_t value : m_program.table)
                m_out << tableNumber(value) << ", ";
            m_out << "};\n";
        }
        if (contains(text, "linearly"))
            m_out << "constexpr sampler linearly(filter::linear, address::"
                  << (m_program.texture.repeats ? "repeat" : "clamp_to_edge") << ");\n";
    }

    void printStructures(std::string users) {
        std::string text;
        for (std::size_t i = m_program.structures.size(); i-- > 0;) {
            const std::string name = "S" + std::to_string(i);
            if (!contains(users, name))
                continue;
            std::ostringstream structure;
            structure << "struct " << name << " {\n";
            const auto& fields = m_program.structures[i].fields;
            for (unsigned f = 0; f < fields.size(); ++f)
                structure << "    " << declaration({.type = fields[f]}, fieldName(f), {}) << ";\n";
            structure << "};\n";
            users += structure.str();
            text.insert(0, structure.str());
        }
        m_out << text;
    }

    void printHelper(unsigned index) {
        m_function = &m_program.functions[index];
        m_out << (m_function->generic ? "\ntemplate <typename T>\n" : "\n")
              << nameOf(m_function->result, *m_function) << " f" << index;
        printParameterList();
        m_out << " {\n";
        printBody();
        m_out << "}\n";
    }

    void printParameterList() {
        m_out << "(";
        for (unsigned i = m_function->captured(); i < m_function->parameters; ++i)
            m_out << (i > m_function->captured() ? ", " : "")
                  << declaration(m_function->variables[i], name(i), *m_function);
        m_out << ")";
    }

    void printLambda(unsigned index) {
        const Function* const around = std::exchange(m_function, &m_program.functions[index]);
        m_out << "    auto f" << index << " = [" << captureList(index) << "]";
        printParameterList();
        m_out << " -> " << nameOf(m_function->result) << " {\n";
        printBody();
        m_out << "    };\n";
        m_function = around;
    }

    /// All by name, or those by value or by reference by what begins the list.
    std::string captureList(unsigned index) const {
        const Form byDefault[] = {Form::Plain, Form::Capture, Form::Reference};
        const Form form = byDefault[index % 3];
        std::string result = form == Form::Capture ? "=" : form == Form::Reference ? "&" : "";
        for (unsigned i = 0; i < m_function->captured(); ++i)
            if (m_function->variables[i].form != form)
                result += (result.empty() ? "" : ", ") +
                          std::string(form != Form::Reference &&
                                              m_function->variables[i].form == Form::Reference
                                          ? "&"
                                          : "") +
                          name(i);
        return result;
    }

    void printParameters(const std::string& body) {
        m_out << "\nkernel void fuzz(";
        for (unsigned i = 0; i < std::size(inputTypes); ++i)
            if (contains(body, "in" + std::to_string(i)))
                m_out << (i == constantInput ? "constant " : "device const ")
                      << nameOf(inputTypes[i]) << "* in" << i << " [[buffer(" << i << ")]],\n    ";
        if (contains(body, "counters"))
            m_out << "device atomic_uint* counters [[buffer(" << countersBuffer << ")]],\n    ";
        const bool usesRegion = contains(body, "own + ");
        if (usesRegion)
            m_out << "device uchar* bytes [[buffer(" << regionBuffer << ")]],\n    ";
        for (unsigned i = 0, buffer = firstOutputBuffer; i < m_function->variables.size(); ++i) {
            if (m_function->variables[i].form != Form::Output)
                continue;
            if (contains(body, name(i) + "[self"))
                m_out << "device " << nameOf(m_function->variables[i].type.element()) << "* "
                      << name(i) << " [[buffer(" << buffer << ")]],\n    ";
            ++buffer;
        }
        if (contains(body, "image."))
            m_out << "texture2d<float> image [[texture(0)]],\n    ";
        if (m_program.features.groups)
            m_out << "uint group_lane [[thread_index_in_threadgroup]],\n    "
                     "uint simd_lane [[thread_index_in_simdgroup]],\n    ";
        if (m_program.height > 1)
            m_out << "uint2 at [[thread_position_in_grid]], uint2 grid [[threads_per_grid]]) {\n"
                     "    const uint thread_x = at.x, thread_y = at.y;\n"
                     "    const uint grid_x = grid.x, grid_y = grid.y;\n";
        else
            m_out << "uint at [[thread_position_in_grid]], uint grid [[threads_per_grid]]) {\n"
                     "    const uint thread_x = at, thread_y = 0, grid_x = grid, grid_y = 1;\n";
        m_out << "    const uint self = thread_y * grid_x + thread_x;\n"
                 "    const uint threads = grid_x * grid_y;\n";
        if (m_program.features.groups) {
            const std::string size = std::to_string(m_program.group);
            m_out << "    const uint group_size = min(" << size << "u, grid_x - thread_x / " << size
                  << " * " << size
                  << ");\n    const uint simd_count = min(32u, group_size - group_lane / 32 * "
                     "32);\n";
            printSlots(m_function->body);
        }
        if (usesRegion)
            m_out << "    device uchar* own = bytes + self * " << regionBytes << ";\n";
    }

    void printSlots(const std::vector<Stmt>& body) {
        for (const Stmt& s : body) {
            if (s.verb == Verb::Exchange)
                m_out << "    threadgroup " << nameOf(s.exprs[1].type) << " shared" << s.which
                      << "[" << m_program.group << "];\n";
            if (s.verb == Verb::Gather)
                m_out << "    threadgroup atomic_" << nameOf(s.exprs[1].type) << " word" << s.which
                      << ";\n";
            for (const auto& inner : s.bodies)
                printSlots(inner);
        }
    }

    void printBody() {
        const std::vector<bool> used = usedVariables(*m_function);
        for (unsigned i = m_function->parameters; i < m_function->variables.size(); ++i) {
            const Variable& v = m_function->variables[i];
            if (v.form == Form::Output || !used[i])
                continue;
            m_out << "    " << declaration(v, name(i), *m_function) << " = ";
            if (v.form == Form::Pointer)
                m_out << "&" << name(i - 1) << (v.type.isCopyable() ? "" : "[0]");
            else
                m_out << "{}";
            m_out << ";\n";
        }
        printBlock(m_function->body, 1);
    }

    void printBlock(const std::vector<Stmt>& body, unsigned depth) {
        for (const Stmt& s : body)
            printStatement(s, depth);
    }

    void printNested(const std::vector<Stmt>& body, unsigned depth) {
        m_out << "{\n";
        printBlock(body, depth + 1);
        m_out << indent(depth) << "}";
    }

    void printStatement(const Stmt& s, unsigned depth) {
        if (s.verb == Verb::Lambda) {
            if (m_called[s.which])
                printLambda(s.which);
            return;
        }
        m_out << indent(depth);
        const bool counts = s.verb == Verb::For || s.verb == Verb::While || s.verb == Verb::DoWhile;
        const std::string counter = counts ? name(s.which) : "";
        const auto limited = [&](const char* step) {
            return "(" + std::string(step) + " < " + std::to_string(s.limit) + "u && " +
                   text(s.exprs[0]) + ")";
        };
        switch (s.verb) {
        case Verb::Assign:
            printAssignment(s);
            break;
        case Verb::Step:
            printStep(s);
            break;
        case Verb::If:
            m_out << "if (" << text(s.exprs[0]) << ") ";
            printNested(s.bodies[0], depth);
            if (!s.bodies[1].empty()) {
                m_out << " else ";
                printNested(s.bodies[1], depth);
            }
            break;
        case Verb::For:
            printFor(s, counter);
            printNested(s.bodies[0], depth);
            break;
        case Verb::While:
            m_out << counter << " = 0;\n"
                  << indent(depth) << "while " << limited((counter + "++").c_str()) << " ";
            printNested(s.bodies[0], depth);
            break;
        case Verb::DoWhile:
            m_out << counter << " = 0;\n" << indent(depth) << "do ";
            printNested(s.bodies[0], depth);
            m_out << " while " << limited(("++" + counter).c_str()) << ";";
            break;
        case Verb::Switch:
            printSwitch(s, depth);
            break;
        case Verb::Break:
            m_out << "break;";
            break;
        case Verb::Continue:
            m_out << "continue;";
            break;
        case Verb::Return:
            m_out << "return" << (s.exprs.empty() ? "" : " " + text(s.exprs[0])) << ";";
            break;
        case Verb::Call:
            printCall(s);
            break;
        case Verb::Point:
            printPoint(s);
            break;
        case Verb::Poke:
            printPoke(s);
            break;
        case Verb::Atomic:
            m_out << "atomic_fetch_" << atomicOperations[s.which] << "_explicit(&counters["
                  << s.which * countersPerOperation << " + " << text(s.exprs[0]) << "], "
                  << text(s.exprs[1]) << ", memory_order_relaxed);";
            break;
        case Verb::Exchange:
            printExchange(s, depth);
            break;
        case Verb::Together:
            printTogether(s);
            break;
        case Verb::Gather:
            printGather(s, depth);
            break;
        case Verb::Lambda:
            break; // see above
        }
        m_out << "\n";
    }

    void printExchange(const Stmt& s, unsigned depth) {
        const std::string slots = "shared" + std::to_string(s.which);
        const std::string barrier = "threadgroup_barrier(mem_flags::mem_threadgroup);";
        m_out << slots << "[group_lane] = " << text(s.exprs[1]) << ";\n"
              << indent(depth) << barrier << "\n"
              << indent(depth) << text(s.exprs[0]) << " = " << slots << "[" << text(s.exprs[2])
              << " % group_size];\n"
              << indent(depth) << barrier;
    }

    void printGather(const Stmt& s, unsigned depth) {
        const std::string word = "word" + std::to_string(s.which);
        const std::string barrier = "threadgroup_barrier(mem_flags::mem_threadgroup);";
        const std::string relaxed = ", memory_order_relaxed);";
        m_out << "if (group_lane == 0) atomic_store_explicit(&" << word << ", " << s.start
              << relaxed << "\n"
              << indent(depth) << barrier << "\n"
              << indent(depth) << "atomic_fetch_" << atomicOperations[s.limit] << "_explicit(&"
              << word << ", " << text(s.exprs[1]) << relaxed << "\n"
              << indent(depth) << barrier << "\n"
              << indent(depth) << text(s.exprs[0]) << " = atomic_load_explicit(&" << word << relaxed
              << "\n"
              << indent(depth) << barrier;
    }

    void printTogether(const Stmt& s) {
        const Collective& f = collectives()[s.which];
        const std::string type = nameOf(s.exprs[0].type.unpacked());
        const std::string value = text(s.exprs[1]);
        const std::string call = std::string(f.name) + "(" + value;
        const std::string number = std::to_string(s.limit);
        const std::string name = f.name;
        m_out << text(s.exprs[0]) << " = ";
        switch (f.kind) {
        case Together::Reduce:
        case Together::Prefix:
        case Together::Quad:
            m_out << call << ");";
            break;
        case Together::Vote:
            m_out << (name == "simd_ballot" ? "uint(simd_vote::vote_t(" + call + ")));"
                                            : "uint(" + call + "));");
            break;
        case Together::Shuffle:
            m_out << call << ", ushort(" << text(s.exprs[2]) << " % simd_count));";
            break;
        case Together::Shift:
            m_out << "has_lane(simd_lane "
                  << (name.ends_with("xor")    ? "^ "
                      : name.ends_with("down") ? "+ "
                                               : "- ")
                  << number << ", simd_count, " << call << ", " << number << "), " << type << "("
                  << value << "));";
        }
    }

    void printFor(const Stmt& s, const std::string& counter) {
        const std::string by = std::to_string(std::abs(s.step));
        m_out << "for (" << counter << " = " << s.start << "; " << counter
              << (s.step > 0 ? " < " : " > ") << text(s.exprs[0]) << "; "
              << (by == "1" ? (s.step > 0 ? "++" : "--") + counter
                            : counter + (s.step > 0 ? " += " : " -= ") + by)
              << ") ";
    }

    void printAssignment(const Stmt& s) {
        m_out << text(s.exprs[0]) << " "
              << (s.compound ? std::string(binaryOperators[s.which]) + "=" : "=") << " "
              << text(s.exprs[1]) << ";";
    }

    void printStep(const Stmt& s) {
        const std::string place = text(s.exprs[0]);
        const std::string symbol = s.step > 0 ? "++" : "--";
        if (s.exprs.size() > 1)
            m_out << text(s.exprs[1]) << " = ";
        m_out << (s.compound ? symbol + place : place + symbol) << ";";
    }

    void printPoint(const Stmt& s) {
        const ExpressionPrinter expressions(m_program, *m_function);
        m_out << name(s.which) << " = ";
        if (s.exprs.size() > 2)
            m_out << text(s.exprs[2]) << " ? " << expressions.address(s.exprs[0]) << " : "
                  << expressions.address(s.exprs[1]) << ";";
        else
            m_out << expressions.address(s.exprs[0]) << ";";
    }

    void printSwitch(const Stmt& s, unsigned depth) {
        const std::string margin = indent(depth);
        m_out << "switch (" << text(s.exprs[0]) << " & 7) {\n";
        for (unsigned i = 0; i < s.bodies.size(); ++i) {
            const std::string label = "case " + std::to_string(s.labels[i]) + ": ";
            m_out << margin << (i + 1 == s.bodies.size() ? "default: " : label);
            printNested(s.bodies[i], depth);
            m_out << (s.fallsThrough[i] ? "\n" : " break;\n");
        }
        m_out << margin << "}";
    }

    void printCall(const Stmt& s) {
        const Function& callee = m_program.functions[s.which];
        const unsigned first = s.compound ? 1 : 0;
        if (s.compound)
            m_out << text(s.exprs[0]) << " = ";
        m_out << functionName(m_program, s.which) << "(";
        for (unsigned i = callee.captured(); i < callee.parameters; ++i) {
            const Expr& e = s.exprs[first + i - callee.captured()];
            m_out << (i > callee.captured() ? ", " : "")
                  << (callee.variables[i].form == Form::Pointer
                          ? ExpressionPrinter(m_program, *m_function).address(e)
                          : text(e));
        }
        m_out << ");";
    }

    void printPoke(const Stmt& s) {
        const std::string at = "own + " + text(s.exprs[0]);
        const std::string value = text(s.exprs[1]);
        if (s.limit == 1)
            m_out << "*(" << at << ") = uchar(" << value << ");";
        else if (s.compound)
            m_out << "*(device uint*)(" << at << ") = " << value << ";";
        else
            m_out << "poke4(" << at << ", " << value << ");";
    }

    std::string text(const Expr& e) const {
        return ExpressionPrinter(m_program, *m_function).text(e);
    }
    std::string name(unsigned variable) const { return variableName(*m_function, variable); }

    const Program& m_program;
    std::vector<bool> m_called; ///< of each function; of templates, those that the text has
    const Function* m_function = nullptr;
    std::ostringstream m_out;
};

} // namespace

std::string print(const Program& program) {
    return Printer(program).run();
}

} // namespace fuzz
