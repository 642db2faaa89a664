// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/PortalCapture.h"

#include "platform/capture/portal/CaptureThread.h"

#include <optional>
#include <utility>

namespace platform {
namespace {

class PortalCapture final : public WindowCapture {
public:
    PortalCapture(const PortalAbilities& abilities, const std::filesystem::path& stateFolder,
                  std::chrono::milliseconds patience)
        : m_abilities(abilities), m_token(stateFolder), m_patience(patience) {}

    bool desktopPicks() const override { return true; }
    Result<std::vector<CapturableWindow>> windows() override {
        return std::vector<CapturableWindow>();
    }
    Result<WindowPicture> picture(std::uint64_t /*window*/) override {
        return Error{"This desktop shows its windows only to the user."};
    }
    void start(std::optional<std::uint64_t> /*window*/, unsigned picturesPerSecond,
               PictureHandler onPicture, EventHandler onEvent) override {
        stop();
        m_running.emplace(
            CaptureThread::Settings{m_abilities, m_token, m_patience, picturesPerSecond},
            std::move(onPicture), std::move(onEvent));
    }
    void forgetChoice() override { m_token.replace({}); }
    void stop() override { m_running.reset(); }

private:
    const PortalAbilities m_abilities;
    const RestoreToken m_token;
    const std::chrono::milliseconds m_patience;
    std::optional<CaptureThread> m_running;
};

} // namespace

Result<std::unique_ptr<WindowCapture>> makePortalCapture(const std::filesystem::path& stateFolder,
                                                         std::chrono::milliseconds patience) {
    const PortalAbilities abilities = SL42_TRY(readPortalAbilities(patience));
    return std::unique_ptr<WindowCapture>(
        std::make_unique<PortalCapture>(abilities, stateFolder, patience));
}

} // namespace platform
