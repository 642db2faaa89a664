// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/CompilePool.h"

#include "compute/protocol/Channel.h"
#include "compute/service/FaultReport.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace compute::service {

using platform::Error;
using platform::Lock;
using platform::Result;

namespace {

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
    return kernel.name.size() <= protocol::maxNameBytes &&
           kernel.unsupported.size() <= protocol::maxNameBytes && describable(kernel.parameters);
}

std::optional<std::chrono::nanoseconds> limitOf(const protocol::CompileLibrary&) {
    return longestCompilation;
}
std::optional<std::chrono::nanoseconds> limitOf(const protocol::MakePipeline&) {
    return std::nullopt;
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
      m_queue(
          threadCount() + protocol::maxCancelledRequests, compiler.stackBytes(),
          giveThisThreadFaultStack, [this](Task& task) { carryOut(task); },
          protocol::compilerThreadName) {}

void CompilePool::add(Question question, std::shared_ptr<KeptCode> kept) {
    Task task{.question = std::move(question), .kept = std::move(kept), .stop = std::stop_source()};
    const auto request = std::visit([](const auto& asked) { return asked.request; }, task.question);
    {
        const Lock lock(m_mutex);
        m_unanswered.emplace(request, task.stop);
    }
    m_queue.add(task);
}

void CompilePool::cancel(protocol::RequestId request) {
    const Lock lock(m_mutex);
    if (const auto found = m_unanswered.find(request); found != m_unanswered.end())
        found->second.request_stop();
}

void CompilePool::carryOut(Task& task) {
    std::visit(
        [&](const auto& question) {
            {
                const CompilingFor mark(question.request);
                const CompileWatch::Guard guard(m_watch, question.request, limitOf(question));
                carryOut(question, task);
            }
            const Lock lock(m_mutex);
            m_unanswered.erase(question.request);
        },
        task.question);
    task = {}; // texts may be long
}

Result<std::shared_ptr<const Library>> CompilePool::findLibrary(protocol::LibraryId id) const {
    auto library = m_libraries.find(id);
    if (!library)
        return Error{"The library is not known to the compute service"};
    return library;
}

void CompilePool::carryOut(const protocol::CompileLibrary& question, const Task& task) {
    const auto start = std::chrono::steady_clock::now();
    auto library = m_compiler.compile(question.source, task.stop.get_token());
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;

    protocol::LibraryCompiled reply{
        .request = question.request, .message = {}, .kernels = {}, .constants = {}};
    if (!library) {
        reply.message = cut(std::move(library.error().message));
        return m_replies.send(reply);
    }
    const auto kernels = (*library)->kernels();
    reply.message = cut((*library)->warnings());
    reply.kernels.assign(kernels.begin(), kernels.end());
    reply.constants = (*library)->constants();
    reply.frontEndMilliseconds = time.count();
    reply.succeeded = kernels.size() <= protocol::maxKernels &&
                      std::ranges::all_of(kernels, [](const auto& k) { return describable(k); }) &&
                      reply.constants.size() <= protocol::maxConstants &&
                      std::ranges::all_of(
                          reply.constants,
                          [](const auto& c) { return c.name.size() <= protocol::maxNameBytes; }) &&
                      Replies::fits(reply);
    if (!reply.succeeded) {
        reply.kernels.clear();
        reply.constants.clear();
        reply.message = std::string("program_source: error: too many kernels or parameters, or "
                                    "names too long\n");
        return m_replies.send(reply);
    }
    m_libraries.add(question.library, std::move(*library));
    m_replies.send(reply);
}

void CompilePool::carryOut(const protocol::MakePipeline& question, const Task& task) {
    const auto build = [&]() -> Result<std::shared_ptr<const Kernel>> {
        ConstantValues constants;
        for (const protocol::Constant& constant : question.constants)
            constants[constant.index] = constant.value;
        const auto library = SL42_TRY(findLibrary(question.library));
        return library->build(question.function, constants, task.stop.get_token(), task.kept);
    };
    auto kernel = build();
    protocol::PipelineMade reply{
        .request = question.request, .message = {}, .parameters = {}, .fingerprint = {}};
    reply.succeeded = kernel.hasValue();
    if (kernel) {
        const KernelDescription& made = (*kernel)->description();
        reply.parameters = onTheWire(made.parameters);
        reply.fingerprint = made.fingerprint;
        reply.optimiserMilliseconds = made.optimiserMilliseconds;
        reply.codeGenerationMilliseconds = made.codeGenerationMilliseconds;
        m_pipelines.add(question.pipeline, std::move(*kernel));
    } else {
        reply.message = cut(kernel.error().message);
    }
    m_replies.send(reply);
}

} // namespace compute::service
