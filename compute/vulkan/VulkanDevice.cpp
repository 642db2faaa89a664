// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/VulkanDevice.h"

#include "compute/kernel/KernelSignature.h"
#include "compute/vulkan/Error.h"

#include <spirv/unified1/spirv.hpp>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace compute::vulkan {

using platform::Error;
using platform::Result;

namespace {

/// What shaders count on.
constexpr std::uintptr_t bufferAlignment = 4;
constexpr std::size_t firstTableRecords = 256;
/// Pieces that are bound without having been named to begin().
constexpr std::size_t mostBeyondNamed = 128;

/// Of one instruction: how many words it has, and what it does.
constexpr std::uint32_t instruction(std::uint32_t words, spv::Op operation) {
    return words << spv::WordCountShift | operation;
}

/// void main() {}
constexpr std::uint32_t emptyShader[] = {spv::MagicNumber,
                                         0x10500,
                                         0,
                                         5,
                                         0, // version 1.5, ids below 5
                                         instruction(2, spv::OpCapability),
                                         spv::CapabilityShader,
                                         instruction(3, spv::OpMemoryModel),
                                         spv::AddressingModelLogical,
                                         spv::MemoryModelGLSL450,
                                         instruction(5, spv::OpEntryPoint),
                                         spv::ExecutionModelGLCompute,
                                         1,
                                         0x6E69616D,
                                         0, // "main"
                                         instruction(6, spv::OpExecutionMode),
                                         1,
                                         spv::ExecutionModeLocalSize,
                                         1,
                                         1,
                                         1,
                                         instruction(2, spv::OpTypeVoid),
                                         2,
                                         instruction(3, spv::OpTypeFunction),
                                         3,
                                         2,
                                         instruction(5, spv::OpFunction),
                                         2,
                                         1,
                                         spv::FunctionControlMaskNone,
                                         3,
                                         instruction(2, spv::OpLabel),
                                         4,
                                         instruction(1, spv::OpReturn),
                                         instruction(1, spv::OpFunctionEnd)};

std::uint32_t groupsFor(std::uint32_t threads, std::uint32_t size) {
    return (threads - 1) / size + 1;
}

} // namespace

// ---- opening ------------------------------------------------------------------------------------

Result<std::shared_ptr<VulkanDevice>> VulkanDevice::create(std::string_view choice,
                                                           const DeviceOptions& options) {
    auto instance = SL42_TRY(Instance::create(options.validation));
    std::vector<PhysicalDevice> devices;
    for (const VkPhysicalDevice device : instance->physicalDevices())
        devices.push_back(describe(device));
    const PhysicalDevice chosen = SL42_TRY(choose(devices, choice));
    std::shared_ptr<const LogicalDevice> logical = SL42_TRY(LogicalDevice::create(chosen));
    std::shared_ptr<VulkanDevice> device(
        new VulkanDevice(std::move(instance), std::move(logical), options));
    SL42_TRY_VOID(device->open());
    SL42_TRY_VOID(device->warmUp());
    return device;
}

VulkanDevice::VulkanDevice(std::unique_ptr<Instance> instance,
                           std::shared_ptr<const LogicalDevice> logical,
                           const DeviceOptions& options)
    : m_instance(std::move(instance)),
      m_logical(std::move(logical)),
      m_map(m_logical, options.alwaysCopies),
      m_lostAfter(options.lostAfter) {}

VulkanDevice::~VulkanDevice() {
    vkDeviceWaitIdle(m_logical->get());
}

Result<void> VulkanDevice::open() {
    const VkPushConstantRange constants{VK_SHADER_STAGE_COMPUTE_BIT, 0,
                                        sizeof(spirv::PushConstants)};
    VkPipelineLayoutCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO;
    info.pushConstantRangeCount = 1;
    info.pPushConstantRanges = &constants;
    VkPipelineLayout made = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreatePipelineLayout(m_logical->get(), &info, nullptr, &made),
                        "lay out arguments"));
    m_layout = {m_logical->get(), made};
    m_submission = SL42_TRY(Submission::create(m_logical, made));
    return reserveTable(firstTableRecords);
}

