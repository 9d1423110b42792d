// quorvane preview ARTWORK_ID|bio|statement|project-statement|cv — one page
// as an image: a quick look at how a work or a text will print, without
// exporting a PDF.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

struct PreviewOptions {
  std::string target;
  std::optional<std::string> output, locale;
  int width = 1200;
  bool force = false;
};

struct Document {
  const char* name;
  RenderKind kind;
};
constexpr Document kDocuments[] = {
    {"bio", RenderKind::bio},
    {"statement", RenderKind::statement},
    {"project-statement", RenderKind::projectStatement},
    {"cv", RenderKind::cv},
};

RenderRequest requestFor(CliContext& context, const std::string& target) {
  for (const Document& document : kDocuments) {
    if (target == document.name) return {document.kind, std::nullopt};
  }
  std::vector<std::string> ids;
  for (const Artwork& artwork : context.store().state().snapshot.artworks.images) {
    ids.push_back(artwork.id);
  }
  const std::string id = resolveId(context, target, ids);
  if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
    throw CliError(context.format("app.error.no_such_artwork", {target}));
  }
  return {RenderKind::singleArtwork, id};
}

void preview(CliContext& context, const PreviewOptions& options) {
  AppStore& store = context.store();
  const RenderRequest request = requestFor(context, options.target);
  ExportOptions exportOptions = store.state().exportOptions;
  if (options.locale) exportOptions.exportLocale = *options.locale;
  if (exportOptions.exportLocale.empty()) exportOptions.exportLocale = store.state().project.locale;

  const bool artworkPage = request.kind == RenderKind::singleArtwork;
  const PageSize page =
      pageSize(exportOptions.format,
               artworkPage ? store.state().project.orientation : DocumentOrientation::portrait);
  // --width is the picture's width; the renderer is given its longer edge.
  const int longEdge =
      static_cast<int>(std::lround(options.width * std::max(page.width, page.height) / page.width));
  const std::optional<RgbPixels> pixels = store.renderPageImage(request, exportOptions, longEdge);
  context.check(pixels.has_value());

  const std::string path = options.output.value_or(options.target + ".png");
  std::error_code error;
  if (std::filesystem::exists(path, error) && !options.force) {
    throw CliError(context.format("cli.export.exists", {path}));
  }
  const ImageOptimizer optimizer;
  const bool webp = path.ends_with(".webp");
  const std::vector<std::uint8_t> bytes =
      webp ? optimizer.encodeWebp(*pixels, 90) : optimizer.encodePng(*pixels);
  try {
    realFileSystem().writeFileAtomically(path, bytes);
  } catch (const std::system_error& failure) {
    throw CliError(context.format("cli.image.cannot_write", {path, failure.what()}));
  }
  if (context.json) {
    context.out << jsonText({{"path", path}, {"width", pixels->width}, {"height", pixels->height}})
                << '\n';
  } else {
    context.out << path << '\n';
  }
}

}  // namespace

void installPreviewCommand(CLI::App& command, CliContext& context) {
  auto options = std::make_shared<PreviewOptions>();
  command
      .add_option("target", options->target,
                  "An artwork's id (its first characters will do), or bio, statement, "
                  "project-statement or cv")
      ->required();
  command.add_option("-o,--output", options->output,
                     "The picture to write: .png, or .webp (default: TARGET.png here)");
  command.add_option("--width", options->width, "Its width in pixels (default 1200)")
      ->check(CLI::Range(64, 8000));
  command
      .add_option("--locale", options->locale, "The language of its labels (en, fr, it, de, es)")
      ->check(CLI::IsMember({"en", "fr", "it", "de", "es"}));
  command.add_flag("--force", options->force, "Replace the file when it exists already");
  command.footer(
      "\nDraws the page exactly as the PDF export lays it out, with the export settings in\n"
      "force: an artwork's page from its screen copy, or the first page of a text or the CV.\n\n"
      "Examples:\n"
      "  quorvane preview 3C47 -o work.png\n"
      "  quorvane preview cv --locale fr --width 800");
  command.callback([&context, options] {
    context.onlyReads();
    preview(context, *options);
  });
}

}  // namespace quorvane
