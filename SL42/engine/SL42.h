// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console itself: one object per open document that owns the machine, the stages that run on
// it and the program's text, and draws a frame whenever its view asks for one.
#pragma once

#include "SL42/audio/AudioMonitor.h"
#include "SL42/audio/AudioRenderer.h"
#include "SL42/capture/ScreenRecorder.h"
#include "SL42/engine/CPU.h"
#include "SL42/engine/Display.h"
#include "SL42/engine/FrameInputs.h"
#include "SL42/engine/MachineBuffers.h"
#include "SL42/engine/Register.h"
#include "SL42/engine/VideoRenderer.h"
#include "SL42/input/Keyboard.h"
#include "SL42/input/MouseValues.h"
#include "gpu/Device.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/Published.h"
#include "platform/Semaphore.h"
#include "platform/WholeFile.h"
#include "platform/audio/AudioCapture.h"
#include "platform/audio/AudioEngine.h"
#include "preview/MTLPreview.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace starloom {

class Compilation;
class Journal;
class LiveCodingFile;
struct CompiledProgram;
struct PreprocessedSource;

/// What the console runs in. All of it must outlive the console.
struct Surroundings {
    platform::MainQueue& mainQueue;
    const platform::Clock& clock;
    platform::Log& log;
    platform::AudioEngine& audioEngine;
    platform::AudioCapture& audioCapture;
    std::shared_ptr<gpu::Device> device;
    /// Makes the view that the console draws into.
    std::function<std::unique_ptr<MTLPreview>(const std::shared_ptr<gpu::Device>&)> makeView;
    /// Where changes of the source are kept until the normal end; none if they need not be.
    Journal* journal = nullptr;
    /// Makes the source of pictures of other windows; empty where there is none.
    MakeCapture makeCapture = nullptr;
    /// Each frame waits for the kernels that its registers ask for, so that it is the same on every
    /// machine. Otherwise it is drawn with those that are there.
    bool exactFrames = false;
};

/// Asks the user where to save, proposing a file name. None when the user thinks better of it.
using SavePanel = std::function<std::optional<std::filesystem::path>(const std::string& name)>;

/// Main thread. Compiling and rendering the song go on beside it and are taken over in tasks of the
/// main queue, in the order of the changes. Drawing waits when three frames are in flight, and goes
/// on serving the main queue meanwhile. Values that the interface shows are published and change
/// only in tasks of the main queue.
///
/// When a kernel hangs or faults, its frame is not shown: the last picture stays. The stage goes
/// back to the last kernel that drew a frame without fault, if there is one, with memory and
/// registers as they are.
///
/// A frame that could only repeat the one before, because the kernel sees no time and no input that
/// has changed, is not run at all, unless frames are exact.
class SL42 final : public MTLPreviewDelegate {
public:
    /// With `preview` set it only holds a document's text: nothing is compiled or drawn. Stops the
    /// program when there is no device or the device has no memory.
    SL42(Surroundings surroundings, std::string title, std::string source, bool preview);
    /// Waits for the frames in flight.
    ~SL42() override;
    SL42(const SL42&) = delete;
    SL42& operator=(const SL42&) = delete;

    /// False while as many frames are in flight as may be, while failed ones are still on their
    /// way, and until the first program has been compiled.
    bool isReadyToDraw() const override;
    /// Encodes and submits one frame, as soon as the console is ready to.
    void draw(MTLPreview& view) override;
    /// Restarts the console: time zero, all memory zero, the song from its start.
    void reset();
    /// Waits for the font, so that the next frame shows all its text. Frames do not wait for it:
    /// in a window, text appears some frames after the first program that draws any. Returns at
    /// once when there has been none.
    void waitForFont() { m_videoRenderer.waitForFont(); }

    const std::string& title() const { return m_title; }
    const std::string& source() const { return m_source; }
    /// Starts compiling the new text; its log is published through the main queue. Then measures
    /// how small it gets: with every algorithm on the log, and packed. Stops the program when the
    /// text asks for a song that cannot be.
    void setSource(std::string source);
    /// The same, but treats a text that would stop the program like one that does not compile.
    void offerSource(std::string source);
    /// Tries the newest program anew, after it was set aside for a fault.
    void runAgain();
    /// Whether a program is being compiled or its song rendered.
    bool isBusy() const { return m_compilation != nullptr || m_audioRenderer.isRendering(); }
    bool hasCPU() const { return m_hasCPU; }
    bool hasVideo() const { return m_hasVideo; }
    bool hasAudio() const { return m_hasAudio; }

