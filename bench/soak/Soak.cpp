// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A long evening on stage, watched from outside: all examples in turn, and again and again a save
// of a program that is wrong in one of the worst ways. Prints what the picture, the event loop, the
// sound and the memory did. Arguments: minutes (10), seconds from one save to the next (10).
#include "tests/app/Desktop.h"
#include "tests/app/EventLoopProbe.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace app::tests {
namespace {

namespace fs = std::filesystem;

constexpr Colour black{0, 0, 0};

/// Its sound never comes near zero, and it draws something in the middle of the picture, so that
/// gaps can be told from programs that are silent or dark.
std::string audibleAndVisible(std::string program) {
    const auto rename = [&](const std::string& from, const std::string& to) {
        if (const auto at = program.find(from); at != program.npos)
            program.replace(at, from.size(), to);
    };
    rename("void fx(", "void scene(");
    rename("float2 sfx(", "float2 song(");
    const bool hasScene = program.find("void scene(") != program.npos;
    return program +
           "\nfloat2 sfx() { return 0.3 + 0.1 * sin(float(sample) * 0.05); }\nvoid fx() {" +
           (hasScene ? " scene();" : "") + " circ(resolution / 2, 40, float4(1, 0.6, 0.3, 1)); }\n";
}

struct Hostile {
    const char* name;
    std::string text;
};

/// Each on top of a program that is all right, as they come about while somebody types.
std::vector<Hostile> hostileTexts(const std::string& good) {
    const auto fx = [&](const std::string& statements) {
        std::string text = good;
        return text.insert(text.rfind('}'), statements + " ");
    };
    const auto sfx = [&](const std::string& statements) {
        const std::string start = "float2 sfx() {";
        std::string text = good;
        return text.insert(text.find(start) + start.size(), " " + statements);
    };
    std::string deep = "template <int N> struct Deep { static constexpr int v = Deep<N - 1>::v + "
                       "Deep<N - 2>::v * Deep<N - 1>::v; }; constexpr int d = Deep<100000>::v;\n";
    std::string macros = "#define A0 x+x+x+x+x+x+x+x\n";
    for (int i = 1; i < 12; ++i) {
        const std::string last = "A" + std::to_string(i - 1);
        macros += "#define A" + std::to_string(i);
        for (int j = 0; j < 8; ++j)
            macros += (j == 0 ? " " : "+") + last;
        macros += '\n';
    }
    return {
        {"endless fx()", fx("for (int i = 0; ; ++i) poke32<int>(i, 0);")},
        {"endless cpu()", good + "void cpu() { for (int i = 0; ; ++i) poke32<int>(i, 0); }\n"},
        {"endless sfx()", sfx("for (int i = 0; ; ++i) poke32<int>(i, 0);")},
        {"wild write", fx("*(device int*)(1ul << 46) = 1;")},
        {"wild read", fx("poke32<int>(*(device int*)(1ul << 46), 0);")},
        {"deep templates", deep + good},
        {"macro bomb", macros + "constant int x = 1;\nconstant int y = A11;\n" + good},
        {"huge stack", fx("int a[8000000]; for (int i = 0; i < 8000000; ++i) a[i] = i * int(time); "
                          "poke32<int>(a[int(time)], 0);")},
        {"fatal music line", "int4 music = {0, 4, 8, 1};\n" + good},
        {"no UTF-8", good + "\xff\xfe\xc3"},
        {"empty", ""},
    };
}

/// Time during which something was not as it should be.
class Outage {
public:
    void look(bool bad) {
        const auto now = Clock::now();
        if (!bad)
            m_since = now;
        else
            m_longest = std::max(m_longest, now - m_since);
        if (bad)
            m_total += now - m_last;
        m_last = now;
    }
    std::string take() {
        const auto inMilliseconds = [](Clock::duration time) {
            return std::to_string(std::chrono::duration_cast<milliseconds>(time).count()) + " ms";
        };
        std::string text = inMilliseconds(std::exchange(m_total, {})) + " in all, longest " +
                           inMilliseconds(std::exchange(m_longest, {}));
        return text;
    }

private:
    Clock::time_point m_last = Clock::now();
    Clock::time_point m_since = m_last;
    Clock::duration m_total{};
    Clock::duration m_longest{};
};

/// What the sound driver writes to a file in real time: 32-bit floats, two channels.
class Sound {
public:
    explicit Sound(std::string file) : m_file(std::move(file)) {}

    /// Reads on. A block that has not come for a while, or is silent, is a gap.
    void look() {
        std::ifstream stream(m_file, std::ios::binary);
        stream.seekg(static_cast<std::streamoff>(m_read));
        std::vector<float> samples(std::size_t{48000} * 2);
        stream.read(reinterpret_cast<char*>(samples.data()),
                    static_cast<std::streamsize>(samples.size() * sizeof(float)));
        const auto count = static_cast<std::size_t>(stream.gcount()) / sizeof(float) / 2 * 2;
        m_read += count * sizeof(float);
        for (std::size_t i = 0; i < count; i += 2) {
            m_silent = std::abs(samples[i]) < 0.05F ? m_silent + 1 : 0;
            m_longestSilence = std::max(m_longestSilence, m_silent);
        }
        stalls.look(count == 0);
    }
    double seconds() const { return static_cast<double>(m_read) / sizeof(float) / 2 / 48000; }
    /// In samples.
    std::size_t takeLongestSilence() { return std::exchange(m_longestSilence, 0); }

