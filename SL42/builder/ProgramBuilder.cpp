// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/ProgramBuilder.h"

#include "SL42/builder/Assembly.h"
#include "SL42/builder/BracketCheck.h"
#include "SL42/builder/EntrySpelling.h"

#include <utility>

namespace starloom {

ProgramBuilder::ProgramBuilder(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
                               platform::Log& log, Client client)
    : m_device(std::move(device)),
      m_mainQueue(mainQueue),
      m_log(log),
      m_client(std::move(client)),
      m_anchor(mainQueue) {}

void ProgramBuilder::compile(const std::string& source,
                             const gpu::FunctionConstantValues& videoConstants) {
    cancel();
    if (source.empty())
        return publish(source, "No fx() or sfx() found");
    const PreprocessedSource preprocessed = preprocessSource(source, m_log, m_client.foundMusic);
    m_hasCPU = preprocessed.hasCPU;
    m_hasVideo = preprocessed.hasVideo;
    m_hasAudio = preprocessed.hasAudio;
    m_client.scanned(preprocessed);
    std::string warnings = entrySpellingWarnings(source, preprocessed, linesBeforeProgram());
    if (m_hasCPU || m_hasVideo || m_hasAudio)
        start(source, preprocessed, videoConstants, std::move(warnings));
    else
        publish(source, {}, std::move(warnings));
}

void ProgramBuilder::start(const std::string& source, const PreprocessedSource& preprocessed,
                           const gpu::FunctionConstantValues& videoConstants,
                           std::string warnings) {
    m_compilation = std::make_unique<Compilation>(
        m_device, m_mainQueue, m_log, assembleProgram(source, preprocessed),
        [source] { return bracketError(source, linesBeforeProgram()); }, preprocessed,
        videoConstants,
        [this, source, warnings = std::move(warnings)](CompiledProgram program) mutable {
            program.source = source;
            program.linesBefore = linesBeforeProgram();
            finish(std::move(program), std::move(warnings));
        });
}

void ProgramBuilder::finish(CompiledProgram program, std::string warnings) {
    m_compilation.reset();
    const std::string source = program.source;
    std::string log = program.log;
    std::string remarks = program.remarks;
    m_client.compiled(std::move(program));
    publish(source, std::move(log), std::move(warnings), std::move(remarks));
}

bool ProgramBuilder::refuse(const std::string& source) {
    const auto bad = findBadMusic(source);
    if (!bad)
        return false;
    cancel();
    const std::size_t line = linesBeforeProgram() + bad->line;
    publish(source, "Compilation failed:\nprogram_source:" + std::to_string(line) +
                        ":1: error: " + bad->reason + "\n");
    return true;
}

void ProgramBuilder::publish(const std::string& source, std::string log, std::string warnings,
                             std::string remarks) {
    struct News {
        std::string source, log, warnings, remarks;
    };
    auto news = std::make_shared<News>(
        News{source, std::move(log), std::move(warnings), std::move(remarks)});
    m_anchor.async([this, news = std::move(news)] {
        const std::string log = news->warnings + news->log;
        m_warnings.set(news->warnings);
        m_remarks.set(news->remarks);
        m_error.set(log);
        m_log.line("Error: " + log);
        m_hasError.set(news->log.find("failed") != log.npos); // whatever a warning quotes
        m_client.published(news->source, m_hasError.get());
    });
}

} // namespace starloom
