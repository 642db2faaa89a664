// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The machine: its buffers, the stages that run programs on them, and the loop that turns both into
// frames. It takes compiled programs; where they come from, and what else becomes of their text, is
// not its business.
#pragma once

#include "SL42/audio/AudioMonitor.h"
#include "SL42/audio/AudioRenderer.h"
#include "SL42/engine/CPU.h"
#include "SL42/engine/Display.h"
#include "SL42/engine/FrameInputs.h"
#include "SL42/engine/InputPorts.h"
#include "SL42/engine/VideoRenderer.h"
#include "SL42/hardware/MachineBuffers.h"
#include "Shader/CompiledProgram.h"
#include "gpu/Device.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"
#include "platform/Published.h"
#include "platform/Semaphore.h"
#include "platform/audio/AudioCapture.h"
#include "platform/audio/AudioEngine.h"
#include "preview/MTLPreview.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace starloom {

/// Makes the view that the machine draws into.
using MakeView = std::function<std::unique_ptr<MTLPreview>(const std::shared_ptr<gpu::Device>&)>;

/// A frame that a machine is about to draw. Refers to what is gone when its observer returns.
struct DrawnFrame {
    platform::Seconds clock{};
    const FrameState& state;
    const std::string& source; ///< of the program that the stages hold
    unsigned program = 0;      ///< counts the programs that they were given
    unsigned resets = 0;       ///< counts what reset() did
    bool songPlays = false;
};

/// What a machine runs in. All of it must outlive the machine.
struct MachineSurroundings {
    platform::MainQueue& mainQueue;
    const platform::Clock& clock;
    platform::Log& log;
    platform::AudioEngine& audioEngine;
    platform::AudioCapture& audioCapture;
    std::shared_ptr<gpu::Device> device; ///< not null
    MakeView makeView;
    /// Each frame waits for the kernels that its registers ask for, so that it is the same on every
    /// machine. Otherwise it is drawn with those that are there.
    bool exactFrames = false;
    /// Whether a newer program is on its way.
    std::function<bool()> isCompiling;
    /// Gets the text of a program once it has drawn a frame without fault.
    std::function<void(const std::string& source)> programIsGood;
};

/// Main thread. Drawing waits when three frames are in flight, and goes on serving the main queue
/// meanwhile.
///
/// When a kernel hangs or faults, its frame is not shown: the last picture stays. The stage goes
/// back to the last kernel that drew a frame without fault, if there is one, with memory and
/// registers as they are.
///
/// A frame that could only repeat the one before, because the kernel sees no time and no input that
/// has changed, is not run at all, unless frames are exact.
class Machine {
public:
    /// Stops the program when the device has no memory.
    explicit Machine(MachineSurroundings surroundings);
    /// Waits for the frames in flight.
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// False while as many frames are in flight as may be, while failed ones are still on their
    /// way, and until the log of the first program is out.
    bool isReadyToDraw() const;
    /// Encodes and submits one frame, as soon as the machine is ready to.
    void draw(MTLPreview& view);
    /// Time zero, all memory zero, the song from its start.
    void reset();
    /// Whether time advances. Frames are drawn also while it does not.
    void setPlaying(bool playing) { m_playing = playing; }
    /// `observer` is told of every frame, once all that it sees is settled; an empty one ends that.
    void observeFrames(std::function<void(const DrawnFrame&)> observer) {
        m_frameObserver = std::move(observer);
    }
    /// The next frame sees this in place of clock, song and input.
    void setNextFrame(const FrameState& state) { m_nextState = state; }
    /// Waits for the font, so that the next frame shows all its text. Returns at once when it was
    /// not started.
    void waitForFont() { m_videoRenderer.waitForFont(); }

    /// A newer program is about to be compiled: ends what it would have to wait for.
    void expectProgram();
    /// The song that the next program asks for.
    void setMusic(const AudioSpec& music);
    /// Whether it has a song, whose position `sample` follows from now on.
    void setHasAudio(bool hasAudio) { m_hasAudio = hasAudio; }
    /// Has the font drawn for it, unless that has been done.
    void startFont() { m_videoRenderer.startFont(); }
    /// What its video kernel should be compiled with.
    gpu::FunctionConstantValues videoConstants() const;
    /// Takes it over, all stages at once, and starts rendering its song.
    void take(CompiledProgram program);
    /// Its log is out: from the first one on, frames may be drawn.
    void logPublished();

    /// What the program did wrong while it ran and what is shown now, in one line; empty when there
    /// was nothing. It begins with the line of the program where that is known.
    const platform::Published<std::string>& fault() const { return m_fault; }

