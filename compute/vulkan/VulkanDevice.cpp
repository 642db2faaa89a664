// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/VulkanDevice.h"

#include "compute/kernel/KernelSignature.h"
#include "compute/vulkan/EmptyShader.h"
#include "compute/vulkan/Error.h"
#include "compute/vulkan/GroupRanges.h"

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

/// What a shader needs and the device lacks, for people; null when it has all.
const char* whatIsMissing(const spirv::Requirements& needed, const spirv::Features& present) {
    if (needed.int64Atomics && !present.int64Atomics)
        return "atomics of 64 bits";
    if (needed.float64 && !present.float64)
        return "double-precision numbers";
    if (needed.float16 && !present.float16)
        return "half-precision numbers";
    if (needed.floatAtomicAdd && !present.floatAtomicAdd)
        return "atomic addition of floating-point numbers";
    if (needed.subgroupThreads != 0 && needed.subgroupThreads != present.subgroupThreads)
        return "subgroups of 32 threads";
    return nullptr;
}

void writeTable(const Batch& batch) {
    const spirv::MemoryTable head{.count = batch.used.size()};
    std::memcpy(batch.table.data, &head, sizeof head);
    const std::span records(reinterpret_cast<spirv::BufferRecord*>(batch.table.data + sizeof head),
                            batch.used.size());
    std::ranges::transform(batch.used, records.begin(), [](const Used& used) {
        return spirv::BufferRecord{used.piece->buffer.address, used.piece->bytes()};
    });
    std::ranges::sort(records, {}, &spirv::BufferRecord::address);
}

} // namespace

// ---- opening ------------------------------------------------------------------------------------

Result<std::shared_ptr<VulkanDevice>> VulkanDevice::create(std::string_view choice,
                                                           const DeviceOptions& options) {
    auto instance = SL42_TRY(Instance::create(options.validation));
    std::vector<PhysicalDevice> devices;
    for (const VkPhysicalDevice device : instance->physicalDevices())
        devices.push_back(describe(device));
    PhysicalDevice chosen = SL42_TRY(choose(devices, choice));
    chosen.features.descriptors = chosen.features.descriptors && !options.alwaysAddresses;
    chosen.features.subgroupThreads =
        options.subgroupThreads.value_or(chosen.features.subgroupThreads);
    std::shared_ptr<const LogicalDevice> logical = SL42_TRY(LogicalDevice::create(chosen));
    std::shared_ptr<VulkanDevice> device(
        new VulkanDevice(std::move(instance), std::move(logical), options));
    SL42_TRY_VOID(device->layOut());
    if (options.onlyCompiles)
        return device;
    SL42_TRY_VOID(device->open());
    SL42_TRY_VOID(device->warmUp());
    return device;
}

VulkanDevice::VulkanDevice(std::unique_ptr<Instance> instance,
                           std::shared_ptr<const LogicalDevice> logical,
                           const DeviceOptions& options)
    : m_instance(std::move(instance)),
      m_logical(std::move(logical)),
      m_pipelineCaches(m_logical),
      m_map(m_logical, options),
      m_snapshots(options.snapshotInterval),
      m_lostAfter(options.lostAfter) {}

VulkanDevice::~VulkanDevice() {
    if (m_inFlight && m_inFlight->last() > 0)
        vkDeviceWaitIdle(m_logical->get());
}

Result<void> VulkanDevice::layOut() {
    const VkPushConstantRange constants{VK_SHADER_STAGE_COMPUTE_BIT, 0,
                                        sizeof(spirv::PushConstants)};
    VkPipelineLayoutCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO;
    if (m_logical->physical().features.descriptors)
        m_setLayout = SL42_TRY(makeSetLayout(*m_logical));
    const VkDescriptorSetLayout set = m_setLayout.get();
    info.setLayoutCount = m_setLayout ? 1 : 0;
    info.pSetLayouts = &set;
    info.pushConstantRangeCount = 1;
    info.pPushConstantRanges = &constants;
    VkPipelineLayout made = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreatePipelineLayout(m_logical->get(), &info, nullptr, &made),
                        "lay out arguments"));
    m_layout = {m_logical->get(), made};
    return {};
}

