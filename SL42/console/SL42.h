// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console itself, as everybody outside sees it: one object per open document. It is a face. The
// machine runs programs, the builder compiles them, the program's text has a life of its own as a
// document; they do not know each other, and what one has for another goes through here.
#pragma once

#include "SL42/builder/ProgramBuilder.h"
#include "SL42/capture/ScreenRecorder.h"
#include "SL42/document/ProgramText.h"
#include "SL42/engine/Machine.h"
#include "platform/Published.h"
#include "preview/MTLPreview.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace starloom {

/// What the console runs in. All of it must outlive the console.
struct Surroundings {
    platform::MainQueue& mainQueue;
    const platform::Clock& clock;
    platform::Log& log;
    platform::AudioEngine& audioEngine;
    platform::AudioCapture& audioCapture;
    std::shared_ptr<gpu::Device> device;
    /// Makes the view that the console draws into.
    MakeView makeView;
    /// Where changes of the source are kept; nowhere if they need not be.
    TextKeepers keepers = {};
    /// Makes the source of pictures of other windows; empty where there is none.
    MakeCapture makeCapture = nullptr;
    /// Each frame waits for the kernels that its registers ask for, so that it is the same on every
    /// machine. Otherwise it is drawn with those that are there.
    bool exactFrames = false;
};

/// Main thread. Compiling and rendering the song go on beside it and are taken over in tasks of the
/// main queue, in the order of the changes. Values that the interface shows are published and
/// change only in tasks of the main queue. How frames are drawn and what happens to faults: see
/// Machine.
class SL42 final : public MTLPreviewDelegate {
public:
    /// With `preview` set it only holds a document's text: nothing is compiled or drawn. Stops the
    /// program when there is no device or the device has no memory.
    SL42(const Surroundings& surroundings, const std::string& title, std::string source,
         bool preview);
    /// Waits for the frames in flight.
    ~SL42() override;
    SL42(const SL42&) = delete;
    SL42& operator=(const SL42&) = delete;

    bool isReadyToDraw() const override { return m_machine.isReadyToDraw(); }
    void draw(MTLPreview& view) override;
    /// Restarts the console: time zero, all memory zero, the song from its start.
    void reset() { m_machine.reset(); }
    /// Waits for the font, so that the next frame shows all its text. Frames do not wait for it:
    /// in a window, text appears some frames after the first program that draws any. Returns at
    /// once when there has been none.
    void waitForFont() { m_machine.waitForFont(); }

    const std::string& title() const { return m_text.title(); }
    const std::string& source() const { return m_text.source(); }
    /// Starts compiling the new text; its log is published through the main queue. Then measures
    /// how small it gets: with every algorithm on the log, and packed. Stops the program when the
    /// text asks for a song that cannot be.
    void setSource(std::string source);
    /// The same, but treats a text that would stop the program like one that does not compile.
    void offerSource(std::string source);
    /// Tries the newest program anew, after it was set aside for a fault.
    void runAgain();
    /// Whether a program is being compiled or its song rendered.
    bool isBusy() const;
    bool hasCPU() const { return m_builder.hasCPU(); }
    bool hasVideo() const { return m_builder.hasVideo(); }
    bool hasAudio() const { return m_builder.hasAudio(); }

    /// Whether time advances. Frames are drawn also while it does not.
    platform::Published<bool> playing{true};
    /// Whether the editor's window lies over the picture, and inverted, which shows dark text.
    platform::Published<bool> showEditorOverlay;
    platform::Published<bool> invertEditorOverlay;

