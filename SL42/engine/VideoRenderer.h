// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The video stage: runs the program's fx() on every pixel, once a frame, and has the font drawn
// that it writes with.
#pragma once

#include "SL42/engine/Fallback.h"
#include "SL42/font/FontTextureGenerator.h"
#include "SL42/hardware/MachineBuffers.h"
#include "Shader/ShaderVariants.h"
#include "platform/Log.h"

#include <memory>
#include <utility>

namespace starloom {

/// The colour mode and the blend mode are compiled into the kernel: when a frame finds one of those
/// registers changed, a variant of the kernel is made in the background, and until it is there the
/// one before is used. Main thread.
class VideoRenderer {
public:
    /// `queue` is the one that the frames go to. `log` must outlive it. Stops the program when the
    /// device cannot make a texture.
    VideoRenderer(std::shared_ptr<gpu::Device> device, std::shared_ptr<gpu::CommandQueue> queue,
                  platform::Log& log);

    /// The function constants of a kernel for these registers.
    static gpu::FunctionConstantValues constantsFor(const RegisterValues& registers);

    /// The source is another one: takes its kernel in place of the one before.
    void updateSource(std::shared_ptr<ShaderVariants> kernel) {
        m_videoShader.take(std::move(kernel));
    }
    /// Encodes the kernel, or nothing when there is none that may be run. Returns the one encoded.
    std::shared_ptr<ShaderVariants> render(const RenderData& renderData,
                                           gpu::CommandBuffer& commandBuffer);
    /// Whether the next frame would be drawn with the very variant that these registers ask for.
    bool isSettled(const RegisterValues& registers);
    /// That variant; null when there is no kernel or it cannot be made. Only while it is settled.
    std::shared_ptr<ComputeShader> settledShader(const RegisterValues& registers);
    /// Has that variant made, unless it is there.
    void makeFunction(const RegisterValues& registers);
    /// A frame has been drawn with `kernel`.
    void prove(const std::shared_ptr<ShaderVariants>& kernel) { m_videoShader.prove(kernel); }
    /// There have been kernels, but none may be run any more.
    bool hasFailed() const { return m_videoShader.hasFailed(); }
    const std::shared_ptr<ShaderVariants>& newest() const { return m_videoShader.newest(); }
    bool isNewestStopped() const { return m_videoShader.isNewestStopped(); }
    /// Lets go of all kernels and of what is being made.
    void stop() { m_videoShader = {}; }

    /// Has the font drawn by another thread, unless it has begun before. It is not begun by itself,
    /// because it takes 85 MB that most programs have no use for. Stops the program like
    /// FontTextureGenerator.
    void startFont();
    /// Until then text does not show. Returns at once when the font was not started.
    void waitForFont();
    /// Whether the font is there, or was not started.
    bool isFontComplete() const { return !m_fontGen || m_fontGen->isComplete(); }

    /// Null when there is none that may be run.
    std::shared_ptr<ShaderVariants> videoShader() const { return m_videoShader.current(); }

private:
    const gpu::FunctionConstantValues& updateConstants(const RegisterValues& registers);
    std::shared_ptr<gpu::Texture> fontTex();

    std::shared_ptr<gpu::Device> m_device;
    std::shared_ptr<gpu::CommandQueue> m_queue;
    platform::Log& m_log;
    Fallback<ShaderVariants> m_videoShader;
    /// Kept, because most frames have the same.
    RegisterValues m_registers;
    gpu::FunctionConstantValues m_constantValues = constantsFor({});
    std::shared_ptr<gpu::Texture> m_blank;
    /// Null until it is started.
    std::unique_ptr<FontTextureGenerator> m_fontGen;
};

} // namespace starloom
