#include "cli/command.h"

#include <array>

namespace quorvane {

void installFileNameCommand(CLI::App& command, CliContext& context);
void installCVSectionsCommand(CLI::App& command, CliContext& context);
void installImageCommand(CLI::App& command, CliContext& context);
void installInfoCommand(CLI::App& command, CliContext& context);

namespace {

constexpr std::array<CommandEntry, 4> kCommands{{
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
