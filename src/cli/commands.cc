#include "cli/command.h"

#include <array>

namespace quorvane {

void installFileNameCommand(CLI::App& command, CliContext& context);
void installCVSectionsCommand(CLI::App& command, CliContext& context);
void installImageCommand(CLI::App& command, CliContext& context);
void installInfoCommand(CLI::App& command, CliContext& context);
void installProjectsCommand(CLI::App& command, CliContext& context);
void installProjectCommand(CLI::App& command, CliContext& context);
void installArtworksCommand(CLI::App& command, CliContext& context);
void installArtworkCommand(CLI::App& command, CliContext& context);
void installVaultCommand(CLI::App& command, CliContext& context);
void installTextCommand(CLI::App& command, CliContext& context);
void installDetailsCommand(CLI::App& command, CliContext& context);
void installCVCommand(CLI::App& command, CliContext& context);
void installLabelsCommand(CLI::App& command, CliContext& context);
void installSettingsCommand(CLI::App& command, CliContext& context);
void installResetCommand(CLI::App& command, CliContext& context);
void installExportCommand(CLI::App& command, CliContext& context);
void installPackageCommand(CLI::App& command, CliContext& context);
void installPreviewCommand(CLI::App& command, CliContext& context);
void installThumbnailsCommand(CLI::App& command, CliContext& context);

namespace {

constexpr std::array<CommandEntry, 19> kCommands{{
    {"projects", "List the projects; the open one is marked", &installProjectsCommand},
    {"project", "Create, open, show, change, duplicate or delete a project",
     &installProjectCommand},
    {"artworks", "Add images as artworks, list the artworks, put them in order",
     &installArtworksCommand},
    {"artwork", "Change an artwork's title, dimensions, price…, replace its image, remove it",
     &installArtworkCommand},
    {"vault", "List the library's artworks that the open project does not show, add one",
     &installVaultCommand},
    {"text", "Write or show the biography, the artist statement, the project statement",
     &installTextCommand},
    {"details", "Set or show the artist's name, address and contacts", &installDetailsCommand},
    {"cv", "Add, remove or show the entries of the CV; import one, or enter it step by step", &installCVCommand},
    {"export", "Export the portfolio (or catalogue), the CV, the biography or a statement as PDF",
     &installExportCommand},
    {"preview", "Draw one page (an artwork's, a text's, the CV's) as a picture, without a PDF",
     &installPreviewCommand},
    {"thumbnails", "Draw the page thumbnails of the open project that are missing or stale",
     &installThumbnailsCommand},
    {"package", "Back up a project as a .quorvane file, check one, or import one as a new project",
     &installPackageCommand},
    {"labels", "Replace the labels printed in the PDF documents", &installLabelsCommand},
    {"settings", "Show or change the settings: language, export defaults, backup reminders",
     &installSettingsCommand},
    {"reset", "Delete all data: every project, text, CV and image", &installResetCommand},
    {"info", "Show where the library, its media and the preferences live, and how the library is",
     &installInfoCommand},
    {"file-name", "Show the file name an exported PDF gets: artist, document kind, language, day",
     &installFileNameCommand},
    {"cv-sections", "List the CV sections and the fields of their entries",
     &installCVSectionsCommand},
    {"image", "Show what Quorvane reads from an image, or make its web or print derivative",
     &installImageCommand},
}};

}  // namespace

std::span<const CommandEntry> cliCommands() { return kCommands; }

}  // namespace quorvane
