// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The program with the window. It shows one document and ends with its window; when its process
// dies before that, another one takes its place.
#include "app/console/DocumentClaim.h"
#include "app/console/StartOptions.h"
#include "app/console/Succession.h"
#include "app/window/ConsoleWindow.h"
#include "app/window/Style.h"
#include "platform/process/EndRequests.h"
#include "platform/process/Supervision.h"
#include "platform/process/Terminal.h"

#include <QApplication>
#include <QMessageBox>
#include <QSocketNotifier>

#include <iostream>

static int fail(const std::string& message, bool fromWindow) {
    std::cerr << app::programName << ": " << message << std::endl;
    if (!fromWindow &&
        !platform::standardErrorIsHeard()) // a window that has started us shows the line
        QMessageBox::critical(nullptr, "Starloom 42", QString::fromStdString(message));
    return EXIT_FAILURE;
}

static platform::Result<app::DocumentOrigin> findOrigin(const app::StartOptions& options,
                                                        const std::optional<app::Bequest>& bequest,
                                                        int recentDeaths) {
    if (recentDeaths == 0)
        return options.readOrigin();
    if (bequest)
        if (auto origin = app::inheritedOrigin(*bequest, recentDeaths))
            return *std::move(origin);
    return app::offeredOnly(SL42_TRY(options.readOrigin()));
}

static int showWindow(int argc, char** argv, platform::Supervised& supervised) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("Starloom 42");
    QApplication::setDesktopFileName("org.starloom42");
    app::applyStyle(application);

    const auto options = app::StartOptions::parse(QApplication::arguments());
    if (!options)
        return fail(options.error().message, false);
    const auto bequest = app::Bequest::decode(supervised.inheritance());
    const auto origin = findOrigin(*options, bequest, supervised.recentDeaths());
    if (!origin)
        return fail(origin.error().message, options->fromWindow);

    app::DocumentClaim claim;
    if (!origin->file.empty() && claim.claim(origin->file) == app::DocumentClaim::Answer::Raised &&
        supervised.recentDeaths() == 0)
        return EXIT_SUCCESS;

    app::ConsoleWindow window(*origin, supervised, claim);
    claim.onWanted = [&window] { window.present(); };
    if (bequest)
        window.restore(*bequest);
    supervised.hasStarted(); // whoever sees the window may kill it
    window.show();
    platform::EndRequests requests;
    const QSocketNotifier notifier(requests.descriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &window, [&] {
        window.settleFiles();
        requests.obey();
    });
    if (supervised.recentDeaths() == 0 && !options->fromWindow && options->recover.isEmpty())
        window.documents().offerRecovery();
    return QApplication::exec();
}

// The window is shown by a child of this process, and by another one if that dies.
int main(int argc, char** argv) {
    return platform::supervise(
        [=](platform::Supervised& supervised) { return showWindow(argc, argv, supervised); });
}
