// quorvane package — the project as a .quorvane backup file: export, check,
// import, and the round trip that proves a package reads back.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "app/failure_text.h"
#include "app/package_export.h"
#include "app/waiting_commands.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "cli/progress_line.h"
#include "cli/text_width.h"
#include "packages/transfer_error.h"
#include "packages/transfer_service.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;

struct PackageOptions {
  std::optional<std::string> output;
  std::string file;
  bool force = false;
  bool open = false;
  bool allowMissing = false;
  bool all = false;
  bool gatherVault = false;
};

std::string packagePath(const std::optional<std::string>& output, const std::string& fileName) {
  std::error_code error;
  if (!output) return (fs::current_path(error) / fileName).string();
  if (fs::is_directory(*output, error)) return (fs::path(*output) / fileName).string();
  return *output;
}

// "12.5 MB", "12,5 Mo": one decimal, the language's mark and unit.
std::string megabytesText(const CliContext& context, std::uint64_t bytes) {
  char number[32];
  std::snprintf(number, sizeof number, "%.1f", static_cast<double>(bytes) / 1048576.0);
  std::string text = number;
  if (context.language() != "en") std::replace(text.begin(), text.end(), '.', ',');
  return context.format("cli.size.megabytes", {text});
}

// The progress of a package's originals going in or out, on the terminal.
TransferProgressFn progressOn(const CliContext& context, ProgressLine& line) {
  return [&context, &line](const TransferProgress& progress) {
    const bool checking = progress.phase == TransferProgress::Phase::checking;
    line.show(context.format(
        checking ? "cli.package.progress_checking" : "cli.package.progress",
        {std::to_string(progress.artworks), std::to_string(progress.totalArtworks),
         megabytesText(context, progress.bytes), megabytesText(context, progress.totalBytes)}));
  };
}

// Every project, one package each, into a folder.
void exportAll(CliContext& context, const PackageOptions& options) {
  if (!options.output) throw CliError(context.text("cli.package.all.needs_folder"));
  const std::string folder = *options.output;
  std::error_code error;
  fs::create_directories(folder, error);
  if (!fs::is_directory(folder, error)) {
    throw CliError(context.format("cli.package.all.not_a_folder", {folder}));
  }
  AppStore& store = context.store();
  if (options.gatherVault && store.gatherVaultOnlyArtworks()) context.writeNow();
  std::optional<AllBackups> report;
  {
    ProgressLine line(context.json ? nullptr : context.terminal);
    report = exportAllProjectPackages(
        store, folder, {options.force, options.allowMissing, {}},
        [&](std::size_t project, std::size_t projects, const TransferProgress& at) {
          line.show(
              context.format("cli.package.all.progress",
                             {std::to_string(project + 1), std::to_string(projects),
                              std::to_string(at.artworks), std::to_string(at.totalArtworks)}));
        });
  }
  if (!report) context.check(false);
  context.writeNow();
  const std::string language = context.language();
  if (context.json) {
    nlohmann::json projects = nlohmann::json::array();
    for (const ProjectBackup& backup : report->projects) {
      nlohmann::json without = nlohmann::json::array();
      if (backup.written) {
        for (const MissingOriginal& work : backup.written->withoutImages) {
          without.push_back({{"id", work.artworkId}, {"title", work.title}});
        }
      }
      projects.push_back({{"id", backup.projectId},
                          {"name", backup.projectName},
                          {"path", backup.path},
                          {"written", backup.written.has_value()},
                          {"bytes", backup.written ? backup.written->bytes : 0},
                          {"withoutImages", without},
                          {"failure", backup.failure}});
    }
    nlohmann::json loose = nlohmann::json::array();
    for (const Artwork& work : report->vaultOnly) {
      loose.push_back({{"id", work.id}, {"title", work.title}});
    }
    context.out << jsonText({{"folder", folder}, {"projects", projects}, {"vaultOnly", loose}})
                << '\n';
  } else {
    std::size_t written = 0;
    for (const ProjectBackup& backup : report->projects) {
      if (!backup.written) {
        context.err << context.format("cli.package.all.project_failed",
                                      {context.format("package.quoted_title", {backup.projectName}),
                                       backup.failure})
                    << '\n';
        continue;
      }
      ++written;
      context.out << backup.path << '\n';
      if (!backup.written->withoutImages.empty()) {
        context.err << context.format(
                           "cli.warning",
                           {context.format(
                               "backup.written_without",
                               {missingOriginalsText(backup.written->withoutImages, language)})})
                    << '\n';
      }
    }
    context.err << context.format(
                       "cli.package.all.done",
                       {std::to_string(written), std::to_string(report->projects.size()), folder})
                << '\n';
    if (!report->vaultOnly.empty()) {
      std::string titles;
      for (std::size_t i = 0; i < report->vaultOnly.size(); ++i) {
        titles +=
            (titles.empty() ? "" : ", ") + workName(report->vaultOnly[i].title, i + 1, language);
      }
      context.err << context.format(
                         "cli.warning",
                         {context.plural("cli.package.all.vault_only",
                                         static_cast<std::int64_t>(report->vaultOnly.size()),
                                         {std::to_string(report->vaultOnly.size()), titles})})
                  << '\n';
    }
  }
  if (!report->everyProjectWritten()) {
    throw CliError(context.text("cli.package.all.incomplete"));
  }
}

