// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/RequestQueue.h"

#include "gpu/host/Job.h"

#include <algorithm>

namespace gpu::host {

namespace protocol = compute::protocol;
using namespace std::chrono_literals;

namespace {

/// Nobody fills the memory of a machine in so little processor time.
constexpr Milliseconds harmlessTime(500);

using Request = RequestQueue::Request;

const char* breakdownMessage(std::uint32_t faultKind) {
    switch (static_cast<protocol::FaultKind>(faultKind)) {
    case protocol::FaultKind::Time:
        return "error: compiling this program takes too long";
    case protocol::FaultKind::HeapMemory:
        return "error: compiling this program takes too much memory";
    case protocol::FaultKind::None:
    case protocol::FaultKind::Memory:
    case protocol::FaultKind::Stack:
    case protocol::FaultKind::Arithmetic:
    case protocol::FaultKind::Instruction:
    case protocol::FaultKind::Abort:
    case protocol::FaultKind::DeviceLost:
    case protocol::FaultKind::Asked:
        break;
    }
    return "error: the compiler broke down on this program";
}

/// A program that tries to get at more than its buffers may have succeeded elsewhere.
bool reachesOutside(const protocol::PipelineMade& made) {
    return !made.succeeded && made.message.starts_with("this kernel reaches outside");
}
bool reachesOutside(const protocol::LibraryCompiled&) {
    return false;
}

/// A binding index reaches the console's tables, so it is checked like any count.
bool plausible(const protocol::PipelineMade& made) {
    return std::ranges::all_of(made.parameters, [](const protocol::Parameter& parameter) {
        const std::uint32_t most = compute::maxArguments(parameter.kind);
        return !compute::isBound(parameter.kind) ||
               (parameter.count > 0 && parameter.index < most &&
                parameter.count <= most - parameter.index);
    });
}
bool plausible(const protocol::LibraryCompiled&) {
    return true;
}

bool isCompilation(const Request& request) {
    return std::holds_alternative<protocol::CompileLibrary>(request.question);
}

/// What is made again for each run is remembered elsewhere than in its request.
Suspicion& suspicionOf(Request& request) {
    return isCompilation(request) ? request.program->suspicion : request.pipeline->suspicion;
}

bool serviceHasLibraryFor(const Request& request, const ServiceLife& life) {
    return isCompilation(request) || request.program->compiledIn == life.run();
}

bool isGivenKeptCode(const Request& request) {
    return request.sent && !isCompilation(request) && request.pipeline->kept &&
           request.pipeline->kept->isFromFile();
}

Milliseconds timeOf(const Request& request, const ThreadGroup& compilers) {
    return request.usage ? request.usage->processorTime(compilers) : 0ms;
}

bool isCauseOfLoss(Request& request, bool killed, bool besideJob, const ThreadGroup& compilers) {
    Suspicion& suspicion = suspicionOf(request);
    if (killed)
        return timeOf(request, compilers) < harmlessTime ? suspicion.killed()
                                                         : suspicion.lostPerhaps();
    return besideJob ? suspicion.lostPerhaps() : suspicion.lostAlone();
}

} // namespace

protocol::MakePipeline makePipeline(const Pipeline& pipeline) {
    return {{}, pipeline.id, pipeline.program->id, pipeline.function, pipeline.constants};
}

std::shared_ptr<Request> RequestQueue::make(Question question, std::shared_ptr<Program> program,
                                            std::shared_ptr<Pipeline> pipeline, Answered answered) {
    auto request = std::make_shared<Request>();
    request->id = {m_ids.next()};
    std::visit([&](auto& q) { q.request = request->id; }, question);
    request->question = std::move(question);
    request->program = std::move(program);
    request->pipeline = std::move(pipeline);
    request->answered = std::move(answered);
    return request;
}

void RequestQueue::rebuild(const std::shared_ptr<Pipeline>& pipeline) {
    add(make(makePipeline(*pipeline), pipeline->program, pipeline, nullptr));
}

RequestQueue::Answered RequestQueue::cancel(const std::shared_ptr<Request>& request,
                                            ServiceLife& life) {
    Answered dropped = std::exchange(request->answered, nullptr);
    if (!dropped)
        return dropped;
    request->cancelled = true;
    if (!request->sent)
        std::erase(m_requests, request);
    else if (life.process() && life.isReady())
        life.send(protocol::CancelRequest{request->id});
    return dropped;
}

// ---- sending ------------------------------------------------------------------------------------

void RequestQueue::send(ServiceLife& life) {
    for (std::size_t i = 0; i < m_requests.size(); ++i) {
        std::shared_ptr<Request> request = m_requests[i];
        const auto program = request->program;
        if (request->sent)
            continue;
        const bool isPrepared = isCompilation(*request) || prepare(*request->pipeline, life);
        if (!serviceHasLibraryFor(*request, life)) {
            if (program->askedIn == life.run())
                continue;
            request = make(protocol::CompileLibrary{{}, program->id, program->source}, program,
                           request->pipeline, nullptr);
            m_requests.insert(m_requests.begin() + static_cast<std::ptrdiff_t>(i), request);
        } else if (!isPrepared) {
            continue;
        }
        if (!serviceHasThreadFor(*request, life))
            return;
        sendRequest(*request, life);
    }
}

/// What was with a service that ended without saying why is sent alone the next time. Should that
/// happen again, it is clear what did it.
bool RequestQueue::serviceHasThreadFor(Request& request, const ServiceLife& life) const {
    const auto isSuspect = [](const auto& r) { return r->sent && suspicionOf(*r).mustBeAlone(); };
    const auto isGivenUp = [](const auto& r) { return r->sent && r->cancelled; };
    const auto givenUp = static_cast<std::size_t>(std::ranges::count_if(m_requests, isGivenUp));
    if (givenUp > protocol::maxCancelledRequests)
        return false;
    const std::size_t busy = sentCount() - givenUp;
    if (suspicionOf(request).mustBeAlone() || std::ranges::any_of(m_requests, isSuspect))
        return busy == 0;
    return busy < life.compileThreads();
}

std::size_t RequestQueue::sentCount() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(m_requests, [](const auto& r) { return r->sent; }));
}

