// quorvane info — where the library lives and how it is.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/store_session.h"
#include "cli/text_width.h"
#include "model/control_characters.h"
#include "pdf/localization.h"
#include "platform/paths.h"
#include "storage/app_container.h"

namespace quorvane {
namespace {

// What the user reads for a storage notice.
std::string noticeText(const StorageNotice& notice, const CliContext& context) {
  std::vector<std::string> arguments = notice.arguments;
  return fillPlaceholders(context.text(notice.key), arguments);
}

std::vector<std::string> recoveryCopies(const std::string& databasePath) {
  const std::string root = databasePath.substr(0, databasePath.find_last_of('/')) + "/Recovery";
  std::vector<std::string> copies;
  try {
    for (const std::string& name : realFileSystem().listDirectory(root)) {
      if (name.starts_with("sqlite-recovery-")) copies.push_back(root + "/" + name);
    }
  } catch (const std::exception&) {
  }
  std::sort(copies.begin(), copies.end());
  return copies;
}

std::string quickCheck(SQLiteSnapshotRepository& repository) {
  return repository.withDatabase([](SQLiteDatabase& db) {
    Statement check = db.prepare("PRAGMA quick_check");
    std::string result;
    while (check.nextRow()) result += (result.empty() ? "" : "; ") + check.textOrEmpty(0);
    return result;
  });
}

void printInfo(CliContext& context) {
  StreamLogger diagnostics(context.err);
  BootedStorage storage;
  try {
    storage = AppContainer::bootStorage(cliBootEnvironment(
        context, context.verbose ? static_cast<Logger&>(diagnostics) : nullLogger(),
        StorageAccess::read, false));
  } catch (const LibraryBusyError& error) {
    throw CliError(libraryBusyText(context, error.holder(), true));
  } catch (const LibraryUnavailableError& error) {
    throw CliError(libraryUnavailableText(context, error));
  }
  for (const StorageNotice& notice : storage.notices) {
    context.err << "quorvane: " << noticeText(notice, context) << '\n';
  }
  // The health of the database first: a library damaged inside may fail the
  // counts, and then the check is what the user needs to see.
  std::string integrity;
  try {
    integrity = quickCheck(*storage.repository);
  } catch (const std::exception& error) {
    integrity = error.what();
  }
  std::optional<std::size_t> projects;
  std::optional<LibraryKPIOverview> counts;
  try {
    projects = storage.repository->projectSummaries().size();
    counts = storage.repository->libraryCounts();
  } catch (const std::exception&) {
  }
  const auto count = [&](std::int64_t LibraryKPIOverview::*field) {
    return counts ? nlohmann::json((*counts).*field) : nlohmann::json(nullptr);
  };
  const auto countText = [&](std::int64_t LibraryKPIOverview::*field) {
    return counts ? std::to_string((*counts).*field) : context.text("cli.info.unknown");
  };
  const std::optional<std::string> link = storage.media->linkTarget();
  // How the library can be used by the next command that writes.
  const std::string state = storage.isFallback         ? "temporary"
                            : storage.problem          ? "unusable"
                            : storage.isWriteProtected ? "readOnly"
                            : storage.isEmptyStandIn   ? "new"
                                                       : "usable";
  const std::optional<std::string> problem =
      storage.problem ? std::optional(libraryProblemText(context, storage.problem)) : std::nullopt;
  const std::vector<std::string> copies =
      storage.isFallback ? std::vector<std::string>{} : recoveryCopies(storage.databasePath);

  if (context.json) {
    nlohmann::json notices = nlohmann::json::array();
    for (const StorageNotice& notice : storage.notices) {
      notices.push_back({{"key", notice.key}, {"arguments", notice.arguments}});
    }
    context.out << nlohmann::json{{"library", storage.databasePath},
                                  {"media", storage.media->directory()},
                                  {"mediaLinksTo", link ? nlohmann::json(*link) : nullptr},
                                  {"preferences", preferencesFilePath()},
                                  {"temporary", storage.isFallback},
                                  {"state", state},
                                  {"problem", problem ? nlohmann::json(*problem) : nullptr},
                                  {"projects", projects ? nlohmann::json(*projects) : nullptr},
                                  {"artworks", count(&LibraryKPIOverview::artworksCount)},
                                  {"cvs", count(&LibraryKPIOverview::cvCount)},
                                  {"biographies", count(&LibraryKPIOverview::bioCount)},
                                  {"statements", count(&LibraryKPIOverview::statementCount)},
                                  {"integrity", integrity},
                                  {"recoveryCopies", copies},
                                  {"notices", notices}}
                       .dump(2)
                << '\n';
    return;
  }
  const std::string unknown = context.text("cli.info.unknown");
  std::vector<std::pair<std::string, std::string>> lines{
      {context.text("cli.info.label.library"),
       storage.databasePath +
           (storage.isFallback ? "  " + context.text("cli.info.temporary") : std::string())},
      {context.text("cli.info.label.media"),
       storage.media->directory() +
           (link ? "  " + context.format("cli.info.media_link", {*link}) : std::string())},
      {context.text("cli.info.label.preferences"), preferencesFilePath()},
      {context.text("cli.info.label.state"),
       context.text("cli.info.state." + state) + (problem ? " — " + *problem : std::string())},
      {context.text("cli.info.label.projects"), projects ? std::to_string(*projects) : unknown},
      {context.text("cli.info.label.artworks"), countText(&LibraryKPIOverview::artworksCount)},
      {context.text("cli.info.label.cvs"), countText(&LibraryKPIOverview::cvCount)},
      {context.text("cli.info.label.biographies"), countText(&LibraryKPIOverview::bioCount)},
      {context.text("cli.info.label.statements"), countText(&LibraryKPIOverview::statementCount)},
      {context.text("cli.info.label.integrity"), integrity},
  };
  const std::string recovery = context.text("cli.info.label.recovery");
  if (copies.empty()) lines.emplace_back(recovery, context.text("cli.info.none"));
  for (std::size_t i = 0; i < copies.size(); ++i) {
    lines.emplace_back(i == 0 ? recovery : std::string(), copies[i]);
  }
  // A path may hold a line break or a control character of its own.
  for (auto& line : lines) line.second = escapedOnOneLine(line.second);
  printLines(lines, context.out);
}

}  // namespace

void installInfoCommand(CLI::App& command, CliContext& context) {
  command.footer(
      "\nOpens the library as the program does at every start: a library that can't be\n"
      "opened is set aside, unchanged, in a Recovery folder beside it, and a new one is\n"
      "started.\n\nExamples:\n  quorvane info\n  quorvane --json info");
  command.callback([&context] { printInfo(context); });
}

}  // namespace quorvane
