#include "packages/package_reader.h"

#include "model/amount.h"

#include <algorithm>
#include <set>

#include "model/text_assets.h"
#include "packages/safe_identifier.h"
#include "packages/transfer_error.h"

namespace quorvane {
namespace {

using Case = QuorvaneTransferCase;
using package::ArtworkEntry;
using package::Manifest;
using package::ProjectData;

[[noreturn]] void refuse(Case errorCase, const std::string& detail = {}) {
  throw QuorvaneTransferError(errorCase, detail);
}

// A file's JSON, or `missing` when there is no file with contents, or
// `tooLarge` past `limit`.
nlohmann::json readJson(PackageTree& tree, std::string_view path, std::uint64_t limit, Case missing,
                        Case tooLarge) {
  if (tree.kindOf(path) != PackageTree::Kind::file) refuse(missing, std::string(path));
  const std::optional<Bytes> bytes = tree.read(path, limit);
  if (!bytes) refuse(tooLarge, std::string(path));
  if (bytes->empty()) refuse(missing, std::string(path));
  return package::parse(
      std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()));
}

std::vector<nlohmann::json> arrayOf(const nlohmann::json& json, std::string_view what) {
  if (!json.is_array()) throw PackageDecodingError(std::string(what) + " is not an array");
  return json.get<std::vector<nlohmann::json>>();
}

void checkManifest(const Manifest& m, const TransferLimits& limits) {
  if (m.format != "quorvane") refuse(Case::invalidFormat, m.format);  // step 4
  if (m.formatVersion < kOldestFormatVersion || m.formatVersion > limits.currentFormatVersion) {
    refuse(Case::unsupportedVersion, std::to_string(m.formatVersion));  // step 5
  }
  const package::Counts& c = m.counts;  // step 6
  if (c.artworks < 0 || c.media < 0 || c.textBlocks != 7 ||
      c.artworks > limits.maximumArtworkCount || c.media > limits.maximumArtworkCount) {
    refuse(Case::invalidManifestCounts);
  }
  if (!isSafeIdentifier(m.project.id)) refuse(Case::unsafeIdentifier, "project");  // step 7
}

std::vector<ArtworkEntry> checkArtworks(const nlohmann::json& json, const Manifest& m) {
  std::vector<ArtworkEntry> entries;
  for (const nlohmann::json& entry : arrayOf(json, "artworks")) {
    entries.push_back(package::artworkEntryFromJson(entry));
  }
  if (static_cast<std::int64_t>(entries.size()) != m.counts.artworks) {  // step 9
    refuse(Case::invalidManifestCounts, "artworks");
  }
  std::set<std::string> seen;  // step 10
  std::int64_t withMedia = 0;
  for (const ArtworkEntry& entry : entries) {
    const std::string& id = entry.artwork.id;
    if (!isSafeIdentifier(id)) refuse(Case::unsafeIdentifier, "artwork");
    if (!seen.insert(id).second) refuse(Case::duplicateIdentifier, id);
    if (entry.originalMediaFile) {
      if (*entry.originalMediaFile != package::originalMediaPath(id)) {
        refuse(Case::unsafeMediaPath, id);
      }
      ++withMedia;
    }
    if (entry.artwork.sortIndex < 0) refuse(Case::invalidRelationships, id);
  }
  if (withMedia != m.counts.media) refuse(Case::invalidManifestCounts, "media");
  return entries;
}

void checkProjectArtworks(PackageTree& tree, const Manifest& m,
                          const std::vector<ArtworkEntry>& entries, const TransferLimits& limits) {
  if (m.formatVersion < 4) return;  // step 11: written since version 4
  const nlohmann::json json =
      readJson(tree, package::kProjectArtworksPath, limits.maximumArtworksDataBytes,
               Case::invalidRelationships, Case::invalidRelationships);
  std::set<std::string> linked;
  for (const nlohmann::json& item : arrayOf(json, "project artworks")) {
    const package::ProjectArtworkLink link = package::projectArtworkLinkFromJson(item);
    if (link.projectId != m.project.id) refuse(Case::invalidRelationships, link.projectId);
    linked.insert(link.artworkId);
  }
  std::set<std::string> ids;
  for (const ArtworkEntry& entry : entries) ids.insert(entry.artwork.id);
  if (linked != ids) refuse(Case::invalidRelationships, "project artworks");
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\n\r\v\f";
  const auto begin = text.find_first_not_of(kSpace);
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(kSpace) - begin + 1));
}

