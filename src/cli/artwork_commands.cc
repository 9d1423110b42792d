// quorvane artworks add|list|order · quorvane artwork set|image|remove · quorvane vault
#include <unistd.h>

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "app/app_store.h"
#include "app/waiting_commands.h"
#include "cli/command.h"
#include "cli/command_support.h"
#include "cli/record_output.h"
#include "model/control_characters.h"

namespace quorvane {
namespace {

// The artwork of the open project that `given` names (its id or the start
// of it).
std::string artworkId(CliContext& context, const std::string& given) {
  std::vector<std::string> ids;
  for (const Artwork& artwork : context.store().state().snapshot.artworks.images) {
    ids.push_back(artwork.id);
  }
  return resolveId(context, given, ids);
}

std::string fileNameOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A line that rewrites itself, on a terminal only: piped output stays clean.
class ProgressLine {
 public:
  ProgressLine(CliContext& context, std::size_t total)
      : context_(context), shown_(total > 1 && context.terminal != nullptr) {}
  ~ProgressLine() {
    if (shown_ && drawn_) *context_.terminal << '\n';
  }
  void update(std::size_t done, std::size_t total, const std::string& path) {
    if (!shown_) return;
    drawn_ = true;
    *context_.terminal << '\r'
                       << escapedForTerminal(context_.format(
                              "cli.artworks.progress",
                              {std::to_string(done), std::to_string(total), fileNameOf(path)}))
                       << "\x1b[K" << std::flush;
  }