Result<void> VulkanDevice::warmUp() {
    KernelDescription description;
    description.name = "warmUp";
    spirv::Shader shader;
    shader.words.assign(std::begin(emptyShader), std::end(emptyShader));
    shader.entry = "main";
    const auto kernel = SL42_TRY(makeKernel(std::move(description), shader));
    begin({});
    kernel->run({}, {1, 1, 1}, {1, 1, 1});
    return finish();
}

std::string VulkanDevice::name() const {
    return m_logical->physical().name;
}

Driver VulkanDevice::driver() const {
    return m_logical->physical().kind == DeviceKind::Software ? Driver::Software : Driver::Graphics;
}

Result<std::shared_ptr<Kernel>> VulkanDevice::makeKernel(KernelDescription description,
                                                         const spirv::Shader& shader) {
    return std::shared_ptr<Kernel>(
        SL42_TRY(VulkanKernel::create(shared_from_this(), std::move(description), shader)));
}

// ---- memory -------------------------------------------------------------------------------------

std::uint64_t VulkanDevice::addressOf(const std::byte* place) const {
    const auto piece = m_map.find(place);
    return piece ? piece->buffer.address + static_cast<std::uint64_t>(place - piece->begin()) : 0;
}

VulkanDevice::Used* VulkanDevice::use(const std::byte* place) {
    const auto holds = [place](const Used& used) {
        return place >= used.piece->begin() && place < used.piece->begin() + used.piece->bytes();
    };
    const auto found = std::ranges::find_if(m_used, holds);
    if (found != m_used.end())
        return &*found;
    auto piece = m_map.find(place);
    return piece ? &m_used.emplace_back(Used{std::move(piece)}) : nullptr;
}

VulkanDevice::Used* VulkanDevice::usedAt(std::uint64_t address) {
    const auto found = std::ranges::find_if(m_used, [address](const Used& used) {
        return address - used.piece->buffer.address < used.piece->bytes();
    });
    return found == m_used.end() ? nullptr : &*found;
}

Result<void> VulkanDevice::reserveTable(std::size_t records) {
    if (records <= m_tableRecords)
        return {};
    const std::size_t room = std::max(records * 2, firstTableRecords);
    m_table = SL42_TRY(
        m_logical->allocate(sizeof(spirv::MemoryTable) + room * sizeof(spirv::BufferRecord)));
    m_tableRecords = room;
    return {};
}

void VulkanDevice::writeTable() {
    const spirv::MemoryTable head{.count = m_used.size()};
    std::memcpy(m_table.data, &head, sizeof head);
    const std::span records(reinterpret_cast<spirv::BufferRecord*>(m_table.data + sizeof head),
                            m_used.size());
    std::ranges::transform(m_used, records.begin(), [](const Used& used) {
        return spirv::BufferRecord{used.piece->buffer.address, used.piece->bytes()};
    });
    std::ranges::sort(records, {}, &spirv::BufferRecord::address);
}

void VulkanDevice::copyToDevice() const {
    for (const Used& used : m_used)
        if (used.piece->isCopy)
            std::memcpy(used.piece->buffer.data, used.piece->begin(), used.piece->bytes());
}

/// What no kernel writes stays as it is: the console may have written it meanwhile.
void VulkanDevice::copyFromDevice() const {
    for (const Used& used : m_used)
        if (used.piece->isCopy && (used.isWritten || (m_followsPointers && !used.isBound)))
            std::memcpy(used.piece->memory->data(), used.piece->buffer.data, used.piece->bytes());
}

// ---- command buffers ----------------------------------------------------------------------------

void VulkanDevice::begin(std::span<const Memory> used) {
    m_submission->drop();
    m_isAtWork = false;
    m_error.reset();
    m_used.clear();
    m_followsPointers = false;
    for (const Memory& memory : used)
        use(memory->data());
    if (auto reserved = reserveTable(m_used.size() + mostBeyondNamed); !reserved)
        m_error = std::move(reserved.error());
}

