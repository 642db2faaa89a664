// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What programs run on, as it is chosen in the window.
#include "tests/app/OpenWindow.h"

#include <QLabel>
#include <QMenuBar>

#include <algorithm>
#include <cstdlib>

namespace app::tests {
namespace {

constexpr const char* text = "void fx() { cls(time); }";

class Devices : public OpenWindow {
protected:
    ~Devices() override { ::unsetenv("SL42_DEVICE"); }

    QMenu& menu() const {
        for (const QAction* top : window->menuBar()->actions())
            if (top->text() == "&Device")
                return *top->menu();
        throw std::runtime_error("no menu of devices");
    }
    /// "*" in front of those that are ticked.
    std::vector<std::string> entries() const {
        std::vector<std::string> texts;
        for (const QAction* action : menu().actions())
            if (!action->isSeparator())
                texts.push_back((action->isChecked() ? "*" : "") + nameOf(*action));
        return texts;
    }
    bool has(const std::string& beginning) const {
        return std::ranges::any_of(
            entries(), [&](const std::string& entry) { return entry.starts_with(beginning); });
    }
    void choose(const QString& beginning) const {
        for (QAction* action : menu().actions())
            if (action->text().startsWith(beginning))
                return action->trigger();
        FAIL() << "no device " << beginning.toStdString();
    }
    bool readsOut(const QString& name) const {
        return widget<QLabel>("Device").text().startsWith(name);
    }
    bool goesOnDrawing() const {
        const double before = engine().time();
        return eventually([&] { return engine().time() > before + 0.1; }) &&
               engine().fault().get().empty();
    }
};

} // namespace

TEST_F(Devices, AreListedAndChosenWhileTheProgramPlays) {
    open(files.file("a.metal", text));
    EXPECT_TRUE(has("*Host processor")) << "before anything has been looked for";
    emit menu().aboutToShow();
    EXPECT_TRUE(eventually([this] { return has("llvmpipe"); }));
    EXPECT_EQ(entries().front(), "Automatic");
    EXPECT_TRUE(has("*Host processor"));
    EXPECT_TRUE(readsOut("Host processor"));

    choose("llvmpipe");
    EXPECT_TRUE(eventually([this] { return readsOut("llvmpipe") && has("*llvmpipe"); }));
    EXPECT_FALSE(has("*Host"));
    EXPECT_TRUE(Settings().device.get().startsWith("vulkan:llvmpipe"));
    EXPECT_TRUE(goesOnDrawing());

    choose("Host processor");
    EXPECT_TRUE(eventually([this] { return readsOut("Host processor") && has("*Host"); }));
    EXPECT_EQ(Settings().device.get(), "host");
    EXPECT_TRUE(goesOnDrawing());
    EXPECT_EQ(notice(), "");
}

TEST_F(Devices, ThatDoNotStartAreReportedOnce) {
    Settings().device.set("vulkan:none such");
    open(files.file("a.metal", text));
    EXPECT_TRUE(eventually([this] { return !notice().empty(); }));
    EXPECT_TRUE(notice().find("since the device 'vulkan:none such' does not start: No device is "
                              "called 'none such'") != std::string::npos)
        << notice();
    EXPECT_TRUE(has("*Host processor"));
    EXPECT_TRUE(goesOnDrawing());
}

TEST_F(Devices, OfTheEnvironmentWinForOneStartOnly) {
    Settings().device.set("vulkan:none such");
    ::setenv("SL42_DEVICE", "host", 1);
    open(files.file("a.metal", text));
    EXPECT_TRUE(goesOnDrawing());
    EXPECT_EQ(notice(), "");
    EXPECT_TRUE(readsOut("Host processor"));
    EXPECT_EQ(Settings().device.get(), "vulkan:none such");
}

TEST_F(Devices, RememberedNonsenseIsTheProcessor) {
    Settings().device.set("a toaster");
    open(files.file("a.metal", text));
    EXPECT_TRUE(goesOnDrawing());
    EXPECT_TRUE(readsOut("Host processor"));
}

} // namespace app::tests