    /// Seconds into the song.
    float time() const { return m_time; }
    /// Position in the song, in samples.
    std::uint32_t sample() const { return m_sample; }
    /// Whether the system pointer shows over the view; follows the machine's register.
    bool showCursor() const { return m_showCursor; }

    const MachineBuffers& buffers() const { return m_buffers; }
    MTLPreview& view() { return *m_view; }
    InputPorts& input() { return m_input; }
    const InputPorts& input() const { return m_input; }
    Display& display() { return m_display; }
    AudioRenderer& audioRenderer() { return m_audioRenderer; }
    const AudioRenderer& audioRenderer() const { return m_audioRenderer; }
    AudioMonitor& audioMonitor() { return m_audioMonitor; }

private:
    static constexpr unsigned maxFramesInFlight = 3;

    /// A frame between its encoding and its completion.
    struct Frame {
        unsigned program = 0;
        /// A copy of the registers after the frame.
        std::shared_ptr<gpu::Buffer> registers;
        /// The machine's registers, from which they are copied.
        std::shared_ptr<gpu::Buffer> registersOf;
        std::shared_ptr<ComputeShader> cpu;
        std::shared_ptr<ShaderVariants> video;
        /// Drawn and shown; null when there was no drawable.
        std::shared_ptr<gpu::Buffer> bank;
        /// Its inputs; none when equal inputs could give another frame.
        std::optional<FrameInputs> inputs;
    };
    /// An error on its way to the main queue; null for none.
    using SharedError = std::shared_ptr<const gpu::CommandBufferError>;

    void waitUntilReady();
    void updateTime();
    void updateCursor(MTLPreview& view);
    void copyInput();
    void observeFrame();
    std::optional<FrameInputs> nextInputs();
    bool wouldRepeat(const std::optional<FrameInputs>& inputs);
    std::shared_ptr<gpu::CommandBuffer> drawMachine(Frame& frame);
    void showMachine(const std::shared_ptr<gpu::Drawable>& drawable,
                     const std::shared_ptr<gpu::CommandBuffer>& render);
    void frameCompleted(Frame& frame, const SharedError& error);
    void frameFailed(Frame& frame, const SharedError& error);
    void frameSucceeded(Frame& frame);
    void restoreBanks(gpu::CommandBuffer& commandBuffer);
    void renderSong();
    bool isAnyNewestStopped() const;
    static SharedError shared(std::optional<gpu::CommandBufferError> error);
    void reportFault(const SharedError& error, unsigned program);
    /// What is shown or played after the fault; empty when frames are exact.
    std::string consequenceOf(const gpu::CommandBufferError& error) const;
    void noteGood(const Frame& frame);
    RenderData renderData() const;

    const MachineSurroundings m_surroundings;
    AudioMonitor m_audioMonitor;
    std::unique_ptr<MTLPreview> m_view;
    std::shared_ptr<gpu::CommandQueue> m_queue;
    AudioRenderer m_audioRenderer;
    VideoRenderer m_videoRenderer;
    CPU m_cpu;
    platform::Semaphore m_semaphore;
    bool m_playing = true;
    bool m_hasAudio = false;
    unsigned m_resets = 0;
    std::function<void(const DrawnFrame&)> m_frameObserver;
    std::optional<FrameState> m_nextState;
    std::optional<platform::Seconds> m_startTime;
    float m_time = 0;
    std::uint32_t m_sample = 0;
    MachineBuffers m_buffers;
    RegisterValues m_registers;
    InputPorts m_input{m_buffers};
    Display m_display;
    bool m_showCursor = false;

    /// The program that the stages hold, without its kernels, and its number.
    CompiledProgram m_program;
    unsigned m_programNumber = 0;
    /// The last program that has drawn a frame.
    unsigned m_goodProgram = 0;
    /// The log of the first is out.
    bool m_hasProgram = false;
    /// A frame was ended early for the program that is being compiled; no frame is drawn before it
    /// has arrived.
    bool m_awaitsProgram = false;
    platform::Published<std::string> m_fault;

    /// A ring.
    std::array<Frame, maxFramesInFlight> m_frames;
    std::size_t m_nextFrame = 0;
    /// The frame before, without which none is carried out; null after one has failed.
    std::shared_ptr<gpu::CommandBuffer> m_lastRender;
    /// Frames have failed, so that the next one has to put the banks in order.
    bool m_restoresBanks = false;
    /// The bank with the last picture that was shown; null before the first.
    std::shared_ptr<gpu::Buffer> m_shownBank;
    /// The inputs of that picture; none when equal inputs could give another one.
    std::optional<FrameInputs> m_shownInputs;
    platform::MainQueueAnchor m_anchor;
};

} // namespace starloom
