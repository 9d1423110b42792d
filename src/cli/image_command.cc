// quorvane image info FILE | image derive FILE --preset web|print -o OUT —
// what the program makes of an image.
#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>

#include "cli/command.h"
#include "cli/text_width.h"
#include "images/image_optimizer.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

Bytes readImageFile(const std::string& path, const CliContext& context) {
  try {
    return realFileSystem().readFile(path);
  } catch (const std::system_error& error) {
    throw CliError(context.format("cli.image.cannot_read", {path, error.code().message()}));
  } catch (const std::bad_alloc&) {
    throw CliError(context.format("cli.image.cannot_read",
                                  {path, context.text("cli.image.does_not_fit_in_memory")}));
  }
}

void printInfo(const std::string& path, CliContext& context) {
  const ImageOptimizer optimizer;
  const Bytes bytes = readImageFile(path, context);
  const std::optional<std::string> mimeType = optimizer.sniffMimeType(bytes);
  if (!mimeType) throw CliError(context.format("cli.image.not_an_image", {path}));
  const std::string extension = ImageOptimizer::fileExtension(*mimeType);
  const std::optional<PixelSize> size = optimizer.pixelSize(bytes);
  if (context.json) {
    nlohmann::json json{{"mimeType", *mimeType}, {"extension", extension}};
    json["width"] = size ? nlohmann::json(size->width) : nlohmann::json(nullptr);
    json["height"] = size ? nlohmann::json(size->height) : nlohmann::json(nullptr);
    context.out << json.dump(2) << '\n';
    return;
  }
  printLines({{context.text("cli.image.label.type"), *mimeType},
              {context.text("cli.image.label.stored_as"), "." + extension},
              {context.text("cli.image.label.size"),
               size ? context.format("cli.image.size_value",
                                     {std::to_string(size->width), std::to_string(size->height)})
                    : context.text("cli.image.size_unknown")}},
             context.out);
}

// Why an image was refused, in the user's language.
std::string reasonOf(const ImageDeriverError& error, const CliContext& context) {
  if (const auto& size = error.declaredSize()) {
    return context.format("cli.image.reason.too_large",
                          {std::to_string(size->first), std::to_string(size->second)});
  }
  switch (error.errorCase()) {
    case ImageDeriverError::Case::invalidSourceMetadata:
      return context.text("cli.image.reason.invalid_metadata");
    case ImageDeriverError::Case::encodeFailed:
      return context.text("cli.image.reason.encode_failed");
    case ImageDeriverError::Case::decodeFailed:
      break;
  }
  return context.text("cli.image.reason.decode_failed");
}

struct DeriveOptions {
  std::string input;
  std::string preset = "web";
  std::string output;
};

void derive(const DeriveOptions& options, CliContext& context) {
  const Bytes bytes = readImageFile(options.input, context);
  const ImageDerivativePreset& preset = options.preset == "print" ? kPrintPreset : kWebPreset;
  DerivedImageResult result;
  try {
    result = ImageOptimizer().derive(bytes, preset);
  } catch (const ImageDeriverError& error) {
    throw CliError(context.format("cli.image.cannot_derive",
                                  {options.preset, options.input, reasonOf(error, context)}));
  }
  try {
    realFileSystem().writeFileAtomically(options.output, result.data);
  } catch (const std::system_error& error) {
    throw CliError(
        context.format("cli.image.cannot_write", {options.output, error.code().message()}));
  }
  if (context.json) {
    context.out << nlohmann::json{{"output", options.output},
                                  {"width", result.width},
                                  {"height", result.height},
                                  {"bytes", result.data.size()}}
                       .dump(2)
                << '\n';
    return;
  }
  context.out << context.format("cli.image.derived",
                                {options.output, std::to_string(result.width),
                                 std::to_string(result.height), std::to_string(result.data.size())})
              << '\n';
}

}  // namespace

void installImageCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nExamples:\n"
      "  quorvane image info IMG_2041.HEIC\n"
      "  quorvane image derive scan.tif --preset print -o scan-print.jpg");

  auto path = std::make_shared<std::string>();
  CLI::App* info = command.add_subcommand(
      "info", "Show an image's type, the extension its original is stored under, and its size");
  info->add_option("file", *path, "The image")->required();
  info->callback([path, &context] { printInfo(*path, context); });

  auto options = std::make_shared<DeriveOptions>();
  CLI::App* deriveCommand = command.add_subcommand(
      "derive",
      "Make the JPEG derivative Quorvane would make: upright, at most 2000 px (web) or "
      "3000 px (print) on its longer side, never enlarged, without metadata");
  deriveCommand->add_option("file", options->input, "The original image")->required();
  deriveCommand->add_option("--preset", options->preset, "web or print")
      ->check(CLI::IsMember({"web", "print"}))
      ->capture_default_str();
  deriveCommand->add_option("-o,--output", options->output, "Where to write the JPEG")->required();
  deriveCommand->callback([options, &context] { derive(*options, context); });
}

}  // namespace quorvane
