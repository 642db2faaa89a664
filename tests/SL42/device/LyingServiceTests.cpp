// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A compute service that has been taken over and says what it likes, in good form: the console does
// not end, and its picture is there as soon as a good service is.
#include "gpu/host/HostDevice.h"
#include "tests/SL42/device/DeviceFixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace starloom {
namespace {

class LyingService : public EngineFixture, public testing::WithParamInterface<const char*> {
protected:
    LyingService() {
        exactFrames = false;
        ::setenv("SL42_HOSTILE", GetParam(), 1);
        ::setenv("SL42_HOSTILE_RUNS", m_runs.c_str(), 1);
        ::setenv("SL42_HOSTILE_THEN", BUILT_SERVICE, 1);
    }
    ~LyingService() override {
        engine.reset();
        std::filesystem::remove(m_runs);
    }
    void lie(int runs) { std::ofstream(m_runs) << runs; }

    void startConsole(const std::string& source) {
        m_device = gpu::host::HostDevice::create(HOSTILE_COMPUTE);
        engine = std::make_unique<SL42>(
            surroundingsOf(std::shared_ptr<gpu::Device>(m_device), m_view), "Test", source, false);
        EXPECT_TRUE(serveUntil([this] { return !engine->isBusy(); }));
        settle();
    }
    std::shared_ptr<gpu::Texture> drawFrame() {
        m_view->refresh();
        auto picture = m_view->waitForPicture();
        settle();
        return picture;
    }
    /// Whether the program's picture is shown after some frames.
    bool shows(const Color& colour) {
        for (int i = 0; i < 20; ++i) {
            const auto picture = drawFrame();
            if (picture && Picture(*picture).at(5, 5) == colour)
                return true;
        }
        return false;
    }

    OffscreenPreview* m_view = nullptr;
    std::shared_ptr<gpu::host::HostDevice> m_device;

private:
    const std::string m_runs =
        std::filesystem::temp_directory_path() / ("lying-service-" + std::to_string(::getpid()));
};

} // namespace

TEST_P(LyingService, FromTheStartIsReplacedByAGoodOne) {
    lie(2);
    startConsole("void fx() { cls(float3(0.5)); }"); // which may be told that it is wrong
    bool isShown = false;
    for (int attempt = 0; attempt < 5 && !isShown; ++attempt) {
        compile("void fx() { cls(float3(0.25)); } // " + std::to_string(attempt));
        isShown = shows({0.25, 0.25, 0.25, 1});
    }
    EXPECT_TRUE(isShown);
}

TEST_P(LyingService, InBetweenCostsNothingButItsOwnTime) {
    lie(0);
    startConsole("void fx() { cls(float3(0.5)); }");
    EXPECT_TRUE(shows({0.5, 0.5, 0.5, 1}));
    lie(3);
    m_device->replaceWorker();
    // Another colour mode asks for another variant of the display's kernel.
    for (int i = 0; i < 5; ++i) {
        compile("void fx() { registers[" + std::to_string(static_cast<int>(Register::HDR)) +
                "] = " + std::to_string(i % 2) + "; cls(float3(0.5)); } // " + std::to_string(i));
        drawFrame();
    }
    lie(0);
    m_device->replaceWorker();
    compile("void fx() { cls(float3(0.75)); }");
    EXPECT_TRUE(shows({0.75, 0.75, 0.75, 1}));
}

INSTANTIATE_TEST_SUITE_P(Services, LyingService, testing::Values("lie-success", "lie-failure"),
                         [](const auto& info) { return std::string(info.param).substr(4); });

} // namespace starloom