Result<void> VulkanDevice::open() {
    m_place = SL42_TRY(m_logical->allocate(sizeof(WorkPlace)));
    std::memset(m_place.data, 0, sizeof(WorkPlace));
    m_inFlight = SL42_TRY(InFlight::create(m_logical, m_layout.get(), m_lostAfter));
    return {};
}

Result<void> VulkanDevice::warmUp() {
    KernelDescription description;
    description.name = "warmUp";
    spirv::Shader shader;
    shader.words.assign(std::begin(emptyShader), std::end(emptyShader));
    shader.entry = "main";
    const auto kernel = SL42_TRY(makeKernel(std::move(description), shader));
    begin(0, {});
    kernel->run({}, {1, 1, 1}, {1, 1, 1});
    return wait(SL42_TRY(submit()));
}

std::string VulkanDevice::name() const {
    return m_logical->physical().name;
}

Driver VulkanDevice::driver() const {
    return m_logical->physical().kind == DeviceKind::Software ? Driver::Software : Driver::Graphics;
}

std::string VulkanDevice::driverKey() const {
    return vulkan::driverKey(m_logical->physical());
}

Result<std::shared_ptr<Kernel>> VulkanDevice::makeKernel(KernelDescription description,
                                                         const spirv::Shader& shader,
                                                         std::shared_ptr<KeptCode> kept) {
    if (const char* missing = whatIsMissing(shader.requirements, m_logical->physical().features))
        return Error{"kernel '" + description.name + "': this device has no " + missing};
    auto cache = SL42_TRY(m_pipelineCaches.open(description.fingerprint, std::move(kept)));
    return std::shared_ptr<Kernel>(SL42_TRY(VulkanKernel::create(
        shared_from_this(), std::move(description), shader, std::move(cache))));
}

// ---- memory -------------------------------------------------------------------------------------

std::uint64_t VulkanDevice::addressOf(const std::byte* place) const {
    const auto piece = m_map.find(place);
    return piece ? piece->buffer.address + static_cast<std::uint64_t>(place - piece->begin()) : 0;
}

Used* VulkanDevice::use(const std::byte* place) {
    const auto holds = [place](const Used& used) {
        return place >= used.piece->begin() && place < used.piece->begin() + used.piece->bytes();
    };
    const auto found = std::ranges::find_if(m_used, holds);
    if (found != m_used.end())
        return &*found;
    auto piece = m_map.find(place);
    if (!piece)
        return nullptr;
    if (m_batch)
        Snapshots::fill(*piece, *m_batch->submission);
    return &m_used.emplace_back(Used{std::move(piece)});
}

Used* VulkanDevice::usedAt(std::uint64_t address) {
    const auto found = std::ranges::find_if(m_used, [address](const Used& used) {
        return address - used.piece->buffer.address < used.piece->bytes();
    });
    return found == m_used.end() ? nullptr : &*found;
}

Result<void> VulkanDevice::reserveTable(Batch& batch) const {
    const std::size_t records = m_used.size() + mostBeyondNamed;
    if (records <= batch.tableRecords)
        return {};
    const std::size_t room = std::max(records * 2, firstTableRecords);
    batch.table = SL42_TRY(
        m_logical->allocate(sizeof(spirv::MemoryTable) + room * sizeof(spirv::BufferRecord)));
    batch.tableRecords = room;
    return {};
}

// ---- command buffers ----------------------------------------------------------------------------

void VulkanDevice::begin(std::uint64_t commandBuffer, std::span<const Memory> used) {
    if (m_batch) {
        m_batch->submission->drop();
        m_inFlight->giveBack(std::move(m_batch));
    }
    m_entered = {commandBuffer, 0};
    m_isMarked = false;
    m_error.reset();
    m_used.clear();
    for (const Memory& memory : used)
        use(memory->data());
}

void VulkanDevice::enter(std::uint32_t command) {
    m_entered.command = command;
    m_isMarked = false;
}