    // The program as a document; see ProgramText.
    const platform::Published<std::size_t>& size() const { return m_text.size(); }
    const platform::Bytes& compressed() const { return m_text.compressed(); }
    const platform::Published<std::size_t>& packedSize() const { return m_text.packedSize(); }
    void savePacked(const platform::SavePanel& panel) { m_text.savePacked(panel); }
    platform::Result<void> openEditor() { return m_text.openEditor(); }
    platform::Result<void> followFile(const std::filesystem::path& path, std::string contents) {
        return m_text.followFile(path, std::move(contents));
    }
    platform::Result<void> followCopy(const std::filesystem::path& path) {
        return m_text.followCopy(path);
    }
    BlankLead blankLead() const { return m_text.blankLead(); }
    /// Called when an editor has written a file in place for which that does not count.
    std::function<void()> onIgnoredWrite = [] {};
    /// Called when a program has drawn a frame without fault, with its text.
    std::function<void(const std::string& source)> onGoodFrame = [](const std::string&) {};
    void unfollowFile() { m_text.unfollowFile(); }
    void holdFiles(bool hold) { m_text.holdFiles(hold); }
    const LiveCodingFile* liveCodeFile() const { return m_text.liveCodeFile(); }
    const LiveCodingFile* documentFile() const { return m_text.documentFile(); }
    const std::string& rawSrc() const { return m_text.rawSrc(); }
    void setReloadOnEveryWrite(bool reload) { m_text.setReloadOnEveryWrite(reload); }

    /// The log of the last compilation, also when nothing failed.
    const platform::Published<std::string>& error() const { return m_builder.error(); }
    /// Whether that log speaks of a failure.
    const platform::Published<bool>& hasError() const { return m_builder.hasError(); }
    /// The lines of that log about entry functions that are not spelt as they must be.
    const platform::Published<std::string>& warnings() const { return m_builder.warnings(); }
    /// What the compiler says beside that log: warnings, and why a stage has no kernel.
    const platform::Published<std::string>& remarks() const { return m_builder.remarks(); }
    /// What the program did wrong while it ran and what is shown now, in one line; empty when there
    /// was nothing. It begins with the line of the program where that is known.
    const platform::Published<std::string>& fault() const { return m_machine.fault(); }
    /// How much of a new song is rendered, 0 to 1; none while no song is being rendered, and while
    /// it has not taken half a second.
    const platform::Published<std::optional<double>>& songProgress() const {
        return m_machine.audioRenderer().progress();
    }

    /// Seconds into the song.
    float time() const { return m_machine.time(); }
    /// Position in the song, in samples.
    std::uint32_t sample() const { return m_machine.sample(); }

    /// As in Machine: for recording what is drawn, and for drawing it anew.
    void observeFrames(std::function<void(const DrawnFrame&)> observer) {
        m_machine.observeFrames(std::move(observer));
    }
    void setNextFrame(const FrameState& state) { m_machine.setNextFrame(state); }

    const MouseValues& mouseValues() const { return m_machine.input().mouseValues(); }
    /// Stores the values and writes them to the machine.
    void setMouseValues(const MouseValues& values) { m_machine.input().setMouseValues(values); }
    Keyboard& keyboard() { return m_machine.input().keyboard(); }

    /// Captures the editor's window for the overlay.
    ScreenRecorder& screenCapture() { return m_screenCapture; }
    /// What to lay over the picture. Captured frames come here by themselves.
    void setEditorTexture(std::optional<YUVTexture> texture);

    /// Whether the system pointer shows over the view; follows the machine's register.
    bool showCursor() const { return m_machine.showCursor(); }
    MTLPreview& view() { return m_machine.view(); }
    const MachineBuffers& machine() const { return m_machine.buffers(); }
    AudioRenderer& audioRenderer() { return m_machine.audioRenderer(); }
    AudioMonitor& audioMonitor() { return m_machine.audioMonitor(); }

private:
    MachineSurroundings machineSurroundings(const Surroundings& surroundings);
    ProgramBuilder::Client builderClient();
    void compile();

    const bool m_preview;
    ProgramText m_text;
    Machine m_machine;
    ProgramBuilder m_builder;
    ScreenRecorder m_screenCapture;
    std::vector<platform::Observation> m_observations;
};

} // namespace starloom
