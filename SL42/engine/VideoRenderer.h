// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The video stage: runs the program's fx() on every pixel, once a frame, and has the font drawn
// that it writes with.
#pragma once

#include "SL42/engine/LibraryResult.h"
#include "SL42/engine/MachineBuffers.h"
#include "SL42/font/FontTextureGenerator.h"
#include "Shader/ComputeShader.h"
#include "platform/Log.h"

#include <cstdint>
#include <future>
#include <memory>
#include <string>

namespace starloom {

/// Keeps the program's library, because the colour mode and the blend mode are compiled into the
/// kernel: a frame that finds one of those registers changed builds the kernel anew and waits for
/// it. Main thread.
class VideoRenderer {
public:
    /// `queue` is the one that the frames go to. `log` must outlive it. Stops the program when the
    /// device cannot make a texture.
    VideoRenderer(std::shared_ptr<gpu::Device> device, std::shared_ptr<gpu::CommandQueue> queue,
                  platform::Log& log);

    /// Takes the kernel "video" from a program's library, or from what became of it. Returns what
    /// the compile log says about it. When it fails, the kernel before stays.
    std::string updateLibrary(const LibraryResult& library);
    /// Starts the same and returns at once; the future's get() waits for the kernel and puts it in
    /// its place, before anything else is done here.
    std::future<std::string> updateLibraryAsync(const LibraryResult& library);

    /// Encodes the kernel, or nothing when there is none or the device has stopped it.
    void render(const RenderData& renderData, gpu::CommandBuffer& commandBuffer);

    /// Has the font drawn by another thread, unless it has begun before. It is not begun by itself,
    /// because it takes 85 MB that most programs have no use for. Stops the program like
    /// FontTextureGenerator.
    void startFont();
    /// Until then text does not show. Returns at once when the font was not started.
    void waitForFont();

    const ComputeShader* videoShader() const { return m_videoShader.get(); }

private:
    std::string makeFunction();
    std::future<std::string> makeFunctionAsync();
    std::string takeShader(gpu::Result<std::unique_ptr<ComputeShader>> shader);
    void setConstants();
    void followRegisters(const MachineBuffers& machine);
    std::shared_ptr<gpu::Texture> fontTexture();

    std::shared_ptr<gpu::Device> m_device;
    std::shared_ptr<gpu::CommandQueue> m_queue;
    platform::Log& m_log;
    std::unique_ptr<ComputeShader> m_videoShader;
    /// The modes that the constants hold.
    std::uint8_t m_colorMode = 0;
    std::uint8_t m_blendMode = 0;
    std::shared_ptr<gpu::Library> m_library;
    gpu::FunctionConstantValues m_constantValues;
    std::shared_ptr<gpu::Texture> m_blank;
    /// Null until it is started.
    std::unique_ptr<FontTextureGenerator> m_font;
};

} // namespace starloom
