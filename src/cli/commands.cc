#include "cli/command.h"

#include <array>

namespace quorvane {

void installFileNameCommand(CLI::App& app, CliContext& context);
void installCVSectionsCommand(CLI::App& app, CliContext& context);

namespace {

constexpr std::array<CommandEntry, 2> kCommands{{
    {"file-name", &installFileNameCommand},
    {"cv-sections", &installCVSectionsCommand},
}};

}  // namespace

std::span<const CommandEntry> cliCommands() { return kCommands; }

}  // namespace quorvane