    /// Whether time advances. Frames are drawn also while it does not.
    platform::Published<bool> playing{true};
    /// Code points of the source.
    const platform::Published<std::size_t>& size() const { return m_size; }
    /// The packed form of the source: minified, then compressed. Empty in a preview.
    const platform::Bytes& compressed() const { return m_compressed; }
    /// Its length in bytes.
    const platform::Published<std::size_t>& packedSize() const { return m_packedSize; }
    /// Makes the packed form anew.
    void pack();
    /// Asks for a file and writes the packed form there. Says on the log where, or what went wrong.
    void savePacked(const SavePanel& panel);
    /// Writes the packed form to a file whose name gets the ending that goes with the type.
    void writeFile(const std::string& filename, const std::filesystem::path& directory,
                   std::string_view type);

    /// Writes the source to a new file, opens it in the user's editor ($SL42_EDITOR, else the
    /// desktop's choice) and follows what is saved there. After an error all is as before.
    platform::Result<void> openEditor();
    /// Follows what is saved in a file that the source was read from, instead of any other file.
    platform::Result<void> followFile(const std::filesystem::path& path);
    /// The file that is followed, if any.
    const LiveCodingFile* liveCodeFile() const { return m_liveCodeFile.get(); }
    /// The text as last read from that file; the source is the same without white space around it.
    const std::string& rawSrc() const { return m_rawSrc; }
    /// Whether editors that write in place count, too, for this file and later ones.
    void setReloadOnEveryWrite(bool reload);

    /// The log of the last compilation, also when nothing failed.
    const platform::Published<std::string>& error() const { return m_error; }
    /// Whether that log speaks of a failure.
    const platform::Published<bool>& hasError() const { return m_hasError; }
    /// What the program did wrong while it ran and what is shown now, in one line; empty when there
    /// was nothing. It begins with the line of the program where that is known.
    const platform::Published<std::string>& fault() const { return m_fault; }
    /// How much of a new song is rendered, 0 to 1; none while no song is being rendered, and while
    /// it has not taken half a second.
    const platform::Published<std::optional<double>>& songProgress() const {
        return m_audioRenderer.progress();
    }

    /// Seconds into the song.
    float time() const { return m_time; }
    /// Position in the song, in samples.
    std::uint32_t sample() const { return m_sample; }

    const MouseValues& mouseValues() const { return m_mouseValues.get(); }
    /// Stores the values and writes them to the machine.
    void setMouseValues(const MouseValues& values);
    Keyboard& keyboard() { return m_keyboard; }

    /// The registers as the last complete frame left them.
    const RegisterValues& registers() const { return m_registers; }

    /// Captures the editor's window for the overlay.
    ScreenRecorder& screenCapture() { return m_screenCapture; }
    bool showEditorOverlay() const { return m_display.showEditorOverlay(); }
    bool invertEditorOverlay() const { return m_display.invertEditorOverlay(); }
    void setShowEditorOverlay(bool show);
    void setInvertEditorOverlay(bool invert) { m_display.setInvertEditorOverlay(invert); }
    /// What to lay over the picture. Captured frames come here by themselves.
    void setEditorTexture(std::optional<YUVTexture> texture);

    /// Whether the system pointer shows over the view; follows the machine's register.
    bool showCursor() const { return m_showCursor; }
    MTLPreview& view() { return *m_view; }
    const MachineBuffers& machine() const { return m_machine; }
    AudioRenderer& audioRenderer() { return m_audioRenderer; }
    AudioMonitor& audioMonitor() { return m_audioMonitor; }

private:
    static constexpr unsigned maxFramesInFlight = 3;

    /// A frame between its encoding and its completion.
    struct Frame {
        unsigned program = 0;
        /// What the registers hold when it has been drawn.
        std::shared_ptr<gpu::Buffer> registers;
        /// Those that they are a copy of.
        std::shared_ptr<gpu::Buffer> registersOf;
        std::shared_ptr<ComputeShader> cpu;
        std::shared_ptr<ShaderVariants> video;
        /// Drawn and shown; null when there was no drawable.
        std::shared_ptr<gpu::Buffer> bank;
        /// What it was made from, where that tells what the next one will be.
        std::optional<FrameInputs> inputs;
    };
    /// An error on its way to the main queue; null for none.
    using SharedError = std::shared_ptr<const gpu::CommandBufferError>;

