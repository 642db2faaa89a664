// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/spirv/ShaderRunner.h"

#include <vulkan/vulkan.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace tests {

using namespace compute;
using namespace compute::spirv;

namespace {

constexpr VkDeviceSize arenaBytes = 256U << 20;
constexpr std::size_t pieceAlignment = 256;
constexpr std::uint32_t plainWorkgroup = 64;

platform::Error failure(const char* what, VkResult result) {
    return platform::Error{std::string(what) + " failed: " + std::to_string(result)};
}

} // namespace

#define VULKAN_TRY(call)                                                                           \
    if (const VkResult result = call; result != VK_SUCCESS)                                        \
    return failure(#call, result)

struct ShaderRunner::State {
    VkInstance instance = VK_NULL_HANDLE;
    VkPhysicalDevice physical = VK_NULL_HANDLE;
    VkDevice device = VK_NULL_HANDLE;
    VkQueue queue = VK_NULL_HANDLE;
    VkBuffer buffer = VK_NULL_HANDLE;
    VkDeviceMemory memory = VK_NULL_HANDLE;
    VkCommandPool pool = VK_NULL_HANDLE;
    VkDescriptorSetLayout setLayout = VK_NULL_HANDLE;
    VkPipelineLayout layout = VK_NULL_HANDLE;
    PFN_vkCmdPushDescriptorSetKHR pushDescriptors = nullptr;
    std::byte* mapped = nullptr;
    std::uint64_t address = 0;
    std::size_t used = 0;
    Features features;
    std::uint32_t subgroupThreads = 0;

    platform::Result<void> makeDevice();
    platform::Result<void> makeArena();
    platform::Result<void> makeLayout();
    platform::Result<VkPipeline> makePipeline(const Shader& shader,
                                              std::array<std::uint32_t, 4> constants);
    platform::Result<void> submit(VkPipeline pipeline, const PushConstants& push,
                                  std::span<const BufferRecord> described, Extent groups);
    void push(VkCommandBuffer commands, std::span<const BufferRecord> described) const;

    ~State() {
        if (device != VK_NULL_HANDLE) {
            vkDestroyPipelineLayout(device, layout, nullptr);
            vkDestroyDescriptorSetLayout(device, setLayout, nullptr);
            vkDestroyCommandPool(device, pool, nullptr);
            vkDestroyBuffer(device, buffer, nullptr);
            vkFreeMemory(device, memory, nullptr);
            vkDestroyDevice(device, nullptr);
        }
        if (instance != VK_NULL_HANDLE)
            vkDestroyInstance(instance, nullptr);
    }
};

platform::Result<void> ShaderRunner::State::makeDevice() {
    VkApplicationInfo application{.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO,
                                  .apiVersion = VK_API_VERSION_1_3};
    VkInstanceCreateInfo instanceInfo{.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO,
                                      .pApplicationInfo = &application};
    VULKAN_TRY(vkCreateInstance(&instanceInfo, nullptr, &instance));
    std::uint32_t count = 1;
    vkEnumeratePhysicalDevices(instance, &count, &physical);
    if (count == 0)
        return platform::Error{
            "there is no Vulkan device; Mesa's lavapipe is one for all machines"};

    VkPhysicalDeviceSubgroupProperties subgroups{
        .sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_SUBGROUP_PROPERTIES};
    VkPhysicalDeviceFloatControlsProperties floats{
        .sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FLOAT_CONTROLS_PROPERTIES, .pNext = &subgroups};
    VkPhysicalDeviceProperties2 properties{.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2,
                                           .pNext = &floats};
    vkGetPhysicalDeviceProperties2(physical, &properties);
    subgroupThreads = subgroups.subgroupSize;
    VkPhysicalDeviceVulkan12Features twelve{
        .sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES};
    VkPhysicalDeviceVulkan11Features eleven{
        .sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_1_FEATURES, .pNext = &twelve};
    VkPhysicalDeviceRobustness2FeaturesEXT robustness{
        .sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_ROBUSTNESS_2_FEATURES_EXT, .pNext = &eleven};
    VkPhysicalDeviceVulkan13Features thirteen{
        .sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES, .pNext = &robustness};
    VkPhysicalDeviceFeatures2 all{.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2,
                                  .pNext = &thirteen};
    vkGetPhysicalDeviceFeatures2(physical, &all);
    features.float16 = twelve.shaderFloat16 != 0 && floats.shaderRoundingModeRTEFloat16 != 0;
    features.float64 = all.features.shaderFloat64 != 0;
    features.int64Atomics = twelve.shaderBufferInt64Atomics != 0;
    features.preservesNan = floats.shaderSignedZeroInfNanPreserveFloat32 != 0;
    features.roundsToEven = floats.shaderRoundingModeRTEFloat32 != 0;
    features.flushesDenormals = floats.shaderDenormFlushToZeroFloat32 != 0;
    const char* wish = std::getenv("SL42_VULKAN_DESCRIPTORS");
    features.descriptors = wish == nullptr || std::string_view(wish) != "0";

    const float priority = 1;
    VkDeviceQueueCreateInfo queueInfo{.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO,
                                      .queueCount = 1,
                                      .pQueuePriorities = &priority};
    const char* extensions[] = {VK_EXT_ROBUSTNESS_2_EXTENSION_NAME,
                                VK_KHR_PUSH_DESCRIPTOR_EXTENSION_NAME};
    VkDeviceCreateInfo deviceInfo{.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO,
                                  .pNext = &all,
                                  .queueCreateInfoCount = 1,
                                  .pQueueCreateInfos = &queueInfo,
                                  .enabledExtensionCount = std::size(extensions),
                                  .ppEnabledExtensionNames = extensions};
    VULKAN_TRY(vkCreateDevice(physical, &deviceInfo, nullptr, &device));
    vkGetDeviceQueue(device, 0, 0, &queue);
    VkCommandPoolCreateInfo poolInfo{.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO};
    VULKAN_TRY(vkCreateCommandPool(device, &poolInfo, nullptr, &pool));
    return makeLayout();
}

platform::Result<void> ShaderRunner::State::makeLayout() {
    std::array<VkDescriptorSetLayoutBinding, mostDescribed> bindings{};
    for (std::uint32_t i = 0; i < bindings.size(); ++i)
        bindings[i] = {i, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 1, VK_SHADER_STAGE_COMPUTE_BIT,
                       nullptr};
    VkDescriptorSetLayoutCreateInfo setInfo{
        .sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO,
        .flags = VK_DESCRIPTOR_SET_LAYOUT_CREATE_PUSH_DESCRIPTOR_BIT_KHR,
        .bindingCount = mostDescribed,
        .pBindings = bindings.data()};
    VULKAN_TRY(vkCreateDescriptorSetLayout(device, &setInfo, nullptr, &setLayout));
    pushDescriptors = reinterpret_cast<PFN_vkCmdPushDescriptorSetKHR>(
        vkGetDeviceProcAddr(device, "vkCmdPushDescriptorSetKHR"));
    VkPushConstantRange range{VK_SHADER_STAGE_COMPUTE_BIT, 0, sizeof(PushConstants)};
    VkPipelineLayoutCreateInfo layoutInfo{.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO,
                                          .setLayoutCount = 1,
                                          .pSetLayouts = &setLayout,
                                          .pushConstantRangeCount = 1,
                                          .pPushConstantRanges = &range};
    VULKAN_TRY(vkCreatePipelineLayout(device, &layoutInfo, nullptr, &layout));
    return {};
}

platform::Result<void> ShaderRunner::State::makeArena() {
    VkBufferCreateInfo bufferInfo{.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                  .size = arenaBytes,
                                  .usage = VK_BUFFER_USAGE_STORAGE_BUFFER_BIT |
                                           VK_BUFFER_USAGE_SHADER_DEVICE_ADDRESS_BIT};
    VULKAN_TRY(vkCreateBuffer(device, &bufferInfo, nullptr, &buffer));
    VkMemoryRequirements needs;
    vkGetBufferMemoryRequirements(device, buffer, &needs);
    VkPhysicalDeviceMemoryProperties kinds;
    vkGetPhysicalDeviceMemoryProperties(physical, &kinds);
    constexpr VkMemoryPropertyFlags wanted =
        VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
    std::uint32_t kind = 0;
    while (kind < kinds.memoryTypeCount &&
           ((needs.memoryTypeBits >> kind & 1) == 0 ||
            (kinds.memoryTypes[kind].propertyFlags & wanted) != wanted))
        ++kind;
    VkMemoryAllocateFlagsInfo flags{.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_FLAGS_INFO,
                                    .flags = VK_MEMORY_ALLOCATE_DEVICE_ADDRESS_BIT};
    VkMemoryAllocateInfo allocation{.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO,
                                    .pNext = &flags,
                                    .allocationSize = needs.size,
                                    .memoryTypeIndex = kind};
    VULKAN_TRY(vkAllocateMemory(device, &allocation, nullptr, &memory));
    VULKAN_TRY(vkBindBufferMemory(device, buffer, memory, 0));
    void* start = nullptr;
    VULKAN_TRY(vkMapMemory(device, memory, 0, VK_WHOLE_SIZE, 0, &start));
    mapped = static_cast<std::byte*>(start);
    VkBufferDeviceAddressInfo addressInfo{.sType = VK_STRUCTURE_TYPE_BUFFER_DEVICE_ADDRESS_INFO,
                                          .buffer = buffer};
    address = vkGetBufferDeviceAddress(device, &addressInfo);
    return {};
}

platform::Result<VkPipeline>
ShaderRunner::State::makePipeline(const Shader& shader, std::array<std::uint32_t, 4> constants) {
    VkShaderModuleCreateInfo moduleInfo{.sType = VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO,
                                        .codeSize = shader.words.size() * sizeof(std::uint32_t),
                                        .pCode = shader.words.data()};
    VkShaderModule module = VK_NULL_HANDLE;
    VULKAN_TRY(vkCreateShaderModule(device, &moduleInfo, nullptr, &module));
    std::array<VkSpecializationMapEntry, 4> entries;
    for (std::uint32_t i = 0; i < entries.size(); ++i)
        entries[i] = {i, i * 4, 4};
    VkSpecializationInfo specialisation{entries.size(), entries.data(), sizeof constants,
                                        constants.data()};
    VkPipelineShaderStageRequiredSubgroupSizeCreateInfo subgroups{
        .sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_REQUIRED_SUBGROUP_SIZE_CREATE_INFO,
        .requiredSubgroupSize = shader.requirements.subgroupThreads};
    VkComputePipelineCreateInfo info{
        .sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO,
        .stage = {.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO,
                  .stage = VK_SHADER_STAGE_COMPUTE_BIT,
                  .module = module,
                  .pName = shader.entry.c_str(),
                  .pSpecializationInfo = &specialisation},
        .layout = layout};
    if (runsInSubgroups(shader, constants[WorkgroupWidth])) {
        info.stage.pNext = &subgroups;
        info.stage.flags = VK_PIPELINE_SHADER_STAGE_CREATE_REQUIRE_FULL_SUBGROUPS_BIT;
    }
    VkPipeline pipeline = VK_NULL_HANDLE;
    const VkResult made =
        vkCreateComputePipelines(device, VK_NULL_HANDLE, 1, &info, nullptr, &pipeline);
    vkDestroyShaderModule(device, module, nullptr);
    if (made != VK_SUCCESS)
        return failure("vkCreateComputePipelines", made);
    return pipeline;
}

void ShaderRunner::State::push(VkCommandBuffer commands,
                               std::span<const BufferRecord> described) const {
    std::vector<VkDescriptorBufferInfo> infos(described.size());
    std::vector<VkWriteDescriptorSet> writes(described.size());
    for (std::uint32_t i = 0; i < described.size(); ++i) {
        infos[i] = {.buffer = VK_NULL_HANDLE, .range = VK_WHOLE_SIZE};
        if (described[i].bytes > 0)
            infos[i] = {buffer, described[i].address - address, described[i].bytes};
        writes[i] = {.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET,
                     .dstBinding = i,
                     .descriptorCount = 1,
                     .descriptorType = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER,
                     .pBufferInfo = &infos[i]};
    }
    if (!writes.empty())
        pushDescriptors(commands, VK_PIPELINE_BIND_POINT_COMPUTE, layout, 0,
                        static_cast<std::uint32_t>(writes.size()), writes.data());
}

platform::Result<void> ShaderRunner::State::submit(VkPipeline pipeline, const PushConstants& push,
                                                   std::span<const BufferRecord> described,
                                                   Extent groups) {
    VkCommandBufferAllocateInfo info{.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO,
                                     .commandPool = pool,
                                     .level = VK_COMMAND_BUFFER_LEVEL_PRIMARY,
                                     .commandBufferCount = 1};
    VkCommandBuffer commands = VK_NULL_HANDLE;
    VULKAN_TRY(vkAllocateCommandBuffers(device, &info, &commands));
    VkCommandBufferBeginInfo begin{.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    VULKAN_TRY(vkBeginCommandBuffer(commands, &begin));
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, pipeline);
    this->push(commands, described);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, sizeof push, &push);
    vkCmdDispatch(commands, groups.width, groups.height, groups.depth);
    VULKAN_TRY(vkEndCommandBuffer(commands));
    VkSubmitInfo submission{.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO,
                            .commandBufferCount = 1,
                            .pCommandBuffers = &commands};
    VULKAN_TRY(vkQueueSubmit(queue, 1, &submission, VK_NULL_HANDLE));
    VULKAN_TRY(vkQueueWaitIdle(queue));
    vkFreeCommandBuffers(device, pool, 1, &commands);
    return {};
}

