// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The program with the window. It shows one document and ends with its window.
#include "app/console/StartOptions.h"
#include "app/window/ConsoleWindow.h"
#include "app/window/Style.h"

#include <QApplication>

#include <iostream>

static int fail(const std::string& message) {
    std::cerr << app::programName << ": " << message << std::endl;
    return EXIT_FAILURE;
}

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("Starloom 42");
    QApplication::setDesktopFileName("org.starloom42");
    app::applyStyle(application);

    const auto options = app::StartOptions::parse(QApplication::arguments());
    if (!options)
        return fail(options.error().message);
    const auto origin = options->readOrigin();
    if (!origin)
        return fail(origin.error().message);

    app::ConsoleWindow window(*origin);
    window.show();
    if (!options->fromWindow)
        window.documents().offerRecovery();
    return QApplication::exec();
}
