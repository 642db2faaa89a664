// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which device somebody means.
#include "compute/vulkan/PhysicalDevice.h"

#include <gtest/gtest.h>

namespace {

using namespace compute::vulkan;

PhysicalDevice device(const char* name, DeviceKind kind, const char* unusable = "") {
    PhysicalDevice made;
    made.name = name;
    made.kind = kind;
    made.unusable = unusable;
    return made;
}

struct Row {
    const char* what;
    std::vector<PhysicalDevice> devices;
    const char* choice;
    const char* expected; ///< a name, or the error
};

class Choice : public ::testing::TestWithParam<Row> {};

TEST_P(Choice, IsTheDeviceThatIsMeantOrSaysWhyNot) {
    const auto chosen = choose(GetParam().devices, GetParam().choice);
    EXPECT_EQ(chosen ? chosen->name : chosen.error().message, GetParam().expected);
}

const PhysicalDevice software = device("llvmpipe", DeviceKind::Software);
const PhysicalDevice onBoard = device("Small GPU", DeviceKind::Integrated);
const PhysicalDevice card = device("Large GPU", DeviceKind::Discrete);
const PhysicalDevice largerCard = device("Large GPU Plus", DeviceKind::Discrete);
const PhysicalDevice newOldCard = device("Old GPU Plus", DeviceKind::Discrete);
const PhysicalDevice machine = device("Virtual GPU", DeviceKind::Virtual);
const PhysicalDevice oldCard = device("Old GPU", DeviceKind::Discrete, "its driver is too old");

INSTANTIATE_TEST_SUITE_P(
    All, Choice,
    ::testing::Values(
        Row{"NoDriver", {}, "auto", "There is no Vulkan driver"},
        Row{"CardFirst", {software, onBoard, card}, "auto", "Large GPU"},
        Row{"OnBoardNext", {software, onBoard}, "auto", "Small GPU"},
        Row{"SoftwareOnlyWhenAsked", {software}, "auto", "There is no graphics device"},
        Row{"SoftwareWhenAsked", {software}, "vulkan", "llvmpipe"},
        Row{"RatherThanSoftware", {software, onBoard}, "vulkan", "Small GPU"},
        Row{"ByPartOfTheName", {software, onBoard, card}, "vulkan:small", "Small GPU"},
        Row{"UsableRatherThanBetter", {oldCard, onBoard}, "auto", "Small GPU"},
        Row{"OneReason", {oldCard}, "auto", "Old GPU cannot be used: its driver is too old"},
        Row{"WholeNameFirst", {largerCard, card}, "vulkan:large gpu", "Large GPU"},
        Row{"WholeNameThoughUnusable",
            {oldCard, newOldCard},
            "vulkan:Old GPU",
            "Old GPU cannot be used: its driver is too old"},
        Row{"VirtualOnlyWhenAsked", {machine, software}, "auto", "There is no graphics device"},
        Row{"VirtualWhenAsked", {software, machine}, "vulkan", "Virtual GPU"},
        Row{"UnknownName",
            {software, card},
            "vulkan:medium",
            "No device is called 'medium'; there are: llvmpipe, Large GPU"}),
    [](const auto& info) { return info.param.what; });

} // namespace
