// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The display stage: turns the bank that was drawn into what the view shows.
#pragma once

#include "SL42/engine/MachineBuffers.h"
#include "Shader/ComputeShader.h"

#include <cstdint>
#include <future>
#include <memory>
#include <optional>

namespace starloom {

/// One captured frame of the editor's window.
struct YUVTexture {
    std::shared_ptr<gpu::Texture> y;  ///< luma in red
    std::shared_ptr<gpu::Texture> uv; ///< chroma in red and green, 0 to 1, neutral at one half
};

/// Converts from YUV when the colour-mode register says so, blends the editor's window over the
/// picture and clamps to 0...1 unless the HDR register is set. Each of these is compiled into the
/// kernel, which is built anew when one changes. Main thread.
class Display {
public:
    /// The kernel compiles beside what the console does next. When it does not compile, this or the
    /// first frame stops the program with the compiler's message.
    explicit Display(std::shared_ptr<gpu::Device> device);

    /// Encodes the kernel: from the current bank of the machine to the drawable.
    void display(gpu::Drawable& drawable, const RenderData& renderData,
                 gpu::CommandBuffer& commandBuffer);

    bool showEditorOverlay() const { return m_showEditorOverlay; }
    bool invertEditorOverlay() const { return m_invertEditorOverlay; }
    void setShowEditorOverlay(bool show);
    void setInvertEditorOverlay(bool invert);
    /// The overlay appears once it is switched on and has a texture.
    void setEditorTexture(std::optional<YUVTexture> texture);

private:
    void updateConstants();
    void startFunction();
    ComputeShader& shader();
    void followRegisters(const MachineBuffers& machine);

    std::shared_ptr<gpu::Device> m_device;
    std::future<gpu::Result<std::unique_ptr<ComputeShader>>> m_pendingShader;
    /// Null while one is pending.
    std::unique_ptr<ComputeShader> m_displayShader;
    std::optional<YUVTexture> m_editorTexture;
    std::uint8_t m_colorMode = 0;
    bool m_hdr = false;
    bool m_showEditorOverlay = false;
    bool m_invertEditorOverlay = false;
    std::shared_ptr<gpu::Library> m_library;
    gpu::FunctionConstantValues m_constantValues;
    /// Bound in place of an editor texture; never sampled.
    std::shared_ptr<gpu::Texture> m_blankTexture;
};

} // namespace starloom
