// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/console/SL42.h"

#include "platform/base/Fatal.h"

#include <utility>

namespace starloom {

/// Before anything else is made. Returns the log of the surroundings.
static platform::Log& announce(const Surroundings& surroundings, const std::string& title) {
    surroundings.log.line("Init sl42: " + title);
    if (!surroundings.device)
        platform::fatalError("There is no GPU device");
    return surroundings.log;
}

SL42::SL42(const Surroundings& surroundings, const std::string& title, std::string source,
           bool preview)
    : m_preview(preview),
      m_text(surroundings.mainQueue, announce(surroundings, title), surroundings.keepers, title,
             std::move(source), preview,
             {.edited = [this](std::string text) { offerSource(std::move(text)); },
              .savedAgain =
                  [this] {
                      if (!fault().get().empty()) // whoever saves a program again that was set
                          runAgain();             // aside wants it tried again
                  },
              .ignoredWrite = [this] { onIgnoredWrite(); }}),
      m_machine(machineSurroundings(surroundings)),
      m_builder(surroundings.device, surroundings.mainQueue, surroundings.log, builderClient()),
      m_screenCapture(surroundings.device, surroundings.mainQueue, surroundings.log,
                      surroundings.makeCapture) {
    m_observations = {playing.observe([this](bool play) { m_machine.setPlaying(play); }),
                      showEditorOverlay.observe([this, &log = surroundings.log](bool show) {
                          log.line(show ? "Showing editor overlay" : "Hiding editor overlay");
                          m_machine.display().setShowEditorOverlay(show);
                      }),
                      invertEditorOverlay.observe([this](bool invert) {
                          m_machine.display().setInvertEditorOverlay(invert);
                      }),
                      error().observe([this](const std::string&) { m_machine.logPublished(); })};
    m_screenCapture.textureUpdateBlock = [this](std::optional<YUVTexture> texture) {
        setEditorTexture(std::move(texture));
    };
    view().setDelegate(this);
    if (m_preview)
        return;
    compile();
    m_text.pack();
    reset();
}

SL42::~SL42() {
    view().setDelegate(nullptr);
}

MachineSurroundings SL42::machineSurroundings(const Surroundings& surroundings) {
    return {.mainQueue = surroundings.mainQueue,
            .clock = surroundings.clock,
            .log = surroundings.log,
            .audioEngine = surroundings.audioEngine,
            .audioCapture = surroundings.audioCapture,
            .device = surroundings.device,
            .makeView = surroundings.makeView,
            .exactFrames = surroundings.exactFrames,
            .isCompiling = [this] { return m_builder.isCompiling(); },
            .programIsGood =
                [this](const std::string& text) {
                    m_text.recordGood(text);
                    onGoodFrame(text);
                }};
}

ProgramBuilder::Client SL42::builderClient() {
    return {.foundMusic = [this](const AudioSpec& music) { m_machine.setMusic(music); },
            .scanned =
                [this](const PreprocessedSource& program) {
                    m_machine.setHasAudio(program.hasAudio);
                    if (program.hasVideo && program.mayDrawText)
                        m_machine.startFont(); // while the program compiles
                },
            .compiled = [this](CompiledProgram program) { m_machine.take(std::move(program)); },
            .published = [this](const std::string& text,
                                bool failed) { m_text.recordCompiled(text, !failed); }};
}

void SL42::draw(MTLPreview& view) {
    if (!m_preview)
        m_machine.draw(view);
}

void SL42::compile() {
    m_machine.expectProgram();
    m_builder.compile(source(), m_machine.videoConstants());
}

void SL42::setSource(std::string source) {
    m_text.setSource(std::move(source), [this] { compile(); });
}

void SL42::offerSource(std::string source) {
    m_text.setSource(std::move(source), [this] { runAgain(); });
}

void SL42::runAgain() {
    if (!m_preview && !m_builder.refuse(source()))
        compile();
}

bool SL42::isBusy() const {
    return m_builder.isCompiling() || m_machine.audioRenderer().isRendering();
}

void SL42::setEditorTexture(std::optional<YUVTexture> texture) {
    m_machine.display().setEditorTexture(std::move(texture));
}

} // namespace starloom