    Outage stalls;

private:
    std::string m_file;
    std::size_t m_read = 0;
    std::size_t m_silent = 0;
    std::size_t m_longestSilence = 0;
};

std::string memoryOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:"))
            return std::to_string(std::atol(line.c_str() + 6) / 1024);
    return "-";
}

std::vector<pid_t> childrenOf(pid_t parent) {
    std::vector<pid_t> found;
    std::error_code gone;
    for (const auto& thread :
         fs::directory_iterator("/proc/" + std::to_string(parent) + "/task", gone)) {
        std::ifstream list(thread.path() / "children");
        for (pid_t child = 0; list >> child;)
            found.push_back(child);
    }
    return found;
}

/// All that is watched.
class Stage {
public:
    Stage()
        : m_file(
              m_desktop.files().file("soak.metal", audibleAndVisible("void fx() { cls(0.5); }"))),
          m_sound(m_desktop.files().path("sound.raw")),
          m_console(
              m_desktop, {m_file},
              {"SDL_AUDIODRIVER=disk", "SDL_DISKAUDIOFILE=" + m_desktop.files().path("sound.raw")}),
          m_probe(m_desktop.display(), "soak.metal") {}

    bool start() {
        const bool shown = m_console.focus() && eventually([&] { return isVisible(); });
        m_start = Clock::now();
        watch(std::chrono::seconds(3)); // until the song plays
        forget();
        m_soundBefore = m_sound.seconds();
        m_start = Clock::now();
        return shown;
    }
    void save(const std::string& text) {
        fs::rename(m_file, m_file + "~");
        std::ofstream(m_file, std::ios::binary) << text;
    }
    void watch(Clock::duration time) {
        for (const auto end = Clock::now() + time; Clock::now() < end;) {
            m_picture.look(!isVisible());
            m_sound.look();
            noteProcesses();
            std::this_thread::sleep_for(milliseconds(5));
        }
    }
    void report(const std::string& what) {
        const Latencies gaps = m_probe.take();
        std::cout << what << "\n  picture gone " << m_picture.take() << "; sound silent for "
                  << m_sound.takeLongestSilence() * 1000 / 48000 << " ms, late "
                  << m_sound.stalls.take() << "\n  " << gaps << "\n  window process " << m_window
                  << " (" << memoryOf(m_window) << " MB), service " << m_service << " ("
                  << memoryOf(m_service) << " MB)" << std::endl;
    }
    void summary() const {
        const double elapsed = std::chrono::duration<double>(Clock::now() - m_start).count();
        std::cout << "In all: " << elapsed << " s, of sound " << m_sound.seconds() - m_soundBefore
                  << " s; window processes " << m_windows.size() << ", services "
                  << m_services.size() << std::endl;
    }
    std::string output() const { return m_console.output(); }

private:
    bool isVisible() const { return m_desktop.picture() != black; }
    void forget() {
        m_picture.take();
        m_sound.takeLongestSilence();
        m_sound.stalls.take();
        m_probe.take();
    }
    void noteProcesses() {
        m_window = m_console.id();
        m_windows.insert(m_window);
        for (const pid_t child : childrenOf(m_window))
            m_services.insert(m_service = child);
    }

    Desktop m_desktop;
    std::string m_file;
    Sound m_sound;
    ConsoleProcess m_console;
    EventLoopProbe m_probe;
    Outage m_picture;
    Clock::time_point m_start;
    double m_soundBefore = 0;
    pid_t m_window = 0;
    pid_t m_service = 0;
    std::set<pid_t> m_windows;
    std::set<pid_t> m_services;
};

std::vector<fs::path> examples() {
    std::vector<fs::path> files;
    for (const auto& entry :
         fs::directory_iterator(fs::path(std::getenv("SL42_SOURCE_DIR")) / "examples"))
        if (entry.path().extension() == ".metal")
            files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

int soak(std::chrono::minutes length, std::chrono::seconds pause) {
    Stage stage;
    if (!stage.start()) {
        std::cerr << "There is no picture.\n" << stage.output();
        return EXIT_FAILURE;
    }
    stage.watch(pause);
    stage.report("At rest");
    const auto files = examples();
    const auto end = Clock::now() + length;
    for (std::size_t turn = 0; Clock::now() < end; ++turn) {
        const fs::path& example = files[turn % files.size()];
        const std::string good = audibleAndVisible(::tests::contentsOf(example));
        stage.save(good);
        stage.watch(pause);
        stage.report("Example " + example.filename().string());
        const auto hostile = hostileTexts(good);
        const Hostile& wrong = hostile[turn % hostile.size()];
        stage.save(wrong.text);
        stage.watch(pause);
        stage.report(std::string("Hostile: ") + wrong.name);
    }
    stage.summary();
    return EXIT_SUCCESS;
}

} // namespace
} // namespace app::tests

int main(int argc, char** argv) {
    const auto number = [&](int index, int initial) {
        return argc > index ? std::max(1, std::atoi(argv[index])) : initial;
    };
    return app::tests::soak(std::chrono::minutes(number(1, 10)),
                            std::chrono::seconds(number(2, 10)));
}