void exportPackage(CliContext& context, const PackageOptions& options) {
  if (options.all) return exportAll(context, options);
  AppStore& store = context.store();
  const std::string path = packagePath(options.output, store.projectPackageFileName());
  std::error_code error;
  if (fs::exists(path, error) && !options.force) {
    throw CliError(context.format("cli.export.exists", {path}));
  }
  std::optional<WrittenPackage> written;
  {
    ProgressLine line(context.json ? nullptr : context.terminal);
    written = exportProjectPackage(store, path, {options.force, options.allowMissing, {}},
                                   progressOn(context, line));
  }
  if (!written && !store.lastBackupMissingOriginals().empty()) {
    throw CliError(store.state().lastErrorMessage.value_or("") + "\n" +
                   context.text("cli.package.allow_missing_hint"));
  }
  context.check(written.has_value());
  context.writeNow();
  const AppState& state = store.state();
  if (context.json) {
    nlohmann::json without = nlohmann::json::array();
    for (const MissingOriginal& work : written->withoutImages) {
      without.push_back({{"id", work.artworkId}, {"title", work.title}});
    }
    context.out << jsonText({{"path", path},
                             {"bytes", written->bytes},
                             {"project", state.project.id},
                             {"artworks", state.snapshot.artworks.images.size()},
                             {"withoutImages", without}})
                << '\n';
    return;
  }
  context.err << context.format(
                     "cli.package.exported",
                     {context.count("count.artworks", static_cast<std::int64_t>(
                                                          state.snapshot.artworks.images.size())),
                      megabytesText(context, written->bytes)})
              << '\n';
  if (!written->withoutImages.empty()) {
    context.err << context.format("cli.warning",
                                  {context.format("backup.written_without",
                                                  {missingOriginalsText(written->withoutImages,
                                                                        context.language())})})
                << '\n';
  }
  context.out << path << '\n';
}

// The failure of a package in words, its case on a line of its own.
[[noreturn]] void packageRefused(CliContext& context, const std::string& reason) {
  throw CliError(context.text("error.import_invalid_project") + "\n" + reason);
}

void checkPackage(CliContext& context, const PackageOptions& options) {
  const QuorvaneTransferService service;
  const ImageOptimizer images;
  OpenedPackage opened;
  try {
    opened = service.openPackage(options.file);
    // The same checks as an import: every original read, each an image
    // the library would take.
    checkOriginals(*opened.archive, opened.content, service.limits(), libraryImageCheck(images));
  } catch (const QuorvaneTransferError& error) {
    std::string reason(rawValue(error.errorCase()));
    if (error.artworkTitle()) reason += ": " + packageFailureText(error, context.language());
    packageRefused(context, reason);
  } catch (const PackageDecodingError& error) {
    packageRefused(context, error.what());
  } catch (const std::system_error& error) {
    throw CliError(context.format("cli.error.cannot_read", {options.file}));
  }
  const ImportedProjectPackage& content = opened.content;
  // Works the package holds without an image: a backup written without
  // them, or works that never had one. Said, never taken for complete.
  std::vector<MissingOriginal> withoutImages;
  const std::vector<Artwork>& artworks = content.snapshot.artworks.images;
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    if (!content.mediaPathByArtworkId.contains(artworks[i].id)) {
      withoutImages.push_back({artworks[i].id, artworks[i].title, OriginalFault::missing, i + 1});
    }
  }
  if (context.json) {
    nlohmann::json without = nlohmann::json::array();
    for (const MissingOriginal& work : withoutImages) {
      without.push_back(
          {{"id", work.artworkId}, {"title", work.title}, {"position", work.position}});
    }
    context.out << jsonText({{"project", content.project.projectName},
                             {"projectId", content.project.id},
                             {"artworks", content.snapshot.artworks.images.size()},
                             {"images", content.mediaPathByArtworkId.size()},
                             {"withoutImages", without},
                             {"formatVersion", content.manifest.formatVersion},
                             {"exportedAt", content.manifest.exportedAt},
                             {"bytes", opened.bytes}})
                << '\n';
    return;
  }
  std::vector<std::pair<std::string, std::string>> lines{
      {context.text("cli.package.label.project"), content.project.projectName},
      {context.text("cli.package.label.artworks"),
       std::to_string(content.snapshot.artworks.images.size())},
      {context.text("cli.package.label.images"),
       std::to_string(content.mediaPathByArtworkId.size())},
      {context.text("cli.package.label.format"), std::to_string(content.manifest.formatVersion)},
      {context.text("cli.package.label.exported"), content.manifest.exportedAt},
      {context.text("cli.package.label.size"), megabytesText(context, opened.bytes)}};
  std::string titles;
  for (const MissingOriginal& work : withoutImages) {
    titles +=
        (titles.empty() ? "" : ", ") + workName(work.title, work.position, context.language());
  }
  if (!withoutImages.empty()) {
    lines.insert(lines.begin() + 3, {context.text("cli.package.label.without_images"), titles});
  }
  printLines(lines, context.out);
  if (withoutImages.empty()) {
    context.err << context.text("cli.package.valid") << '\n';
  } else {
    context.err << context.format("cli.package.valid_without_images", {titles}) << '\n';
  }
}

