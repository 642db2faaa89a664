// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/PortalAnswer.h"

#include <string_view>

namespace platform {
namespace {

/// Reads a variant that must hold a value of this type.
bool readVariant(sd_bus_message* message, const char* type, void* value) {
    return sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, type) > 0 &&
           sd_bus_message_read_basic(message, type[0], value) > 0 &&
           sd_bus_message_exit_container(message) >= 0;
}

/// A session's path is a string in some versions.
bool readText(sd_bus_message* message, std::string& text) {
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, nullptr, &contents) <= 0 || contents == nullptr)
        return false;
    const std::string_view type(contents);
    const char* value = nullptr;
    if ((type != "s" && type != "o") || !readVariant(message, contents, static_cast<void*>(&value)))
        return false;
    text = value;
    return true;
}

/// Calls `read` with each name in a dictionary (a{sv}), in front of its value. It returns false
/// when the value is of another shape than expected, and skips values that it does not know.
template <class Read>
bool forEachEntry(sd_bus_message* message, Read read) {
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0)
        return false;
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0) {
        const char* name = nullptr;
        if (sd_bus_message_read(message, "s", &name) <= 0 || !read(std::string_view(name)) ||
            sd_bus_message_exit_container(message) < 0)
            return false;
    }
    return entered == 0 && sd_bus_message_exit_container(message) >= 0;
}

bool skipValue(sd_bus_message* message) {
    return sd_bus_message_skip(message, "v") >= 0;
}

bool readStreamProperty(sd_bus_message* message, std::string_view name, PortalAnswer& answer) {
    if (name == "source_type")
        return readVariant(message, "u", &answer.sourceType);
    std::int32_t height = 0;
    if (name == "size")
        return sd_bus_message_read(message, "v", "(ii)", &answer.widthInPoints, &height) > 0;
    return skipValue(message);
}

bool readStreams(sd_bus_message* message, PortalAnswer& answer) {
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, "a(ua{sv})") <= 0 ||
        sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "(ua{sv})") < 0)
        return false;
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(message, SD_BUS_TYPE_STRUCT, "ua{sv}")) > 0) {
        PortalAnswer stream;
        const auto read = [&](std::string_view name) {
            return readStreamProperty(message, name, stream);
        };
        if (sd_bus_message_read_basic(message, SD_BUS_TYPE_UINT32, &stream.node) <= 0 ||
            !forEachEntry(message, read) || sd_bus_message_exit_container(message) < 0)
            return false;
        if (answer.hasStream)
            continue;
        answer.hasStream = true;
        answer.node = stream.node;
        answer.sourceType = stream.sourceType;
        answer.widthInPoints = stream.widthInPoints;
    }
    return entered == 0 && sd_bus_message_exit_container(message) >= 0 &&
           sd_bus_message_exit_container(message) >= 0;
}

bool readResult(sd_bus_message* message, std::string_view name, PortalAnswer& answer) {
    if (name == "session_handle")
        return readText(message, answer.session);
    if (name == "restore_token")
        return readText(message, answer.restoreToken);
    if (name == "streams")
        return readStreams(message, answer);
    return skipValue(message);
}

PortalAnswer::Outcome outcomeOf(std::uint32_t response) {
    switch (response) {
    case 0:
        return PortalAnswer::Outcome::Granted;
    case 1:
        return PortalAnswer::Outcome::Refused;
    default:
        return PortalAnswer::Outcome::Failed;
    }
}

} // namespace

std::optional<PortalAnswer> readAnswer(sd_bus_message* message) {
    PortalAnswer answer;
    std::uint32_t response = 0;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_UINT32, &response) <= 0)
        return std::nullopt;
    answer.outcome = outcomeOf(response);
    const auto read = [&](std::string_view name) { return readResult(message, name, answer); };
    if (answer.outcome == PortalAnswer::Outcome::Granted && !forEachEntry(message, read))
        return std::nullopt;
    return answer;
}

bool readAbilities(sd_bus_message* message, PortalAbilities& abilities) {
    return forEachEntry(message, [&](std::string_view name) {
        if (name == "version")
            return readVariant(message, "u", &abilities.version);
        if (name == "AvailableSourceTypes")
            return readVariant(message, "u", &abilities.sourceTypes);
        if (name == "AvailableCursorModes")
            return readVariant(message, "u", &abilities.cursorModes);
        return skipValue(message);
    });
}

} // namespace platform
