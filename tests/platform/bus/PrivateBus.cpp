// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/bus/PrivateBus.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace platform::tests {

/// Without folders of services: an installed portal would be started.
static constexpr std::string_view busConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=/nowhere</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

std::unique_ptr<::tests::Program> startPrivateBus(const std::filesystem::path& folder) {
    const std::string address = "unix:path=" + (folder / "bus").string();
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
    const std::string configuration = folder / "bus.conf";
    std::ofstream(configuration) << busConfiguration;
    const std::string log = folder / "dbus-daemon.log";
    return std::make_unique<::tests::Program>(
        std::vector<std::string>{"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
                                 "--address=" + address, "--config-file=" + configuration},
        ::tests::Streams{.in = {}, .out = log, .err = log});
}

} // namespace platform::tests