/// What the device wrote may be of a command buffer before.
std::optional<WorkPlace> VulkanDevice::placeAtWork() const {
    if (!m_inFlight->isAtWork())
        return std::nullopt;
    WorkPlace place;
    std::memcpy(&place, m_place.data, sizeof place);
    return place;
}

Result<Submission*> VulkanDevice::submission() {
    if (!m_batch) {
        auto batch = SL42_TRY(m_inFlight->acquire());
        auto begun = batch->submission->begin();
        if (begun)
            begun = reserveTable(*batch);
        if (!begun) {
            m_inFlight->giveBack(std::move(batch));
            return begun.error();
        }
        m_batch = std::move(batch);
        m_isMarked = false;
        for (const Used& used : m_used)
            Snapshots::fill(*used.piece, *m_batch->submission);
    }
    return m_batch->submission.get();
}

Result<void> VulkanDevice::prepare() {
    if (m_batch && m_batch->submission->isFull())
        SL42_TRY_VOID(handOver());
    Submission* submission = SL42_TRY(this->submission());
    if (m_isMarked)
        submission->separate();
    else
        submission->mark(m_entered, m_place.buffer.get());
    m_isMarked = true;
    return {};
}

Result<void> VulkanDevice::handOver() {
    if (m_used.size() > m_batch->tableRecords)
        return Error{"Too many buffers were not announced to the device"};
    m_batch->used.assign(m_used.begin(), m_used.end());
    for (Used& used : m_used)
        used.isBound = used.isWritten = false;
    if (m_batch->followsPointers)
        writeTable(*m_batch);
    m_snapshots.record(*m_batch);
    m_snapshots.submitted(SL42_TRY(m_inFlight->submit(std::move(m_batch))));
    return {};
}

Result<Ticket> VulkanDevice::submit() {
    if (m_error)
        return *m_error;
    if (m_batch)
        SL42_TRY_VOID(handOver());
    return m_inFlight->last();
}

void VulkanDevice::writeAllBack() {
    if (!wait(everything))
        return;  // what is lost is lost
    writeBack(); // or else the last one would still be under way
    m_snapshots.hasten();
    begin(0, {});
    if (submission() && handOver() && wait(everything))
        writeBack();
}

template <class Body>
void VulkanDevice::attempt(const Body& body) {
    if (m_error)
        return;
    if (Result<void> done = body(); !done)
        m_error = std::move(done.error());
}

// ---- fills and copies ---------------------------------------------------------------------------

Result<BufferRange> VulkanDevice::rangeOf(std::span<const std::byte> bytes, bool isWritten) {
    Used* used = use(bytes.data());
    if (used == nullptr)
        return Error{"A buffer is not known to the device"};
    used->isBound = true;
    used->isWritten = used->isWritten || isWritten;
    return BufferRange{used->piece->buffer.buffer.get(),
                       static_cast<std::uint64_t>(bytes.data() - used->piece->begin()),
                       bytes.size()};
}

bool VulkanDevice::fill(std::span<std::byte> bytes, std::uint8_t value) {
    attempt([&]() -> Result<void> {
        if (bytes.empty())
            return {};
        SL42_TRY_VOID(prepare());
        m_batch->submission->fill(SL42_TRY(rangeOf(bytes, true)), value);
        return {};
    });
    return true;
}

bool VulkanDevice::copy(std::span<const std::byte> source, std::span<std::byte> destination) {
    attempt([&]() -> Result<void> {
        if (source.empty())
            return {};
        SL42_TRY_VOID(prepare());
        const BufferRange from = SL42_TRY(rangeOf(source, false));
        const BufferRange to = SL42_TRY(rangeOf(destination, true));
        const bool mayOverlap = from.buffer == to.buffer && from.offset < to.offset + to.length &&
                                to.offset < from.offset + from.length;
        if (mayOverlap)
            m_batch->submission->move(from, to.buffer, to.offset);
        else
            m_batch->submission->copy(from, to.buffer, to.offset);
        return {};
    });
    return true;
}

// ---- dispatches ---------------------------------------------------------------------------------