// Characters, not bytes: the limits are the format's counts of characters.
std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

std::vector<LabelOverrideEntry> checkLabelOverrides(PackageTree& tree,
                                                    const TransferLimits& limits) {
  if (tree.kindOf(package::kLabelOverridesPath) != PackageTree::Kind::file) return {};  // step 12
  const std::optional<Bytes> bytes =
      tree.read(package::kLabelOverridesPath, limits.maximumLabelOverridesBytes);
  if (!bytes) refuse(Case::dataTooLarge, "label overrides");
  std::vector<nlohmann::json> items;
  try {
    items = arrayOf(package::parse(std::string_view(reinterpret_cast<const char*>(bytes->data()),
                                                    bytes->size())),
                    "label overrides");
  } catch (const PackageDecodingError& error) {
    refuse(Case::invalidLabelOverrides, error.what());
  }
  if (static_cast<std::int64_t>(items.size()) > limits.maximumLabelOverrideCount) {
    refuse(Case::dataTooLarge, "label overrides");
  }
  std::vector<LabelOverrideEntry> entries;
  std::set<std::string> keys;
  for (const nlohmann::json& item : items) {
    LabelOverrideEntry entry;
    try {
      entry = package::labelOverrideFromJson(item);
    } catch (const PackageDecodingError& error) {
      refuse(Case::invalidLabelOverrides, error.what());
    }
    entry.scope = trimmed(entry.scope);
    entry.locale = trimmed(entry.locale);
    entry.key = trimmed(entry.key);
    if (entry.scope.empty() || characters(entry.scope) > 80 || entry.locale.empty() ||
        characters(entry.locale) > 32 || entry.key.empty() || characters(entry.key) > 160 ||
        characters(entry.value) > 20000) {
      refuse(Case::invalidLabelOverrides, entry.key);
    }
    if (!keys.insert(entry.scope + '\x1f' + entry.locale + '\x1f' + entry.key).second) {
      refuse(Case::duplicateIdentifier, entry.key);
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

void checkDocuments(const ProjectData& data, const std::vector<ArtworkEntry>& entries,
                    const TransferLimits& limits) {
  if (static_cast<std::int64_t>(data.documents.size()) > limits.maximumDocumentCount ||
      static_cast<std::int64_t>(data.documentArtworkLinks.size()) > limits.maximumLinkCount) {
    refuse(Case::dataTooLarge, "documents");  // step 13
  }
  std::set<std::string> documents;
  for (const Document& document : data.documents) {
    if (!isSafeIdentifier(document.id)) refuse(Case::unsafeIdentifier, "document");
    if (!documents.insert(document.id).second) refuse(Case::duplicateIdentifier, document.id);
  }
  std::set<std::string> artworks;
  for (const ArtworkEntry& entry : entries) artworks.insert(entry.artwork.id);
  std::set<std::string> links;
  std::set<std::pair<std::string, std::string>> pairs;
  for (const DocumentArtworkLink& link : data.documentArtworkLinks) {
    if (!isSafeIdentifier(link.id)) refuse(Case::unsafeIdentifier, "document link");
    if (!links.insert(link.id).second) refuse(Case::duplicateIdentifier, link.id);
    if (!documents.contains(link.documentId) || !artworks.contains(link.artworkId) ||
        link.position < 0) {
      refuse(Case::invalidRelationships, link.id);
    }
    if (!pairs.emplace(link.documentId, link.artworkId).second) {
      refuse(Case::duplicateIdentifier, link.id);
    }
  }
}

std::map<std::string, std::string> checkMediaNames(PackageTree& tree,
                                                   const std::vector<ArtworkEntry>& entries) {
  std::set<std::string> present;  // step 14
  if (tree.kindOf("media/original") == PackageTree::Kind::directory) {
    for (std::string& name : tree.filesIn("media/original")) present.insert(std::move(name));
  }
  std::map<std::string, std::string> expected;  // name → artwork id
  std::map<std::string, std::string> paths;
  for (const ArtworkEntry& entry : entries) {
    if (!entry.originalMediaFile) continue;
    expected.emplace(entry.artwork.id + ".jpg", entry.artwork.id);
    paths.emplace(entry.artwork.id, *entry.originalMediaFile);
  }
  for (const std::string& name : present) {
    if (!expected.contains(name)) refuse(Case::unexpectedMedia, name);
  }
  for (const auto& [name, id] : expected) {
    if (!present.contains(name)) refuse(Case::missingMedia, name);
  }
  return paths;
}

std::string textTitle(const std::string& title, TextAssetType type) {
  return normalizedTextTitle(title, type);
}

Project projectOf(const Manifest& m, const ProjectData& data) {
  Project project;
  project.id = m.project.id;
  project.kind = m.project.kind == "catalogue" ? ProjectKind::catalogue : ProjectKind::portfolio;
  if (project.kind == ProjectKind::catalogue) {
    project.catalogueKind = fromRawValue<CatalogueKind>(m.project.catalogueKind.value_or(""))
                                .value_or(CatalogueKind::price);
  }
  project.projectName = m.project.projectName;
  project.projectTitle = m.project.projectTitle;
  project.projectYear = m.project.projectYear;
  project.locale = m.project.locale;
  project.currency = m.project.currency;
  project.unit = fromRawValue<UnitSystem>(data.unit).value_or(UnitSystem::cm);
  project.orientation = fromRawValue<DocumentOrientation>(data.projectOrientation)
                            .value_or(DocumentOrientation::portrait);
  if (m.project.createdAt) project.createdAt = *m.project.createdAt;
  if (m.project.updatedAt) project.updatedAt = *m.project.updatedAt;
  return project;
}

StudioSnapshot snapshotOf(ProjectData data, std::vector<ArtworkEntry> entries) {
  StudioSnapshot s;
  s.details = std::move(data.details);
  s.cv = std::move(data.cv);
  s.cvTitle = textTitle(data.cvTitle, TextAssetType::cv);
  s.statement = std::move(data.statement);
  s.statementTitle = textTitle(data.statementTitle, TextAssetType::statement);
  s.projectStatement = std::move(data.projectStatement);
  s.projectStatementTitle = textTitle(data.projectStatementTitle, TextAssetType::projectStatement);
  s.biography = std::move(data.biography);
  s.biographyTitle = textTitle(data.biographyTitle, TextAssetType::bio);
  s.artworks.unit = fromRawValue<UnitSystem>(data.unit).value_or(UnitSystem::cm);
  s.artworks.layoutMode =
      fromRawValue<ArtworkLayoutMode>(data.layoutMode).value_or(ArtworkLayoutMode::artwork);
  std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return a.artwork.sortIndex < b.artwork.sortIndex;
  });
  for (ArtworkEntry& entry : entries) {
    entry.artwork.imagePath.reset();  // its image comes from the package's original
    s.artworks.images.push_back(std::move(entry.artwork));
  }
  s.documents = std::move(data.documents);
  s.documentArtworkLinks = std::move(data.documentArtworkLinks);
  package::copySectionTimes(data, s);
  return s;
}

// A price the library could never hold (negative, or past 15 digits): a
// package written by hand, or by something else. The work comes in without
// it, and the log says so.
void clearImpossiblePrices(StudioSnapshot& snapshot, Logger& logger) {
  for (Artwork& artwork : snapshot.artworks.images) {
    if (!artwork.priceCents || isValidPriceCents(*artwork.priceCents)) continue;
    logger.log("import price cleared artworkId=" + artwork.id +
               " priceCents=" + std::to_string(*artwork.priceCents));
    artwork.priceCents.reset();
  }
}

}  // namespace