 private:
  CliContext& context_;
  bool shown_;
  bool drawn_ = false;
};

void addArtworks(CliContext& context, const std::vector<std::string>& paths) {
  AppStore& store = context.store();
  std::vector<ImageAddResult> results;
  {
    ProgressLine progress(context, paths.size());
    results = addImages(store, paths, [&](std::size_t done, std::size_t total) {
      progress.update(done, total, paths[done - 1]);
    });
  }
  context.writeNow();
  nlohmann::json json = nlohmann::json::array();
  std::size_t failed = 0;
  for (const ImageAddResult& result : results) {
    if (result.artworkId) {
      if (!context.json) context.out << *result.artworkId << '\n';
      if (!result.message.empty()) {
        context.err << context.format("cli.warning",
                                      {fileNameOf(result.path) + ": " + result.message})
                    << '\n';
      }
      json.push_back({{"file", result.path}, {"id", *result.artworkId}});
    } else {
      ++failed;
      if (results.size() > 1) context.err << "quorvane: " << result.message << '\n';
      json.push_back({{"file", result.path}, {"error", result.message}});
    }
  }
  if (context.json) context.out << jsonText(json) << '\n';
  if (failed > 0 && results.size() == 1) throw CliError(results[0].message);
  if (failed > 0) {
    throw CliError(context.plural("cli.artworks.not_added", failed,
                                  {std::to_string(failed), std::to_string(results.size())}));
  }
}

// `unit` is that of the project showing the artwork; without it the
// dimensions are left out, as their unit is unknown.
std::string describe(const Artwork& artwork, std::optional<UnitSystem> unit, CliContext& context,
                     const std::optional<std::string>& projectCurrency = {}) {
  std::string line = artwork.title.empty() ? context.text("cli.artworks.untitled") : artwork.title;
  if (!artwork.year.empty()) line += ", " + artwork.year;
  if (!artwork.medium.empty()) line += " — " + artwork.medium;
  std::vector<std::string> dimensions;
  for (const std::string* d :
       {&artwork.artworkWidth, &artwork.artworkHeight, &artwork.artworkDepth}) {
    if (!d->empty()) dimensions.push_back(*d);
  }
  if (unit && !dimensions.empty()) {
    line += " — ";
    for (std::size_t i = 0; i < dimensions.size(); ++i) line += (i ? " × " : "") + dimensions[i];
    line += " " + std::string(rawValue(*unit));
  }
  if (artwork.priceCents) {
    line += " — " + formatCents(*artwork.priceCents);
    const auto currency = artwork.priceCurrency ? artwork.priceCurrency : projectCurrency;
    if (currency) line += " " + *currency;
  }
  if (artwork.status) line += " · " + std::string(rawValue(*artwork.status));
  return line;
}

void listArtworks(CliContext& context) {
  const AppState& state = context.store().state();
  const auto& images = state.snapshot.artworks.images;
  if (context.json) {
    nlohmann::json json = nlohmann::json::array();
    for (const Artwork& artwork : images) json.push_back(toJson(artwork));
    context.out << jsonText(json) << '\n';
    return;
  }
  if (images.empty()) {
    context.err << context.text("cli.artworks.none") << '\n';
    return;
  }
  for (std::size_t i = 0; i < images.size(); ++i) {
    context.out << (i + 1) << ". " << images[i].id << "  "
                << describe(images[i], state.snapshot.artworks.unit, context,
                            state.project.currency)
                << '\n';
  }
}

struct ArtworkOptions {
  std::string id;
  std::optional<std::string> title, medium, year, width, height, depth, text, status, price,
      priceCurrency;
};

void setArtwork(CliContext& context, ArtworkOptions o) {
  AppStore& store = context.store();
  o.id = artworkId(context, o.id);
  const auto& images = store.state().snapshot.artworks.images;
  const auto it =
      std::find_if(images.begin(), images.end(), [&](const Artwork& a) { return a.id == o.id; });
  if (it == images.end()) throw CliError(context.format("app.error.no_such_artwork", {o.id}));
  ArtworkMetadata metadata = ArtworkMetadata::of(*it);
  const std::pair<const std::optional<std::string>*, std::string*> texts[] = {
      {&o.title, &metadata.title}, {&o.medium, &metadata.medium}, {&o.year, &metadata.year},
      {&o.width, &metadata.width}, {&o.height, &metadata.height}, {&o.depth, &metadata.depth},
      {&o.text, &metadata.text}};
  bool changed = false;
  for (const auto& [option, field] : texts) {
    if (*option) {
      *field = **option;
      changed = true;
    }
  }
  if (o.status) {
    metadata.status = *o.status == "none" ? std::nullopt : fromRawValue<ArtworkStatus>(*o.status);
    changed = true;
  }
  if (o.price) {
    if (o.price->empty() || *o.price == "none") {
      metadata.priceCents.reset();
    } else {
      metadata.priceCents = parseAmountToCents(*o.price);
      if (!metadata.priceCents) throw CliError(context.format("cli.error.bad_amount", {*o.price}));
    }
    changed = true;
  }
  if (o.priceCurrency) {
    metadata.priceCurrency = o.priceCurrency;
    changed = true;
  }
  if (!changed) throw CliError(context.text("cli.error.nothing_to_change"));
  context.check(store.updateArtwork(o.id, metadata));
}

void installArtworkSet(CLI::App& command, CliContext& context) {
  auto o = std::make_shared<ArtworkOptions>();
  CLI::App* set = command.add_subcommand("set", "Change what is written about an artwork");
  set->add_option("id", o->id,
                  "The artwork's id (see 'quorvane artworks list'), or its first characters")
      ->required();
  set->add_option("--title", o->title, "Its title");
  set->add_option("--medium", o->medium, "Its medium, such as \"Oil on canvas\"");
  set->add_option("--year", o->year, "The year it was made");
  set->add_option("--width", o->width, "Its width, in the project's unit");
  set->add_option("--height", o->height, "Its height, in the project's unit");
  set->add_option("--depth", o->depth, "Its depth, in the project's unit");
  set->add_option("--text", o->text, "The text shown beside it in the artwork_text layout");
  std::vector<std::string> statuses = rawValues<ArtworkStatus>();
  statuses.emplace_back("none");
  set->add_option("--status", o->status, "available, sold, in_progress or none")
      ->check(CLI::IsMember(statuses));
  set->add_option("--price", o->price,
                  "Its price in currency units, such as 1200 or 1200.50 (kept in cents); "
                  "none removes it");
  set->add_option("--price-currency", o->priceCurrency,
                  "The currency of this price when it differs from the project's, such as USD");
  set->callback([&context, o] { setArtwork(context, *o); });
}

}  // namespace

void installArtworksCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nExamples:\n"
      "  quorvane artworks add ~/Pictures/works/*.jpg\n"
      "  quorvane artworks list\n"
      "  quorvane artworks order ID3 ID1 ID2");
  auto paths = std::make_shared<std::vector<std::string>>();
  CLI::App* add = command.add_subcommand(
      "add",
      "Add images as new artworks at the end of the project; prints one id per image, in order. "
      "JPEG, PNG, GIF, TIFF, HEIC/HEIF or WebP; originals over 15 MB are kept with a warning, "
      "over 50 MB refused");
  add->add_option("files", *paths, "The images")->required();
  add->callback([&context, paths] { addArtworks(context, *paths); });

  command.add_subcommand("list", "List the open project's artworks in their order")
      ->callback([&context] {
        context.onlyReads();
        listArtworks(context);
      });

  auto order = std::make_shared<std::vector<std::string>>();
  CLI::App* reorder = command.add_subcommand(
      "order", "Put the artworks in a new order: name every artwork's id once");
  reorder->add_option("ids", *order, "Every artwork's id, in the new order")->required();
  reorder->callback([&context, order] {
    std::vector<std::string> ids;
    for (const std::string& given : *order) ids.push_back(artworkId(context, given));
    context.check(context.store().reorderArtworks(ids));
  });
}