void VulkanDevice::record(const VulkanKernel& kernel, const Bindings& bindings, Extent grid,
                          Extent threadsPerThreadgroup, std::uint32_t begin, std::uint32_t end) {
    if (begin >= end || grid.height == 0 || grid.depth == 0)
        return;
    attempt([&] { return tryToRecord(kernel, bindings, grid, threadsPerThreadgroup, begin, end); });
}

Result<void> VulkanDevice::tryToRecord(const VulkanKernel& kernel, const Bindings& bindings,
                                       Extent grid, Extent group, std::uint32_t begin,
                                       std::uint32_t end) {
    const Workgroup workgroup = SL42_TRY(kernel.workgroupFor(bindings, grid, group));
    SL42_TRY_VOID(prepare());
    Submission& submission = *m_batch->submission;
    Arguments& arguments = submission.openArguments();
    for (const Parameter& parameter : kernel.description().parameters)
        bind(parameter, bindings, arguments);
    if (m_error)
        return *m_error;
    arguments.bindings[spirv::spareSlot] = {
        submission.constants().bindings + offsetof(Arguments, spare), spirv::spareBytes};
    const Descriptors descriptors = SL42_TRY(descriptorsFor(kernel, arguments));
    const Specialisation specialisation{workgroup, descriptors.biases};
    const VkPipeline pipeline = SL42_TRY(kernel.pipelineFor(specialisation));
    submission.bind(descriptors);
    arguments.grid = gridRecordOf(bindings, grid, group);
    m_constants = submission.constants();
    m_constants.memory = m_batch->table.address;
    m_constants.size = {grid.width, grid.height, grid.depth};
    spirv::putAtHand(m_constants, kernel.shader(), arguments.bindings);
    m_batch->followsPointers = m_batch->followsPointers || kernel.followsPointers();
    SL42_TRY_VOID(kernel.runsInGroups()
                      ? dispatchGroups(kernel, specialisation, grid, group, begin, end)
                      : dispatchThreads(pipeline, workgroup, grid, begin, end));
    submission.closeArguments();
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

Result<Descriptors> VulkanDevice::descriptorsFor(const VulkanKernel& kernel,
                                                 const Arguments& arguments) {
    Descriptors descriptors;
    const PhysicalDevice& device = m_logical->physical();
    for (const spirv::DescribedBuffer& described : kernel.shader().describedBuffers) {
        const spirv::BufferRecord& record = arguments.bindings[described.slot];
        const Used* used = record.bytes > 0 ? usedAt(record.address) : nullptr;
        if (used == nullptr) {
            descriptors.addNone();
            continue;
        }
        const DeviceBuffer& buffer = used->piece->buffer;
        const std::uint32_t number = descriptors.count;
        if (!descriptors.add(device, buffer.buffer.get(), record.address - buffer.address,
                             record.bytes))
            return Error{"This device has buffers of at most " +
                         std::to_string(device.maxDescribedBytes >> 20) + " MB for kernels"};
        if (descriptors.biases[number] % described.alignment != 0)
            return Error{"A buffer is bound at an offset that is not a multiple of " +
                         std::to_string(described.alignment) + ", as its numbers ask for"};
    }
    return descriptors;
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
        m_batch->submission->dispatch(pipeline, constants, {columns, rows, grid.depth});
        begin += static_cast<std::uint32_t>(
            std::min<std::uint64_t>(std::uint64_t{columns} * workgroup.size[0], end - begin));
    }
    return {};
}

Result<void> VulkanDevice::dispatchGroups(const VulkanKernel& kernel, Specialisation specialisation,
                                          Extent grid, Extent group, std::uint32_t begin,
                                          std::uint32_t end) {
    for (const GroupRange& range : groupRanges(grid, group, begin, end)) {
        specialisation.workgroup.size[0] = range.threads;
        const VkPipeline pipeline = SL42_TRY(kernel.pipelineFor(specialisation));
        SL42_TRY_VOID(dispatchRange(pipeline, range.first, range.last));
    }
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
        m_batch->submission->dispatch(pipeline, constants, {count, 1, 1});
        first += count;
    }
    return {};
}

} // namespace compute::vulkan
