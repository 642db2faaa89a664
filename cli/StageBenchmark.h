// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The stages of the console one by one, each in command buffers of its own, so that the device
// can tell how long each of them takes.
#pragma once

#include "SL42/audio/AudioMonitor.h"
#include "SL42/builder/Compilation.h"
#include "SL42/engine/CPU.h"
#include "SL42/engine/Display.h"
#include "SL42/engine/InputPorts.h"
#include "SL42/engine/VideoRenderer.h"
#include "SL42/hardware/MachineBuffers.h"
#include "SL42/offline/OfflineInput.h"
#include "Shader/ComputeShader.h"
#include "gpu/Device.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/base/Result.h"
#include "platform/image/Image.h"
#include "preview/OffscreenPreview.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace cli {

/// Milliseconds that the device spent; zero for what the program does not have.
struct StageTimes {
    double cpu = 0;
    double video = 0;
    double display = 0;
};

/// Where the time of compiling a whole program went, in milliseconds, all kernels together.
struct CompilePhases {
    double frontEnd = 0;
    double optimiser = 0;
    double codeGeneration = 0;
};

/// Of rendering the whole song.
struct SongTime {
    std::uint64_t samples = 0;
    double milliseconds = 0;
};

/// One thread.
class StageBenchmark {
public:
    StageBenchmark(std::shared_ptr<gpu::Device> device, platform::Log& log);

    /// Compiles a program from scratch and takes its kernels. The error is the compiler's text.
    platform::Result<CompilePhases> compile(std::string_view source);
    /// Runs one frame after compile(). The error is the device's line.
    platform::Result<StageTimes> runFrame(float time);
    /// What comes in from the next frame on.
    void setInput(starloom::InputFiles files);
    /// What the last frame showed.
    platform::Result<platform::Image> picture();
    /// Renders the song after compile(); no samples when the program has none. Likewise.
    platform::Result<SongTime> renderSong();

private:
    template <class Encode>
    platform::Result<double> measure(const char* label, Encode encode);

    void take(starloom::CompiledProgram program);
    void waitForDisplay();
    void takeInput(float time);

    std::shared_ptr<gpu::Device> m_device;
    platform::Log& m_log;
    platform::MainQueue m_mainQueue;
    std::shared_ptr<gpu::CommandQueue> m_queue;
    starloom::MachineBuffers m_machine;
    starloom::OfflineInput m_inputFiles;
    starloom::AudioMonitor m_audioMonitor;
    starloom::InputPorts m_input{m_machine};
    starloom::CPU m_cpu;
    starloom::VideoRenderer m_video;
    std::shared_ptr<starloom::ComputeShader> m_songShader;
    starloom::Display m_display;
    starloom::OffscreenPreview m_view;
};

} // namespace cli
