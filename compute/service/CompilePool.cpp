// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/CompilePool.h"

#include "compute/service/FaultReport.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace compute::service {

using platform::Error;
using platform::Result;

namespace {

// The compiler recurses over the program's nesting.
constexpr std::size_t compilerStackBytes = 64u << 20;

protocol::Message cut(std::string text) {
    if (text.size() > protocol::maxMessageBytes) {
        constexpr std::string_view ending = "\n(more messages left out)\n";
        text.resize(protocol::maxMessageBytes - ending.size());
        text += ending;
    }
    return text;
}

bool describable(const protocol::Parameters& parameters) {
    return parameters.size() <= protocol::maxParameters &&
           std::ranges::all_of(parameters, [](const protocol::Parameter& parameter) {
               return parameter.name.size() <= protocol::maxNameBytes;
           });
}

bool describable(const protocol::Kernel& kernel) {
    return kernel.name.size() <= protocol::maxNameBytes && describable(kernel.parameters);
}

} // namespace

std::uint32_t CompilePool::threadCount() {
    return std::clamp(std::thread::hardware_concurrency(), 2u, protocol::maxCompileThreads);
}

CompilePool::CompilePool(Compiler& compiler, Libraries& libraries, Pipelines& pipelines,
                         Replies& replies)
    : m_compiler(compiler),
      m_libraries(libraries),
      m_pipelines(pipelines),
      m_replies(replies),
      m_queue(threadCount(), compilerStackBytes, giveThisThreadFaultStack, [this](Task& task) {
          std::visit(
              [this](const auto& question) {
                  const CompilingFor mark(question.request);
                  carryOut(question);
              },
              task);
          task = {}; // texts may be long
      }) {}

Result<std::shared_ptr<const Library>> CompilePool::findLibrary(protocol::LibraryId id) const {
    auto library = m_libraries.find(id);
    if (!library)
        return Error{"The library is not known to the compute service"};
    return library;
}

void CompilePool::carryOut(const protocol::CompileLibrary& task) {
    const auto start = std::chrono::steady_clock::now();
    auto library = m_compiler.compile(task.source);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;

    protocol::LibraryCompiled reply{.request = task.request, .message = {}, .kernels = {}};
    if (!library) {
        reply.message = cut(std::move(library.error().message));
        return m_replies.send(reply);
    }
    const auto kernels = (*library)->kernels();
    reply.message = cut((*library)->warnings());
    reply.kernels.assign(kernels.begin(), kernels.end());
    reply.frontEndMilliseconds = time.count();
    reply.succeeded = kernels.size() <= protocol::maxKernels &&
                      std::ranges::all_of(kernels, [](const auto& k) { return describable(k); }) &&
                      Replies::fits(reply);
    if (!reply.succeeded) {
        reply.kernels.clear();
        reply.message = std::string("program_source: error: too many kernels or parameters, or "
                                    "names too long\n");
        return m_replies.send(reply);
    }
    m_libraries.add(task.library, std::move(*library));
    m_replies.send(reply);
}

void CompilePool::carryOut(const protocol::CheckFunction& task) {
    const auto check = [&]() -> Result<void> {
        return SL42_TRY(findLibrary(task.library))->check(task.function, task.constants);
    };
    const auto checked = check();
    protocol::FunctionChecked reply{.request = task.request, .message = {}};
    reply.succeeded = checked.hasValue();
    if (!checked)
        reply.message = cut(checked.error().message);
    m_replies.send(reply);
}

void CompilePool::carryOut(const protocol::MakePipeline& task) {
    const auto build = [&]() -> Result<std::shared_ptr<const Kernel>> {
        return SL42_TRY(findLibrary(task.library))->build(task.function, task.constants);
    };
    auto kernel = build();
    protocol::PipelineMade reply{.request = task.request, .message = {}, .parameters = {}};
    reply.succeeded = kernel.hasValue();
    if (kernel) {
        reply.parameters = (*kernel)->parameters();
        reply.optimiserMilliseconds = (*kernel)->optimiserMilliseconds();
        reply.codeGenerationMilliseconds = (*kernel)->codeGenerationMilliseconds();
        m_pipelines.add(task.pipeline, std::move(*kernel));
    } else {
        reply.message = cut(kernel.error().message);
    }
    m_replies.send(reply);
}

} // namespace compute::service