    void keepSource(std::string source);
    void waitUntilReady();
    void updateTime();
    void updateCursor(MTLPreview& view);
    void copyInput();
    void setInput(gpu::Buffer& buffer, std::span<const std::byte> bytes);
    void clearClicks();
    std::optional<FrameInputs> nextInputs();
    bool wouldRepeat(const std::optional<FrameInputs>& inputs);
    std::shared_ptr<gpu::CommandBuffer> drawMachine(Frame& frame);
    void showMachine(const std::shared_ptr<gpu::Drawable>& drawable,
                     const std::shared_ptr<gpu::CommandBuffer>& render);
    void frameCompleted(Frame& frame, const SharedError& error);
    void restoreBanks(gpu::CommandBuffer& commandBuffer);
    bool isAnyNewestStopped() const;
    static SharedError shared(std::optional<gpu::CommandBufferError> error);
    void reportFault(const SharedError& error, unsigned program);
    /// What a kernel did wrong, and where.
    std::string describe(const gpu::CommandBufferError& error) const;
    /// What becomes of the show.
    std::string consequenceOf(const gpu::CommandBufferError& error) const;
    void noteGood(const Frame& frame);
    RenderData renderData() const;
    /// Has the main queue call `work(*this)`, unless the console has gone by then. Any thread.
    template <class Work>
    void runOnMainQueue(Work work) {
        m_surroundings.mainQueue.async([self = std::weak_ptr(m_self), work = std::move(work)] {
            if (const auto engine = self.lock())
                work(**engine);
        });
    }

    // The program builder (SL42/builder/Compile.cpp).
    void compile();
    void startCompilation(const PreprocessedSource& preprocessed);
    void take(CompiledProgram program);
    void renderSong();
    void setMusic(const AudioSpec& music);
    void publishLog(std::string log);

    // Packing (SL42/document/Pack.cpp) and live editing (SL42/document/LiveSource.cpp).
    void surveySizes();
    std::function<void(const std::string&)> sourceReader();
    void follow(std::unique_ptr<LiveCodingFile> file);

    const Surroundings m_surroundings;
    const bool m_preview;
    const std::string m_title;
    std::string m_rawSrc;
    std::string m_source;
    platform::Published<std::size_t> m_size;
    platform::Bytes m_compressed;
    platform::Published<std::size_t> m_packedSize;
    bool m_hasCPU = false;
    bool m_hasVideo = false;
    bool m_hasAudio = false;
    /// Counts the programs compiled so far, to tell whose fault it was.
    unsigned m_program = 0;
    /// The newest of them on its way; null when it has arrived.
    std::unique_ptr<Compilation> m_compilation;
    /// The first has arrived.
    bool m_hasProgram = false;
    /// The program that the stages hold, as a number and as a text; the text is empty when not all
    /// of its kernels could be made.
    unsigned m_takenProgram = 0;
    std::string m_takenSource;
    /// The last program that has drawn a frame.
    unsigned m_goodProgram = 0;
    platform::Published<bool> m_hasError;
    platform::Published<std::string> m_error;
    platform::Published<std::string> m_fault;
    AudioMonitor m_audioMonitor;
    std::unique_ptr<MTLPreview> m_view;
    std::shared_ptr<gpu::CommandQueue> m_queue;
    AudioRenderer m_audioRenderer;
    VideoRenderer m_videoRenderer;
    CPU m_cpu;
    platform::Semaphore m_semaphore;
    std::optional<platform::Seconds> m_startTime;
    float m_time = 0;
    std::uint32_t m_sample = 0;
    MachineBuffers m_machine;
    RegisterValues m_registers;
    /// Used in turn.
    std::array<Frame, maxFramesInFlight> m_frames;
    std::size_t m_nextFrame = 0;
    /// Holds the last picture that was shown; null before the first.
    std::shared_ptr<gpu::Buffer> m_shownBank;
    /// What that was made from; none when that does not tell what the next one will be.
    std::optional<FrameInputs> m_shownInputs;
    std::uint64_t m_inputChanges = 0;
    /// Frames have failed, and the banks are not in order.
    bool m_restoresBanks = false;
    /// A frame was ended for the program that is being compiled; the next one is that program's.
    bool m_awaitsProgram = false;
    /// The frame before, without which none is carried out; null after one has failed.
    std::shared_ptr<gpu::CommandBuffer> m_lastRender;
    Display m_display;
    ScreenRecorder m_screenCapture;
    bool m_showCursor = false;
    Keyboard m_keyboard;
    platform::Published<MouseValues> m_mouseValues;
    bool m_reloadOnEveryWrite = false;
    std::unique_ptr<LiveCodingFile> m_liveCodeFile;
    /// Tells tasks on the main queue whether the console is still there.
    std::shared_ptr<SL42*> m_self = std::make_shared<SL42*>(this);
};

} // namespace starloom
