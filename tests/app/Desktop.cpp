// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/app/Desktop.h"

#include "platform/base/FileDescriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace app::tests {
namespace fs = std::filesystem;

bool eventually(const std::function<bool()>& holds, Clock::duration limit) {
    const auto end = Clock::now() + limit;
    while (!holds()) {
        if (Clock::now() > end)
            return false;
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

// The file is an X window dump: a head of 32-bit numbers with the highest byte first, a table of
// colours of 12 bytes each, and rows of blue, green, red and an unused byte.
Screen::Screen(const std::string& folder) {
    const platform::FileDescriptor file(
        ::open((folder + "/Xvfb_screen0").c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status{};
    if (::fstat(file.get(), &status) != 0)
        throw std::runtime_error("the X server has no screen");
    const auto length = static_cast<std::size_t>(status.st_size);
    void* memory = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED)
        throw std::runtime_error("the screen cannot be read");
    m_file = {static_cast<const std::uint8_t*>(memory), length};
    const auto number = [this](std::size_t index) {
        const std::uint8_t* bytes = &m_file[index * 4];
        return std::size_t{bytes[0]} << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
    };
    m_pixels = number(0) + number(19) * 12;
    m_rowLength = number(12);
}

Screen::~Screen() {
    ::munmap(const_cast<std::uint8_t*>(m_file.data()), m_file.size());
}

Colour Screen::at(int x, int y) const {
    const std::size_t index =
        m_pixels + static_cast<std::size_t>(y) * m_rowLength + static_cast<std::size_t>(x) * 4;
    return {m_file[index + 2], m_file[index + 1], m_file[index]};
}

bool Screen::holds(Colour colour, int left, int top, int right, int bottom) const {
    for (int y = top; y < bottom; ++y)
        for (int x = left; x < right; ++x)
            if (at(x, y) == colour)
                return true;
    return false;
}

static std::vector<std::string> screenArguments(const std::string& folder) {
    return {"-screen", "0",
            std::to_string(Screen::width) + "x" + std::to_string(Screen::height) + "x24", "-fbdir",
            folder};
}

Desktop::Desktop()
    : m_server(screenArguments(m_frameBuffer.path(""))), m_screen(m_frameBuffer.path("")) {
    fs::create_directory(m_files.path("run"));
    fs::permissions(m_files.path("run"), fs::perms::owner_all);
    fs::create_directory(m_files.path("tmp"));
}

std::vector<std::string> Desktop::environment() const {
    std::vector<std::string> variables{"DISPLAY=" + m_server.display(),
                                       "QT_QPA_PLATFORM=xcb",
                                       "SDL_AUDIODRIVER=dummy",
                                       "HOME=" + m_files.path("home"),
                                       "XDG_CONFIG_HOME=" + m_files.path("config"),
                                       "XDG_STATE_HOME=" + m_files.path("state"),
                                       "XDG_RUNTIME_DIR=" + m_files.path("run"),
                                       "TMPDIR=" + m_files.path("tmp"),
                                       "SL42_EDITOR=" + m_files.path("editor"),
                                       "LC_ALL=C.UTF-8"};
    for (const char* kept : {"PATH", "XDG_CACHE_HOME", "SL42_COMPUTE", "SL42_TRACE"})
        if (const char* value = std::getenv(kept))
            variables.push_back(std::string(kept) + "=" + value);
    return variables;
}

int Desktop::act(std::vector<std::string> words) const {
    words.insert(words.begin(), "xdotool");
    return m_server.run(std::move(words));
}

std::string Desktop::ask(const std::string& words) const {
    const std::string file = m_files.file("answer", "");
    m_server.run({"sh", "-c", "xdotool " + words}, {.in = {}, .out = file, .err = file});
    return ::tests::contentsOf(file);
}

bool Desktop::hasWindow(pid_t process, const std::string& title) const {
    return act({"search", "--all", "--onlyvisible", "--pid", std::to_string(process), "--name",
                title}) == 0;
}

static std::vector<std::string> commandOf(const Desktop& desktop,
                                          const std::vector<std::string>& arguments,
                                          const std::vector<std::string>& variables) {
    std::vector<std::string> words = desktop.environment();
    words.insert(words.end(), variables.begin(), variables.end());
    words.insert(words.begin(), {"env", "-i"});
    words.push_back(std::string(std::getenv("SL42_BUILD_DIR")) + "/starloom");
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

static std::string newOutput(const Desktop& desktop) {
    static int count = 0;
    return desktop.files().path("output" + std::to_string(++count));
}

ConsoleProcess::ConsoleProcess(const Desktop& desktop, const std::vector<std::string>& arguments,
                               const std::vector<std::string>& variables)
    : m_desktop(desktop),
      m_output(newOutput(desktop)),
      m_program(commandOf(desktop, arguments, variables),
                {.in = {}, .out = m_output, .err = m_output}) {}

pid_t ConsoleProcess::id() const {
    const std::string process = std::to_string(m_program.id());
    std::ifstream children("/proc/" + process + "/task/" + process + "/children");
    pid_t child = 0;
    children >> child;
    return child;
}

bool ConsoleProcess::focus() const {
    if (!eventually([&] { return id() != 0 && m_desktop.hasWindow(id(), "Starloom"); }))
        return false;
    const std::string process = std::to_string(id());
    m_desktop.focus(id(), "Starloom");
    return eventually(
        [&] { return m_desktop.ask("getwindowfocus getwindowpid") == process + "\n"; });
}

} // namespace app::tests