void RequestQueue::sendRequest(Request& request, ServiceLife& life) {
    request.sent = true;
    request.usage.reset();
    if (isCompilation(request)) {
        request.program->askedIn = life.run();
        m_kept.textIsSent(request.program->source);
    }
    const KeptPipeline* kept = isCompilation(request) ? nullptr : request.pipeline->kept.get();
    std::visit([&](const auto& message) { life.send(message, kept ? kept->descriptor() : -1); },
               request.question);
}

bool RequestQueue::prepare(Pipeline& pipeline, const ServiceLife& life) {
    if (m_kept.isVouchedFor(pipeline.program->source))
        return true;
    return m_kept.prepare(pipeline.kept, life.driver(), [&] {
        std::vector<std::byte> bytes;
        protocol::Encoder(bytes).put(makePipeline(pipeline).constants);
        return KernelText{pipeline.program->source, pipeline.function, std::move(bytes)};
    });
}

// ---- answers ------------------------------------------------------------------------------------

template <class T>
bool RequestQueue::take(const T& reply, ServiceLife& life) {
    const auto found = std::ranges::find_if(m_requests, [&](const auto& request) {
        return request->sent && request->id == reply.request;
    });
    // Questions and answers are listed in the same order.
    if (found == m_requests.end() ||
        (*found)->question.index() != protocol::alternativeOf<T, Reply> || !plausible(reply))
        return false;
    const std::shared_ptr<Request> request = std::move(*found);
    m_requests.erase(found);
    if (request->answered)
        life.wasUseful(); // making something again is of no use by itself
    if (std::is_same_v<T, protocol::LibraryCompiled>)
        request->program->compiledIn = life.run();
    if (std::is_same_v<T, protocol::PipelineMade> && reply.succeeded)
        request->pipeline->builtIn = life.run();
    suspicionOf(*request) = {};
    if (request->answered)
        answer(*request, Reply(reply));
    else if (!reply.succeeded && request->pipeline)
        request->pipeline->stopped = true;
    if (reachesOutside(reply))
        life.distrust();
    return true;
}

template bool RequestQueue::take(const protocol::LibraryCompiled&, ServiceLife&);
template bool RequestQueue::take(const protocol::PipelineMade&, ServiceLife&);

/// The answer itself comes later, without the lock.
void RequestQueue::answer(Request& request, Result<Reply> reply) {
    m_callbacks.post([answered = std::exchange(request.answered, nullptr),
                      reply = std::move(reply)] { answered(reply); });
}

