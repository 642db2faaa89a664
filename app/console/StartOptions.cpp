// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/StartOptions.h"

#include "app/console/Succession.h"
#include "platform/TextFile.h"

#include <QCommandLineParser>

namespace app {
namespace fs = std::filesystem;
using platform::Error;
using platform::Result;

// Without the two hyphens.
static QString nameOf(const char* option) {
    return QString::fromLatin1(option + 2);
}

Result<StartOptions> StartOptions::parse(const QStringList& arguments) {
    QCommandLineParser parser;
    for (const char* option : {startOption::text, startOption::title, startOption::recover})
        parser.addOption({nameOf(option), QString(), "value"});
    parser.addOption({nameOf(startOption::fromWindow), QString()});
    if (!parser.parse(arguments))
        return Error{parser.errorText().toStdString()};
    const QStringList files = parser.positionalArguments();
    if (files.size() > 1)
        return Error{"One document at a time"};
    StartOptions options;
    options.fromWindow = parser.isSet(nameOf(startOption::fromWindow));
    options.text = parser.value(nameOf(startOption::text));
    options.title = parser.value(nameOf(startOption::title));
    options.recover = parser.value(nameOf(startOption::recover));
    options.file = files.value(0);
    return options;
}

static Result<DocumentOrigin> takeText(const std::string& file, std::string title) {
    DocumentOrigin origin;
    origin.title = std::move(title);
    origin.source = SL42_TRY(platform::readTextFile(file));
    std::error_code ignored;
    fs::remove(file, ignored);
    return origin;
}

static Result<DocumentOrigin> findJournal(const fs::path& file) {
    for (auto& entry : starloom::Journal::recoverable(file.parent_path())) {
        if (entry.file == file)
            return originFrom(std::move(entry), true);
    }
    return Error{"Another window has recovered it already"};
}

Result<DocumentOrigin> StartOptions::readOrigin() const {
    if (!recover.isEmpty())
        return findJournal(recover.toStdString());
    if (!text.isEmpty())
        return takeText(text.toStdString(), title.toStdString());
    if (!file.isEmpty())
        return app::readOrigin(file.toStdString());
    return DocumentOrigin{};
}

} // namespace app