ImportedProjectPackage readPackage(PackageTree& tree, std::uint64_t packageBytes,
                                   const TransferLimits& limits, Logger& logger) {
  if (packageBytes > limits.maximumPackageBytes()) refuse(Case::packageTooLarge);  // step 1
  // Step 2 (a file that is no package at all) belongs to the container.
  const Manifest manifest = package::manifestFromJson(  // step 3
      readJson(tree, package::kManifestPath, limits.maximumManifestBytes, Case::missingManifest,
               Case::dataTooLarge));
  logger.log("import manifest format=" + manifest.format +
             " version=" + std::to_string(manifest.formatVersion) +
             " artworks=" + std::to_string(manifest.counts.artworks) +
             " mediaCount=" + std::to_string(manifest.counts.media));
  checkManifest(manifest, limits);  // steps 4–7

  if (tree.kindOf("data") != PackageTree::Kind::directory) refuse(Case::missingProjectData);
  ProjectData data = package::projectDataFromJson(  // step 8
      readJson(tree, package::kProjectDataPath, limits.maximumProjectDataBytes,
               Case::missingProjectData, Case::dataTooLarge));
  const nlohmann::json artworks =
      readJson(tree, package::kArtworksDataPath, limits.maximumArtworksDataBytes,
               Case::missingArtworksData, Case::dataTooLarge);
  std::vector<ArtworkEntry> entries = checkArtworks(artworks, manifest);       // steps 9–10
  checkProjectArtworks(tree, manifest, entries, limits);                       // step 11
  std::vector<LabelOverrideEntry> labels = checkLabelOverrides(tree, limits);  // step 12
  checkDocuments(data, entries, limits);                                       // step 13
  std::map<std::string, std::string> media = checkMediaNames(tree, entries);   // step 14

  ImportedProjectPackage result;
  result.manifest = manifest;
  result.project = projectOf(manifest, data);
  result.lastProjectDataExportAt = data.lastProjectDataExportAt;
  result.lastProjectDataImportAt = data.lastProjectDataImportAt;
  result.backupReminder = data.backupReminder;
  result.snapshot = snapshotOf(std::move(data), std::move(entries));
  result.mediaPathByArtworkId = std::move(media);
  result.labelOverrides = std::move(labels);
  clearImpossiblePrices(result.snapshot, logger);
  for (const auto& [id, path] : result.mediaPathByArtworkId) {
    // What the archive says of each original is weighed before the import
    // is said to be read; streaming it later holds it to that figure.
    const std::optional<std::uint64_t> bytes = tree.declaredSize(path);
    if (bytes && (*bytes == 0 || *bytes > limits.maximumMediaBytes)) {
      throw QuorvaneTransferError(Case::invalidMedia, id, artworkReference(result, id));
    }
    logger.log("import media found artworkId=" + id + " packagePath=" + path +
               " bytes=" + (bytes ? std::to_string(*bytes) : std::string("?")));
  }
  logger.log("import done artworks=" + std::to_string(result.snapshot.artworks.images.size()) +
             " restoredMedia=" + std::to_string(result.mediaPathByArtworkId.size()) +
             " labelOverrides=" + std::to_string(result.labelOverrides.size()));
  return result;
}