void VulkanDevice::enter(std::uint32_t command) {
    m_command = command;
    m_isMarked = false;
}

std::optional<std::uint32_t> VulkanDevice::commandAtWork() const {
    return m_isAtWork ? std::optional(m_submission->number()) : std::nullopt;
}

void VulkanDevice::record(const VulkanKernel& kernel, const Bindings& bindings, Extent grid,
                          Extent threadsPerThreadgroup, std::uint32_t begin, std::uint32_t end) {
    if (begin >= end || grid.height == 0 || grid.depth == 0 || m_error)
        return;
    auto recorded = tryToRecord(kernel, bindings, grid, threadsPerThreadgroup, begin, end);
    if (!recorded)
        m_error = std::move(recorded.error());
}

Result<void> VulkanDevice::tryToRecord(const VulkanKernel& kernel, const Bindings& bindings,
                                       Extent grid, Extent group, std::uint32_t begin,
                                       std::uint32_t end) {
    if (m_submission->isFull())
        SL42_TRY_VOID(submit());
    const Workgroup workgroup = SL42_TRY(kernel.workgroupFor(bindings, grid, group));
    const VkPipeline pipeline = SL42_TRY(kernel.pipelineFor(workgroup));
    Arguments& arguments = m_submission->openArguments();
    for (const Parameter& parameter : kernel.description().parameters)
        bind(parameter, bindings, arguments);
    if (m_error)
        return *m_error;
    if (m_used.size() > m_tableRecords)
        return Error{"Too many buffers were not announced to the device"};
    arguments.bindings[spirv::spareSlot] = {
        m_submission->constants().bindings + offsetof(Arguments, spare), spirv::spareBytes};
    arguments.grid = gridRecordOf(bindings, grid, group);
    m_constants = m_submission->constants();
    m_constants.memory = m_table.address;
    m_constants.size = {grid.width, grid.height, grid.depth};
    spirv::putAtHand(m_constants, kernel.shader(), arguments.bindings);
    m_followsPointers = m_followsPointers || kernel.followsPointers();
    if (m_isMarked)
        m_submission->separate();
    else
        m_submission->mark(m_command);
    m_isMarked = true;
    SL42_TRY_VOID(kernel.runsInGroups() ? dispatchGroups(pipeline, grid, group, begin, end)
                                        : dispatchThreads(pipeline, workgroup, grid, begin, end));
    m_submission->closeArguments();
    return {};
}

void VulkanDevice::bind(const Parameter& parameter, const Bindings& bindings,
                        Arguments& arguments) {
    const auto slot = [&](unsigned first, std::uint32_t index) -> spirv::BufferRecord& {
        return arguments.bindings[first + index];
    };
    for (std::uint32_t i = parameter.index; i < parameter.index + parameter.count; ++i) {
        if (parameter.kind == ParameterKind::Buffer)
            bindBuffer(bindings.buffers[i], parameter.access, slot(0, i));
        if (parameter.kind == ParameterKind::Texture)
            bindTexture(bindings.textures[i], parameter.access, slot(kernel::firstTextureSlot, i));
        if (parameter.kind == ParameterKind::Sampler)
            bindBuffer(reinterpret_cast<const std::byte*>(bindings.samplers[i]), Access::Read,
                       slot(kernel::firstSamplerSlot, i));
    }
}

void VulkanDevice::bindBuffer(const std::byte* place, Access access, spirv::BufferRecord& record) {
    record = {};
    Used* used = place != nullptr ? use(place) : nullptr;
    if (used == nullptr)
        return;
    if (reinterpret_cast<std::uintptr_t>(place) % bufferAlignment != 0)
        m_error = Error{"A buffer is bound at an offset that is not a multiple of 4"};
    used->isBound = true;
    used->isWritten = used->isWritten || writes(access);
    const auto offset = static_cast<std::uint64_t>(place - used->piece->begin());
    record = {used->piece->buffer.address + offset, used->piece->bytes() - offset};
}

