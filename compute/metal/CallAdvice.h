// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A call with wrong arguments, as one message: what is wrong, and which functions of that name fit
// best. Clang tells of the candidates in notes behind the error, one for each of a library of
// overloads, which is why the message is made when the last of them is known.
#pragma once

#include <clang/AST/Type.h>
#include <clang/Basic/Diagnostic.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace clang {
class FunctionDecl;
class NamedDecl;
class Sema;
} // namespace clang

namespace compute::metal {

class CallAdvice {
public:
    /// None when the error is about something else.
    static std::optional<CallAdvice> about(const clang::Diagnostic& error, clang::Sema& sema);

    /// Whether the note tells of a candidate; then the message has it.
    bool add(const clang::Diagnostic& note);

    /// The function that is called, if it is declared behind the call: then it is likely to hide
    /// the one that is meant.
    const clang::FunctionDecl* declaredBehind() const;

    /// Empty when there is nothing better to say than Clang does.
    std::string message() const;

private:
    enum class Fault { Arguments, Count, Suggested, Parameter, Ambiguous };
    struct Candidate {
        explicit Candidate(const clang::FunctionDecl* declaration) : function(declaration) {}
        const clang::FunctionDecl* function;
        bool takesAnotherCount = false;
        bool needsTypeArgument = false;
        std::optional<unsigned> wrongArgument; ///< its number, from 0
    };

    static std::optional<CallAdvice> read(const clang::Diagnostic& error, clang::Sema& sema);
    CallAdvice(Fault fault, clang::Sema& sema) : m_fault(fault), m_sema(&sema) {}

    void findFunctions(clang::DeclarationName name);
    const clang::FunctionDecl* functionAt(clang::SourceLocation location) const;
    bool addCandidate(const clang::Diagnostic& note);
    bool addParameter(const clang::Diagnostic& note);

    std::string nameOf(clang::QualType type) const;
    std::string signatureOf(const clang::FunctionDecl& function) const;
    bool isOfLibrary() const;
    int fitOf(const Candidate& candidate) const;
    std::vector<const Candidate*> bestCandidates() const;
    std::string listOf(const std::vector<const Candidate*>& candidates) const;
    std::string wrongCount() const;
    std::string wrongParameter() const;
    std::string wrongArguments() const;

    Fault m_fault;
    clang::Sema* m_sema;
    clang::SourceLocation m_place;
    std::string m_name;
    std::optional<unsigned> m_count; ///< of the arguments given
    std::vector<const clang::FunctionDecl*> m_functions;
    std::vector<Candidate> m_candidates;
    std::map<unsigned, clang::QualType> m_given; ///< arguments of which the type is known
    clang::QualType m_from;
    clang::QualType m_to;
    std::string m_parameter;
};

} // namespace compute::metal