void RequestQueue::fail(Request& request, const std::string& message) {
    if (request.answered)
        answer(request, Error{message});
    else if (request.pipeline)
        request.pipeline->stopped = true;
}

void RequestQueue::failAll(const std::string& message) {
    for (const auto& request : m_requests)
        fail(*request, message);
    m_requests.clear();
}

// ---- time ---------------------------------------------------------------------------------------

void RequestQueue::measure(const ThreadGroup& compilers) {
    for (const auto& request : m_requests)
        if (request->sent && !request->usage)
            request->usage.emplace().begin(compilers);
}

std::optional<Death> RequestQueue::overdue(const ThreadGroup& compilers) const {
    for (const auto& request : m_requests) {
        if (!request->sent || !request->usage)
            continue;
        if (hasUsedItsTime(*request, compilers))
            return Death::CompileTimeLimit;
        if (request->usage->idleTime(compilers) >= idleLimit)
            return Death::CompileStalled;
    }
    return std::nullopt;
}

bool RequestQueue::hasUsedItsTime(const Request& request, const ThreadGroup& compilers) const {
    return timeOf(request, compilers) >= m_timeLimit;
}

// ---- blame --------------------------------------------------------------------------------------

void RequestQueue::blame(Death death, const ServiceProcess& process, bool besideJob,
                         const ThreadGroup& compilers) {
    if (std::ranges::any_of(m_requests, [](const auto& r) { return isGivenKeptCode(*r); }))
        return; // which may be to blame, and will not be there when they are sent again
    const LastWords words = process.lastWords();
    if (death == Death::CompileTimeLimit)
        return blameSlow(compilers);
    if (death == Death::CompileStalled)
        return suspect([](auto& r) { return suspicionOf(r).stalledAlone(); },
                       "error: compiling this program makes no progress");
    if (death != Death::Ended)
        return;
    const bool blamesCompiler = words.reports(protocol::FaultPlace::Compiler);
    const auto isNamed = [&](const Request& r) { return r.id.value == words.request; };
    if (blamesCompiler &&
        std::ranges::any_of(m_requests, [&](const auto& r) { return r->sent && isNamed(*r); }))
        return failGuilty(isNamed, breakdownMessage(words.faultKind));
    if (blamesCompiler || words.faultKind == 0)
        suspect(
            [&](auto& r) { return isCauseOfLoss(r, process.wasKilled(), besideJob, compilers); },
            "error: the compute service ended while compiling");
}

/// The time is that of the busiest thread, so of several that were sent at the same moment it is
/// not known whose it was.
void RequestQueue::blameSlow(const ThreadGroup& compilers) {
    const auto isSlow = [&](const Request& request) {
        return request.sent && hasUsedItsTime(request, compilers);
    };
    if (std::ranges::count_if(m_requests, [&](const auto& r) { return isSlow(*r); }) == 1)
        return failGuilty(isSlow, "error: compiling this program takes longer than " +
                                      inSeconds(m_timeLimit));
    for (const auto& request : m_requests)
        if (isSlow(*request))
            suspicionOf(*request).lostAmongOthers();
}

/// Of those that the service was at; those that wait for a program that cannot be compiled again
/// fail with it.
void RequestQueue::failGuilty(const std::function<bool(const Request&)>& isGuilty,
                              const std::string& message) {
    std::vector<std::shared_ptr<Program>> lost;
    for (const auto& request : m_requests)
        if (request->sent && isGuilty(*request) && isCompilation(*request))
            lost.push_back(request->program);
    std::erase_if(m_requests, [&](const auto& request) {
        if (!(request->sent && isGuilty(*request)) &&
            std::ranges::find(lost, request->program) == lost.end())
            return false;
        fail(*request, message);
        return true;
    });
}

/// The service was lost, and nothing says why. If it was at one request only, that counts against
/// the request.
void RequestQueue::suspect(const std::function<bool(Request&)>& isCauseWhenAlone,
                           const std::string& message) {
    const bool alone = sentCount() == 1;
    for (const auto& request : m_requests) {
        if (!request->sent)
            continue;
        if (!alone)
            suspicionOf(*request).lostAmongOthers();
        else if (isCauseWhenAlone(*request))
            return failGuilty([](const Request&) { return true; }, message);
    }
}

void RequestQueue::keepForNextRun() {
    std::erase_if(m_requests, [](const auto& request) { return !request->answered; });
    for (const auto& request : m_requests)
        request->sent = false;
}

} // namespace gpu::host