void VulkanDevice::bindTexture(const TextureView* view, Access access,
                               spirv::BufferRecord& record) {
    bindBuffer(reinterpret_cast<const std::byte*>(view), Access::Read, record);
    if (view == nullptr || view->levelCount == 0)
        return;
    if (Used* texels = usedAt(reinterpret_cast<std::uint64_t>(view->levels[0].pixels))) {
        texels->isBound = true;
        texels->isWritten = texels->isWritten || writes(access);
    }
}

Result<void> VulkanDevice::dispatchThreads(VkPipeline pipeline, const Workgroup& workgroup,
                                           Extent grid, std::uint32_t begin, std::uint32_t end) {
    const PhysicalDevice& device = m_logical->physical();
    const std::uint32_t rows = groupsFor(grid.height, workgroup.size[1]);
    if (rows > device.maxGroupCount[1] || grid.depth > device.maxGroupCount[2])
        return Error{"The grid is too large for this device"};
    spirv::PushConstants constants = m_constants;
    constants.end = end;
    while (begin < end) {
        const std::uint32_t columns =
            std::min(groupsFor(end - begin, workgroup.size[0]), device.maxGroupCount[0]);
        constants.begin = begin;
        SL42_TRY_VOID(m_submission->dispatch(pipeline, constants, {columns, rows, grid.depth}));
        begin += static_cast<std::uint32_t>(
            std::min<std::uint64_t>(std::uint64_t{columns} * workgroup.size[0], end - begin));
    }
    return {};
}

/// Of threadgroups that the range of positions cuts, those count whose first thread is in it.
Result<void> VulkanDevice::dispatchGroups(VkPipeline pipeline, Extent grid, Extent group,
                                          std::uint32_t begin, std::uint32_t end) {
    const std::uint64_t columns = groupsFor(grid.width, group.width);
    const std::uint64_t rows =
        std::uint64_t{groupsFor(grid.height, group.height)} * groupsFor(grid.depth, group.depth);
    if (begin == 0 && end == grid.width)
        return dispatchRange(pipeline, 0, columns * rows);
    const std::uint64_t first = begin == 0 ? 0 : groupsFor(begin, group.width);
    const std::uint64_t last = groupsFor(end, group.width);
    for (std::uint64_t row = 0; row < rows && first < last; ++row)
        SL42_TRY_VOID(dispatchRange(pipeline, row * columns + first, row * columns + last));
    return {};
}

Result<void> VulkanDevice::dispatchRange(VkPipeline pipeline, std::uint64_t first,
                                         std::uint64_t last) {
    if (last > std::numeric_limits<std::uint32_t>::max())
        return Error{"The grid is too large for this device"};
    spirv::PushConstants constants = m_constants;
    constants.end = static_cast<std::uint32_t>(last);
    while (first < last) {
        const auto count = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(last - first, m_logical->physical().maxGroupCount[0]));
        constants.begin = static_cast<std::uint32_t>(first);
        SL42_TRY_VOID(m_submission->dispatch(pipeline, constants, {count, 1, 1}));
        first += count;
    }
    return {};
}

Result<void> VulkanDevice::submit() {
    if (m_submission->isEmpty())
        return {};
    if (m_followsPointers)
        writeTable();
    copyToDevice();
    if (m_lostAfter != 0 && ++m_submissions >= m_lostAfter)
        m_submission->lose();
    m_isAtWork = true;
    SL42_TRY_VOID(m_submission->run()); // a device that failed stays at the command
    m_isAtWork = false;
    copyFromDevice();
    m_isMarked = false;
    return {};
}

Result<void> VulkanDevice::finish() {
    if (!m_error) {
        auto submitted = submit();
        if (!submitted)
            m_error = std::move(submitted.error());
    }
    if (!m_error)
        return {};
    m_submission->drop();
    return *m_error;
}

} // namespace compute::vulkan