void installArtworkCommand(CLI::App& command, CliContext& context) {
  command.require_subcommand(1);
  command.footer(
      "\nExamples:\n"
      "  quorvane artwork set ID --title \"Tide\" --medium \"Oil on linen\" --year 2026 "
      "--width 120 --height 90\n"
      "  quorvane artwork set ID --price 4800 --status available\n"
      "  quorvane artwork image ID retouched.tif");
  installArtworkSet(command, context);

  auto replaced = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* image = command.add_subcommand("image", "Replace an artwork's image");
  image->add_option("id", replaced->first, "The artwork's id")->required();
  image->add_option("file", replaced->second, "The new image")->required();
  image->callback([&context, replaced] {
    AppStore& store = context.store();
    context.check(store.replaceImage(artworkId(context, replaced->first), replaced->second));
    if (!store.state().imageSizeWarning.empty()) {
      context.err << context.format("cli.warning", {store.state().imageSizeWarning}) << '\n';
    }
  });

  auto removed = std::make_shared<std::string>();
  CLI::App* remove = command.add_subcommand(
      "remove", "Take an artwork out of the open project; it stays in the Vault");
  remove->add_option("id", *removed, "The artwork's id")->required();
  remove->callback([&context, removed] {
    context.check(context.store().removeArtwork(artworkId(context, *removed)));
  });
}

void installVaultCommand(CLI::App& command, CliContext& context) {
  command.footer(
      "\nThe Vault holds every artwork of the library that the open project does not show.\n\n"
      "Examples:\n  quorvane vault\n  quorvane vault add ID");
  command.callback([&context, &command] {
    if (!command.get_subcommands().empty()) return;
    context.onlyReads();
    const auto assets = vault(context.store());
    if (context.json) {
      nlohmann::json json = nlohmann::json::array();
      for (const ReusableArtworkAsset& asset : assets) {
        json.push_back({{"id", asset.id},
                        {"sourceProjectId", asset.sourceProjectId},
                        {"sourceProjectName", asset.sourceProjectName},
                        {"artwork", toJson(asset.artwork)}});
      }
      context.out << jsonText(json) << '\n';
      return;
    }
    if (assets.empty()) context.err << context.text("cli.vault.empty") << '\n';
    for (const ReusableArtworkAsset& asset : assets) {
      context.out << asset.id << "  " << describe(asset.artwork, std::nullopt, context) << "  ("
                  << context.format("cli.vault.from", {asset.sourceProjectName}) << ")\n";
    }
  });
  auto added = std::make_shared<std::string>();
  CLI::App* add = command.add_subcommand("add", "Add an artwork of the Vault to the open project");
  add->add_option("id", *added, "The artwork's id, as 'quorvane vault' lists it")->required();
  add->callback([&context, added] {
    std::vector<std::string> ids;
    for (const ReusableArtworkAsset& asset : vault(context.store())) ids.push_back(asset.id);
    context.check(context.store().addFromVault(resolveId(context, *added, ids)));
  });
}

}  // namespace quorvane
