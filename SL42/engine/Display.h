// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The display stage: turns the bank that was drawn into what the view shows.
#pragma once

#include "SL42/hardware/MachineBuffers.h"
#include "SL42/hardware/YUVTexture.h"
#include "Shader/ShaderVariants.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace starloom {

/// Converts from YUV when the colour-mode register says so, blends the editor's window over the
/// picture and clamps to 0...1 unless the HDR register is set. Each of these is compiled into the
/// kernel. When one changes, a variant is made in the background, and until it is there the one
/// before is used. Main thread.
class Display {
public:
    /// The kernel compiles beside what the console does next. It is known to compile, so when it
    /// does not, the device gets a fresh worker to do it. If several cannot, a task of the main
    /// queue stops the program with the compiler's message, unless there has been a picture: then
    /// the last variant stays.
    Display(std::shared_ptr<gpu::Device> device, platform::MainQueue& mainQueue,
            platform::Log& log);

    /// Whether there is a kernel. Until then display() must not be called.
    bool isReady() const { return m_isReady; }
    /// Whether the next frame would be shown with the very variant that these registers ask for.
    bool isSettled(const RegisterValues& registers);
    /// Has that variant made, unless it is there.
    void makeFunction(const RegisterValues& registers);
    /// Whether the picture that was displayed last, displayed again, would look as it did.
    bool wouldRepeat(const RegisterValues& registers);
    /// Lets go of what is being made.
    void stop();

    /// Encodes the kernel: from the current bank of the machine to the drawable.
    void display(gpu::Drawable& drawable, const RenderData& renderData,
                 gpu::CommandBuffer& commandBuffer);

    bool showEditorOverlay() const { return m_showEditorOverlay; }
    bool invertEditorOverlay() const { return m_invertEditorOverlay; }
    void setShowEditorOverlay(bool show) { m_showEditorOverlay = show; }
    void setInvertEditorOverlay(bool invert) { m_invertEditorOverlay = invert; }
    /// The overlay appears once it is switched on and has a texture.
    void setEditorTexture(std::optional<YUVTexture> texture) {
        m_editorTexture = std::move(texture);
        m_displayedWith.reset();
    }

private:
    void startCompiling();
    void take(const gpu::Result<std::shared_ptr<gpu::Library>>& library);
    void takeFailure(const std::string& message);
    const gpu::FunctionConstantValues& updateConstants(const RegisterValues& registers);

    std::shared_ptr<gpu::Device> m_device;
    platform::MainQueue& m_mainQueue;
    platform::Log& m_log;
    /// Null until the library has been compiled.
    std::unique_ptr<ShaderVariants> m_displayShader;
    /// The variant used last, unless there is another editor texture since.
    std::shared_ptr<ComputeShader> m_displayedWith;
    bool m_isReady = false;
    unsigned m_failures = 0; ///< in a row
    std::optional<YUVTexture> m_editorTexture;
    bool m_showEditorOverlay = false;
    bool m_invertEditorOverlay = false;
    /// What the constants below hold; most frames have the same.
    struct Modes {
        std::uint8_t colorMode = 0;
        bool hdr = false;
        bool showEditor = false;
        bool invertEditorColors = false;
        bool operator==(const Modes&) const = default;
    };
    std::optional<Modes> m_modes;
    gpu::FunctionConstantValues m_constantValues;
    /// Bound in place of an editor texture; never sampled.
    std::shared_ptr<gpu::Texture> m_blankTexture;
    platform::MainQueueAnchor m_anchor;
    gpu::Pending m_pendingLibrary;
};

} // namespace starloom