// The images of imported packages still to be prepared, all of them now.
std::size_t finishImages(CliContext& context) {
  ProgressLine line(context.json ? nullptr : context.terminal);
  return finishImportedImages(context.store(), [&](std::size_t done, std::size_t total) {
    line.show(
        context.format("cli.package.finishing", {std::to_string(done), std::to_string(total)}));
  });
}

void importPackage(CliContext& context, const PackageOptions& options) {
  AppStore& store = context.store();
  std::optional<std::string> id;
  {
    ProgressLine line(context.json ? nullptr : context.terminal);
    id = importProjectPackage(
        store, options.file, options.open,
        [&](const std::string& step) {
          line.clear();
          if (!context.json) context.err << step << '\n';
        },
        progressOn(context, line));
  }
  if (!id) {
    // The words shown, and a package's own fault as its case beneath them.
    std::string message = store.state().lastErrorMessage.value_or("");
    const std::string reason = store.lastImportFailure().value_or("");
    if (message.find(reason) == std::string::npos) message += "\n" + reason;
    throw CliError(message);
  }
  // The images' screen copies, made now (a later run would finish them
  // too, should this one be stopped).
  finishImages(context);
  context.writeNow();
  if (context.json) {
    context.out << jsonText({{"id", *id}}) << '\n';
  } else {
    context.out << *id << '\n';
  }
}

void roundTrip(CliContext& context) {
  const std::string folder =
      (fs::temp_directory_path() / ("quorvane-roundtrip-" + std::to_string(::getpid()))).string();
  fs::create_directories(folder);
  struct Cleanup {
    std::string folder;
    ~Cleanup() {
      std::error_code ignored;
      fs::remove_all(folder, ignored);
    }
  } cleanup{folder};
  const AppStore::RoundTripReport report = context.store().roundTripProjectPackage(folder);
  if (!report.ok) throw CliError(report.message);
  context.out << report.message << '\n';
}

}  // namespace

void installPackageCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nA package (.quorvane) is the backup of one project: its texts, CV, details, artworks\n"
      "with their original images, and your label overrides, in one ZIP file that any unzip\n"
      "tool opens. Importing adds it as a new project beside the others; nothing is replaced.\n\n"
      "Examples:\n"
      "  quorvane package export -o ~/Backups\n"
      "  quorvane package export --all -o ~/Backups\n"
      "  quorvane package check ~/Backups/zoe-muller-portfolio-2026-11-23.quorvane\n"
      "  quorvane package import ~/Backups/zoe-muller-portfolio-2026-11-23.quorvane --open");
  auto options = std::make_shared<PackageOptions>();

  CLI::App* exportCommand =
      command.add_subcommand("export", "Write the open project as a .quorvane package");
  exportCommand->add_option("-o,--output", options->output,
                            "File or folder to write to (default: the current folder)");
  exportCommand->add_flag("--force", options->force, "Replace the file when it exists already");
  exportCommand->add_flag("--all", options->all,
                          "Back up every project, one package each, into the folder given by -o");
  exportCommand->add_flag("--gather-vault", options->gatherVault,
                          "With --all: first gather the works that are in no project (only in "
                          "the Vault) into a new project, so that they are backed up too");
  exportCommand->add_flag("--allow-missing", options->allowMissing,
                          "Write the backup even when some works' original images can't be "
                          "used; those works go in without their image, and are named");
  exportCommand->callback([&context, options] { exportPackage(context, *options); });

  CLI::App* check = command.add_subcommand(
      "check", "Check a package without touching the library, and show what it holds");
  check->add_option("file", options->file, "The .quorvane file")->required();
  check->callback([&context, options] { checkPackage(context, *options); });

  CLI::App* import =
      command.add_subcommand("import", "Add a package to the library as a new project");
  import->add_option("file", options->file, "The .quorvane file")->required();
  import->add_flag("--open", options->open, "Open the new project");
  import->callback([&context, options] { importPackage(context, *options);
});

CLI::App* roundtrip = command.add_subcommand(
    "roundtrip", "Export the open project to a temporary package and read it back");
roundtrip->callback([&context] { roundTrip(context); });

CLI::App* finish = command.add_subcommand(
    "finish", "Prepare now the images of imported packages that are still waiting");
finish->callback([&context] {
  const std::size_t finished = finishImages(context);
  if (context.json) {
    context.out << jsonText({{"finished", finished}}) << '\n';
  } else {
    context.err << context.format("cli.package.finished", {std::to_string(finished)}) << '\n';
  }
});
}  // namespace quorvane

}  // namespace quorvane
