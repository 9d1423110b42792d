// quorvane image info FILE | image derive FILE --preset web|print -o OUT —
// what the program makes of an image.
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>

#include "cli/command.h"
#include "images/image_optimizer.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

constexpr const char* kReadableFormats = "JPEG, PNG, GIF, TIFF, HEIC/HEIF or WebP";

Bytes readImageFile(const std::string& path) {
  try {
    return realFileSystem().readFile(path);
  } catch (const std::system_error& error) {
    throw CliError("cannot read " + path + ": " + error.code().message());
  } catch (const std::bad_alloc&) {
    throw CliError("cannot read " + path + ": it does not fit in memory");
  }
}

void printInfo(const std::string& path, CliContext& context) {
  const ImageOptimizer optimizer;
  const Bytes bytes = readImageFile(path);
  const std::optional<std::string> mimeType = optimizer.sniffMimeType(bytes);
  if (!mimeType) {
    throw CliError(path + " is not an image Quorvane can read (" + kReadableFormats + ")");
  }
  const std::string extension = ImageOptimizer::fileExtension(*mimeType);
  const std::optional<PixelSize> size = optimizer.pixelSize(bytes);
  if (context.json) {
    nlohmann::json json{{"mimeType", *mimeType}, {"extension", extension}};
    json["width"] = size ? nlohmann::json(size->width) : nlohmann::json(nullptr);
    json["height"] = size ? nlohmann::json(size->height) : nlohmann::json(nullptr);
    context.out << json.dump(2) << '\n';
    return;
  }
  context.out << "type       " << *mimeType << '\n'
              << "stored as  ." << extension << '\n'
              << "size       "
              << (size ? std::to_string(size->width) + " × " + std::to_string(size->height) +
                             " pixels"
                       : std::string("unknown: the header gives no usable size"))
              << '\n';
}

struct DeriveOptions {
  std::string input;
  std::string preset = "web";
  std::string output;
};

void derive(const DeriveOptions& options, CliContext& context) {
  const Bytes bytes = readImageFile(options.input);
  const ImageDerivativePreset& preset = options.preset == "print" ? kPrintPreset : kWebPreset;
  DerivedImageResult result;
  try {
    result = ImageOptimizer().derive(bytes, preset);
  } catch (const ImageDeriverError& error) {
    throw CliError("cannot make a " + options.preset + " derivative of " + options.input + ": " +
                   error.what());
  }
  try {
    realFileSystem().writeFileAtomically(options.output, result.data);
  } catch (const std::system_error& error) {
    throw CliError("cannot write " + options.output + ": " + error.code().message());
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
  context.out << options.output << ": " << result.width << " × " << result.height << " pixels, "
              << result.data.size() << " bytes\n";
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
