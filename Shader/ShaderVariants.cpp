// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "Shader/ShaderVariants.h"

#include <algorithm>
#include <utility>

namespace starloom {

/// Two colour modes and three blend modes, and some room.
static constexpr std::size_t maxVariants = 8;

ShaderVariants::ShaderVariants(std::shared_ptr<gpu::Device> device,
                               std::shared_ptr<gpu::Library> library, std::string name,
                               platform::MainQueue& mainQueue, platform::Log& log)
    : m_device(std::move(device)),
      m_library(std::move(library)),
      m_name(std::move(name)),
      m_log(log),
      m_anchor(mainQueue) {}

void ShaderVariants::add(const Constants& constants, std::shared_ptr<ComputeShader> shader) {
    m_usedLast = shader;
    keep({constants, std::move(shader)});
}

void ShaderVariants::forgetFailures() {
    std::erase_if(m_variants, [](const Variant& variant) { return variant.shader == nullptr; });
}

void ShaderVariants::keep(Variant variant) {
    m_variants.push_front(std::move(variant));
    if (m_variants.size() > maxVariants)
        m_variants.pop_back();
}

std::shared_ptr<ComputeShader> ShaderVariants::use(const Constants& constants, bool again) {
    const auto found = std::ranges::find(m_variants, constants, &Variant::constants);
    const bool missing = found == m_variants.end() ||
                         (again && found->shader != nullptr && found->shader->isStopped());
    if (missing) {
        startMaking(constants);
    } else {
        m_variants.splice(m_variants.begin(), m_variants, found);
        if (found->shader)
            m_usedLast = found->shader;
    }
    return m_usedLast;
}

bool ShaderVariants::isSettled(const Constants& constants) const {
    const auto found = std::ranges::find(m_variants, constants, &Variant::constants);
    return found != m_variants.end() && (!found->shader || !found->shader->isStopped());
}

bool ShaderVariants::isStopped() const {
    return std::ranges::any_of(m_variants, [](const Variant& variant) {
        return variant.shader != nullptr && variant.shader->isStopped();
    });
}

// A newer request does not cancel an older one: a program that asks for another variant in every
// frame would get none.
void ShaderVariants::startMaking(const Constants& constants) {
    if (m_making)
        return;
    m_making = constants;
    m_pending = ComputeShader::create(
        *m_device, m_name, *m_library, constants,
        m_anchor.handler(
            [this, constants](const gpu::Result<std::shared_ptr<ComputeShader>>& shader) {
                m_making.reset();
                take(constants, shader);
            }));
}

void ShaderVariants::take(const Constants& constants,
                          const gpu::Result<std::shared_ptr<ComputeShader>>& shader) {
    std::erase_if(m_variants, [&](const Variant& v) { return v.constants == constants; });
    keep({constants, shader ? *shader : nullptr});
    if (shader) {
        m_usedLast = m_usedLast ? m_usedLast : *shader;
        return made();
    }
    m_log.line(shader.error().message);
    failed(shader.error().message);
}

} // namespace starloom