ShaderRunner::ShaderRunner(std::unique_ptr<State> state) : m_state(std::move(state)) {}
ShaderRunner::~ShaderRunner() = default;

platform::Result<std::unique_ptr<ShaderRunner>> ShaderRunner::create() {
    auto state = std::make_unique<State>();
    SL42_TRY_VOID(state->makeDevice());
    SL42_TRY_VOID(state->makeArena());
    return std::unique_ptr<ShaderRunner>(new ShaderRunner(std::move(state)));
}

const Features& ShaderRunner::features() const {
    return m_state->features;
}

std::uint32_t ShaderRunner::subgroupThreads() const {
    return m_state->subgroupThreads;
}

void ShaderRunner::reset() {
    m_state->used = 0;
}

ShaderRunner::Piece ShaderRunner::allocate(std::size_t bytes) {
    const std::size_t start = m_state->used;
    m_state->used += (bytes + gapBytes + pieceAlignment - 1) / pieceAlignment * pieceAlignment;
    if (m_state->used > arenaBytes)
        std::abort();
    std::memset(m_state->mapped + start, 0, m_state->used - start);
    return {std::span(m_state->mapped + start, bytes), m_state->address + start};
}

platform::Result<void> ShaderRunner::run(const Shader& shader, Arguments arguments, Extent grid,
                                         Extent group) {
    const auto put = [&](const auto* values, std::size_t count) {
        const Piece piece = allocate(count * sizeof *values);
        std::memcpy(piece.bytes.data(), values, piece.bytes.size());
        return piece.address;
    };
    std::array<std::uint32_t, kernel::gridRecordWords> record{
        grid.width, grid.height, grid.depth, group.width, group.height, group.depth};
    std::uint32_t threadgroupBytes = 0;
    for (std::uint32_t i = 0; i < arguments.threadgroupBytes.size(); ++i) {
        record[kernel::firstThreadgroupArgument + i] = threadgroupBytes;
        threadgroupBytes += (arguments.threadgroupBytes[i] + 15) / 16 * 16;
    }
    arguments.bindings[spareSlot] = allocate(spareBytes).record();
    std::ranges::sort(arguments.memory, {}, &BufferRecord::address);
    const MemoryTable table{arguments.memory.size(), 0};
    const Piece memory = allocate(sizeof table + arguments.memory.size() * sizeof(BufferRecord));
    std::memcpy(memory.bytes.data(), &table, sizeof table);
    if (!arguments.memory.empty())
        std::memcpy(memory.bytes.data() + sizeof table, arguments.memory.data(),
                    arguments.memory.size() * sizeof(BufferRecord));
    PushConstants push{.bindings = put(arguments.bindings.data(), arguments.bindings.size()),
                       .grid = put(record.data(), record.size()),
                       .memory = memory.address,
                       .begin = 0,
                       .end = grid.width,
                       .size = {grid.width, grid.height, grid.depth}};
    putAtHand(push, shader, arguments.bindings);
    const auto groupsAlong = [](std::uint32_t all, std::uint32_t one) {
        return (all + one - 1) / one;
    };
    Extent groups{groupsAlong(grid.width, plainWorkgroup), grid.height, grid.depth};
    std::uint32_t width = plainWorkgroup;
    if (shader.runsInGroups) {
        width = group.width * group.height * group.depth;
        push.end = groupsAlong(grid.width, group.width) * groupsAlong(grid.height, group.height) *
                   groupsAlong(grid.depth, group.depth);
        groups = {push.end, 1, 1};
    }
    VkPipeline pipeline = SL42_TRY(m_state->makePipeline(shader, {width, 1, 1, threadgroupBytes}));
    std::vector<BufferRecord> described;
    described.reserve(shader.describedBuffers.size());
    for (const DescribedBuffer& one : shader.describedBuffers)
        described.push_back(arguments.bindings[one.slot]);
    auto done = m_state->submit(pipeline, push, described, groups);
    vkDestroyPipeline(m_state->device, pipeline, nullptr);
    return done;
}

} // namespace tests
