// quorvane file-name KIND — the name an export of KIND would get.
#include <array>
#include <cstdio>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/command.h"
#include "model/export_file_names.h"

namespace quorvane {
namespace {

const std::map<std::string, ExportDocumentKind> kKindNames{
    {"portfolio", ExportDocumentKind::portfolio},
    {"cv", ExportDocumentKind::cv},
    {"biography", ExportDocumentKind::biography},
    {"statement", ExportDocumentKind::artistStatement},
    {"project-statement", ExportDocumentKind::projectStatement},
    {"catalogue", ExportDocumentKind::catalogue},
};

struct FileNameOptions {
  std::string kind;
  ArtistDetails details;
  std::string language = "en";
  std::string date;
  std::string label;
};

// Noon of the given local day, so the day survives any time zone offset.
Date localNoon(const std::string& text, const CliContext& context) {
  int year = 0, month = 0, day = 0;
  char end = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &year, &month, &day, &end) != 3) {
    throw CliError(context.format("cli.file_name.bad_date", {text}));
  }
  std::tm local{};
  local.tm_year = year - 1900;
  local.tm_mon = month - 1;
  local.tm_mday = day;
  local.tm_hour = 12;
  local.tm_isdst = -1;
  const std::time_t seconds = std::mktime(&local);
  if (seconds == -1 || local.tm_mday != day || local.tm_mon != month - 1) {
    throw CliError(context.format("cli.file_name.no_such_day", {text}));
  }
  return dateFromSeconds(static_cast<double>(seconds));
}

Date nowDate() { return std::chrono::time_point_cast<Seconds>(std::chrono::system_clock::now()); }

void printFileName(const FileNameOptions& options, CliContext& context) {
  const Date when = options.date.empty() ? nowDate() : localNoon(options.date, context);
  const std::string name = exportFileName(kKindNames.at(options.kind), options.details,
                                          options.language, when, options.label);
  if (context.json) {
    context.out << nlohmann::json{{"fileName", name}}.dump(2) << '\n';
  } else {
    context.out << name << '\n';
  }
}

}  // namespace

void installFileNameCommand(CLI::App& command, CliContext& context) {
  auto options = std::make_shared<FileNameOptions>();
  command.footer(
      "\nExamples:\n"
      "  quorvane file-name biography --first-name Zoë --last-name Müller --language de\n"
      "  quorvane file-name catalogue --artist-name ZM --name-display artist --label 'Summer '26'");
  command.add_option("kind", options->kind, "What is exported")
      ->required()
      ->check(CLI::IsMember(kKindNames));
  auto& details = options->details;
  command.add_option("--first-name", details.firstName, "The artist's first name");
  command.add_option("--last-name", details.lastName, "The artist's last name");
  command.add_option("--artist-name", details.artistName, "The name the artist works under");
  command
      .add_option("--name-display", details.nameDisplayMode,
                  "Which name is printed: legal (first and last) or artist")
      ->check(CLI::IsMember({"legal", "artist"}))
      ->capture_default_str();
  command.add_option("--language", options->language, "Export language: en, fr, it, de or es")
      ->capture_default_str();
  command.add_option("--date", options->date, "Day of export, YYYY-MM-DD (default: today)");
  command.add_option("--label", options->label, "Catalogue label, usually the project title");
  command.callback([options, &context] { printFileName(*options, context); });
}

}  // namespace quorvane
