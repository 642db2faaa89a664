// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compute service with a compiler whose programs are words: each word is a shader written by
// hand. The validation layer looks on; its first message ends the service.
#include "compute/service/Run.h"
#include "compute/vulkan/VulkanDevice.h"
#include "tests/compute/vulkan/Shaders.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <sstream>
#include <unistd.h>

using namespace compute;
using platform::Error;
using platform::Result;

namespace {

const std::map<std::string, std::function<spirv::Shader()>, std::less<>> shaders = {
    {"count", test::countShader}, {"slow", test::slowShader}, {"wild", test::wildShader}};

Parameter counters() {
    Parameter parameter;
    parameter.name = "counters";
    return parameter;
}

class WordLibrary final : public service::Library {
public:
    WordLibrary(std::shared_ptr<vulkan::VulkanDevice> device, std::vector<std::string> words)
        : m_device(std::move(device)), m_words(std::move(words)) {}

    std::vector<protocol::Kernel> kernels() const override {
        std::vector<protocol::Kernel> kernels;
        for (const std::string& word : m_words)
            kernels.push_back({word, service::onTheWire({counters()}), {}});
        return kernels;
    }
    const std::string& warnings() const override { return m_warnings; }
    protocol::ConstantDeclarations constants() const override { return {}; }
    Result<std::shared_ptr<const Kernel>> build(std::string_view function, const ConstantValues&,
                                                const std::stop_token&,
                                                std::shared_ptr<KeptCode> kept) const override {
        KernelDescription description;
        description.name = function;
        description.parameters = {counters()};
        return std::shared_ptr<const Kernel>(SL42_TRY(m_device->makeKernel(
            std::move(description), shaders.find(function)->second(), std::move(kept))));
    }

private:
    std::shared_ptr<vulkan::VulkanDevice> m_device;
    std::vector<std::string> m_words;
    std::string m_warnings;
};

class WordCompiler final : public service::Compiler {
public:
    Result<void> openDevice(std::string_view name) override {
        const char* lostAfter = std::getenv("SL42_TEST_LOST_AFTER");
        auto options = vulkan::optionsOfEnvironment(end);
        options.validation = end;
        options.lostAfter =
            lostAfter != nullptr ? static_cast<std::uint32_t>(std::atoi(lostAfter)) : 0;
        m_device = SL42_TRY(vulkan::VulkanDevice::create(name, options));
        return {};
    }
    Device& device() override { return m_device ? *m_device : Compiler::device(); }
    void warmUp() override {}
    Result<std::shared_ptr<const service::Library>> compile(std::string_view source,
                                                            const std::stop_token&) override {
        std::istringstream text{std::string(source)};
        std::vector<std::string> words;
        for (std::string word; text >> word;)
            if (shaders.contains(word))
                words.push_back(word);
        if (!m_device)
            return Error{"without a graphics device there are no kernels"};
        return std::shared_ptr<const service::Library>(
            std::make_shared<WordLibrary>(m_device, std::move(words)));
    }

private:
    [[noreturn]] static void end(const char* message) {
        std::fprintf(stderr, "%s\n", message);
        ::_exit(1);
    }

    std::shared_ptr<vulkan::VulkanDevice> m_device;
};

} // namespace

int main(int argumentCount, char** arguments) {
    WordCompiler compiler;
    return service::run(argumentCount, arguments, compiler);
}
