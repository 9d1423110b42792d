// quorvane thumbnails — draws the page thumbnails of the open project that
// are missing or stale, as the desktop window shows them.
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "cli/progress_line.h"

namespace quorvane {
namespace {

void buildThumbnails(CliContext& context) {
  AppStore& store = context.store();
  AppStore::ThumbnailReport report;
  {
    ProgressLine line(context.json ? nullptr : context.terminal);
    report = store.buildThumbnails([&](std::size_t done, std::size_t total) {
      line.show(
          context.format("cli.thumbnails.progress", {std::to_string(done), std::to_string(total)}));
    });
  }
  const std::string said = context.format(
      "cli.thumbnails.done", {std::to_string(report.fresh), std::to_string(report.rebuilt),
                              std::to_string(report.failed)});
  if (context.json) {
    context.out << jsonText({{"fresh", report.fresh},
                             {"rebuilt", report.rebuilt},
                             {"failed", report.failed}})
                << '\n';
  } else if (report.failed == 0) {
    context.out << said << '\n';
  }
  if (report.failed > 0) throw CliError(said);
}

}  // namespace

void installThumbnailsCommand(CLI::App& command, CliContext& context) {
  command.footer(
      "\nEach artwork's page and each document's first page, drawn as the PDF lays them out,\n"
      "512 pixels on the longer edge, kept in the media folder's thumbnail cache. A thumbnail\n"
      "whose page has not changed since it was drawn is left as it is. --verbose names any\n"
      "page that could not be drawn.\n\n"
      "Example:\n"
      "  quorvane thumbnails");
  command.callback([&context] { buildThumbnails(context); });
}

}  // namespace quorvane