std::optional<ArtworkReference> artworkReference(const ImportedProjectPackage& package,
                                                 const std::string& artworkId) {
  const std::vector<Artwork>& artworks = package.snapshot.artworks.images;
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    if (artworks[i].id == artworkId) return ArtworkReference{artworks[i].title, i + 1};
  }
  return std::nullopt;
}

std::uint64_t streamOriginal(PackageTree& tree, const ImportedProjectPackage& package,
                             const std::string& artworkId, const PackageTree::Sink& sink,
                             const TransferLimits& limits) {
  const auto refuseArtwork = [&](Case errorCase) {
    throw QuorvaneTransferError(errorCase, artworkId, artworkReference(package, artworkId));
  };
  const auto path = package.mediaPathByArtworkId.find(artworkId);
  if (path == package.mediaPathByArtworkId.end()) refuseArtwork(Case::missingMedia);
  if (tree.kindOf(path->second) != PackageTree::Kind::file) refuseArtwork(Case::missingMedia);
  // No more than the archive says it holds: what it unpacks to was weighed
  // against the free space by that figure.
  const std::uint64_t limit = std::min(
      limits.maximumMediaBytes, tree.declaredSize(path->second).value_or(limits.maximumMediaBytes));
  const std::optional<std::uint64_t> size = tree.stream(path->second, limit, sink);
  if (!size || *size == 0) refuseArtwork(Case::invalidMedia);
  return *size;
}

void checkOriginals(PackageTree& tree, const ImportedProjectPackage& package,
                    const TransferLimits& limits, const OriginalImageCheck& checkImage,
                    const OriginalsChecked& progress) {
  std::size_t done = 0;
  std::uint64_t bytes = 0;
  Bytes original;
  for (const auto& [id, path] : package.mediaPathByArtworkId) {
    original.clear();
    bytes += streamOriginal(
        tree, package, id,
        [&](std::span<const std::uint8_t> piece) {
          if (checkImage) original.insert(original.end(), piece.begin(), piece.end());
        },
        limits);
    if (checkImage) {
      if (const std::optional<std::string> fault = checkImage(original)) {
        throw QuorvaneTransferError(Case::invalidMedia, id + ": " + *fault,
                                    artworkReference(package, id));
      }
    }
    if (progress) progress(++done, bytes);
  }
}

}  // namespace quorvane
