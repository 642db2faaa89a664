// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom history`: the texts that a document has had.
#include "SL42/document/History.h"
#include "cli/Command.h"
#include "cli/Subcommand.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <iostream>

namespace cli {
namespace {

namespace fs = std::filesystem;
using starloom::History;
using starloom::HistoryEntry;

struct HistoryOptions {
    std::string file;
    std::uint64_t restored = 0;
};

void list(const std::vector<HistoryEntry>& entries) {
    for (const HistoryEntry& entry : entries) {
        const std::time_t seconds = std::chrono::system_clock::to_time_t(entry.time);
        std::tm local{};
        ::localtime_r(&seconds, &local);
        std::cout << std::setw(6) << entry.number << "  " << std::put_time(&local, "%F %T") << "  "
                  << std::setw(7) << entry.text().size() << " bytes  " << entry.outcome() << '\n';
    }
}

/// Documents whose texts are kept, the one that was changed last first.
ExitStatus listDocuments(const fs::path& folder) {
    for (const fs::path& file : History::files(folder)) {
        const auto contents = History::read(file);
        std::cout << std::setw(6) << contents.entries.size() << "  "
                  << (contents.document.empty() ? file.string() : contents.document) << '\n';
    }
    return ExitStatus::Success;
}

ExitStatus history(const HistoryOptions& options) {
    const fs::path folder = History::folderOfThisUser();
    if (folder.empty())
        return fail("There is no history: neither HOME nor XDG_STATE_HOME is set");
    if (options.file.empty() && options.restored != 0)
        return fail("--restore needs the document whose text it is");
    if (options.file.empty())
        return listDocuments(folder);
    const fs::path given = options.file;
    const bool isHistory = given.extension() == ".history"; // of a document without a name
    const auto entries = History::read(isHistory ? given : History::fileOf(folder, given)).entries;
    if (entries.empty())
        return fail(options.file + ": There is no history of it");
    if (options.restored == 0) {
        list(entries);
        return ExitStatus::Success;
    }
    const auto entry = std::ranges::find(entries, options.restored, &HistoryEntry::number);
    if (entry == entries.end())
        return fail(options.file + ": There is no text " + std::to_string(options.restored) +
                    " in its history");
    std::cout << entry->text();
    return ExitStatus::Success;
}

} // namespace

void addHistory(CLI::App& app, Session& session) {
    const auto options = std::make_shared<HistoryOptions>();
    Subcommand command(app, "history",
                       "List the texts that a program has had in the window, the newest last");
    command.add("FILE", options->file, "The program; without it, all programs that have a history");
    command.add("--restore", options->restored, "Print the text with this number").positive();
    command.run([options, &session] { session.exitStatus = history(*options); });
}

} // namespace cli
