// quorvane export portfolio|cv|bio|statement|project-statement
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/waiting_commands.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

struct ExportKind {
  const char* name;
  RenderKind render;
};
constexpr ExportKind kKinds[] = {
    {"portfolio", RenderKind::portfolio},
    {"cv", RenderKind::cv},
    {"bio", RenderKind::bio},
    {"statement", RenderKind::statement},
    {"project-statement", RenderKind::projectStatement},
};

struct ExportOptionsGiven {
  std::string kind;
  std::optional<std::string> output, locale, format, quality;
  bool noToc = false, noCoverImage = false, noCV = false, noBio = false, noStatement = false,
       noProjectStatement = false, showTitles = false, hideTitles = false, force = false;
};

// The remembered options, changed by what this command was given.
ExportOptions optionsFor(const ExportOptionsGiven& given, const AppState& state) {
  ExportOptions options = state.exportOptions;
  if (given.locale) options.exportLocale = *given.locale;
  if (options.exportLocale.empty()) options.exportLocale = state.project.locale;
  if (given.format) options.format = *fromRawValue<PdfFormat>(*given.format);
  if (given.quality) options.imageQuality = *fromRawValue<ExportImageQuality>(*given.quality);
  if (given.noToc) options.includeTableOfContents = false;
  if (given.noCoverImage) options.includeCoverImage = false;
  if (given.noCV) options.includeCV = false;
  if (given.noBio) options.includeBiography = false;
  if (given.noStatement) options.includeStatement = false;
  if (given.noProjectStatement) options.includeProjectStatement = false;
  if (given.showTitles || given.hideTitles) {
    options.showBiographyTitle = options.showStatementTitle = options.showProjectStatementTitle =
        given.showTitles;
  }
  return options;
}

std::string outputPath(const ExportOptionsGiven& given, const std::string& fileName) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (!given.output) return (fs::current_path(error) / fileName).string();
  if (fs::is_directory(*given.output, error)) return (fs::path(*given.output) / fileName).string();
  return *given.output;
}

void exportDocument(CliContext& context, const ExportOptionsGiven& given) {
  const ExportKind* kind = &kKinds[0];
  for (const ExportKind& candidate : kKinds) {
    if (given.kind == candidate.name) kind = &candidate;
  }
  AppStore& store = context.store();
  const AppState& state = store.state();
  const ExportOptions options = optionsFor(given, state);
  const std::string fileName = store.exportName(kind->render, options.exportLocale);
  const std::string path = outputPath(given, fileName);
  std::error_code error;
  if (std::filesystem::exists(path, error) && !given.force) {
    throw CliError(context.format("cli.export.exists", {path}));
  }

  const bool showProgress = context.terminal != nullptr && kind->render == RenderKind::portfolio &&
                            !state.snapshot.artworks.images.empty();
  // A line that counts the artwork pages as they are made, on a terminal.
  const AppStore::Progress progress = [&](std::size_t done, std::size_t total) {
    *context.terminal << '\r'
                      << context.format("cli.export.progress",
                                        {std::to_string(done), std::to_string(total)})
                      << "\x1b[K" << std::flush;
  };
  const std::optional<std::vector<PdfWarning>> result =
      exportPDF(store, {kind->render, {}}, options, path,
                showProgress ? progress : AppStore::Progress(), given.force);
  if (showProgress) *context.terminal << "\r\x1b[K" << std::flush;
  context.check(result.has_value());
  nlohmann::json warnings = nlohmann::json::array();
  for (const PdfWarning warning : *result) {
    warnings.push_back(rawValue(warning));
    // The works are named: the user must know which pages are not at print quality.
    const std::string words =
        warning == PdfWarning::originalMissing
            ? context.format("export.warning.original_missing",
                             {missingOriginalsText(store.missingOriginals(), context.language())})
            : std::string(rawValue(warning));
    context.err << context.format("cli.warning", {words}) << '\n';
  }
  if (context.json) {
    context.out << jsonText({{"path", path},
                             {"bytes", std::filesystem::file_size(path)},
                             {"warnings", warnings}})
                << '\n';
  } else {
    context.out << path << '\n';
  }
}

}  // namespace

void installExportCommand(CLI::App& command, CliContext& context) {
  auto given = std::make_shared<ExportOptionsGiven>();
  std::vector<std::string> kinds;
  for (const ExportKind& kind : kKinds) kinds.emplace_back(kind.name);
  command
      .add_option("kind", given->kind,
                  "portfolio (a catalogue, for a catalogue project), cv, "
                  "bio, statement or project-statement")
      ->required()
      ->check(CLI::IsMember(kinds));
  command.add_option("-o,--output", given->output,
                     "The file to write, or a folder to write it into under its export name "
                     "(default: the current folder)");
  command
      .add_option("--locale", given->locale,
                  "Document language: en, fr, it, de or es (default: the remembered one, else "
                  "the project's)")
      ->check(CLI::IsMember({"en", "fr", "it", "de", "es"}));
  command.add_option("--format", given->format, "Paper: a4 or letter")
      ->check(CLI::IsMember(rawValues<PdfFormat>()));
  command
      .add_option("--quality", given->quality,
                  "web (images re-encoded at 1600 px in sRGB: small files) or print "
                  "(originals as supplied, in their own colour profiles)")
      ->check(CLI::IsMember(rawValues<ExportImageQuality>()));
  command.add_flag("--force", given->force, "Replace the file when it exists already");
  command.add_flag("--no-toc", given->noToc, "Leave out the contents page");
  command.add_flag("--no-cover-image", given->noCoverImage,
                   "Leave the first work's image off the cover");
  command.add_flag("--no-cv", given->noCV, "Leave out the CV");
  command.add_flag("--no-bio", given->noBio, "Leave out the biography");
  command.add_flag("--no-statement", given->noStatement, "Leave out the artist statement");
  command.add_flag("--no-project-statement", given->noProjectStatement,
                   "Leave out the project statement");
  CLI::Option* show =
      command.add_flag("--show-titles", given->showTitles, "Print the texts' titles");
  command.add_flag("--hide-titles", given->hideTitles, "Leave the texts' titles out")
      ->excludes(show);
  command.footer(
      "\nThe options apply to this export only; the defaults are those of 'quorvane settings'.\n"
      "Prints the path written, and each warning (text cut for want of room) on standard\n"
      "error. An existing file is replaced only with --force (it keeps its permissions);\n"
      "nothing is ever written into the library's own folder.\n\nExamples:\n"
      "  quorvane export portfolio\n"
      "  quorvane export portfolio -o ~/Desktop --locale fr --quality print\n"
      "  quorvane export cv -o cv.pdf --format letter --force");
  command.callback([&context, given] {
    context.onlyReads();
    exportDocument(context, *given);
  });
}

}  // namespace quorvane
