#include "packages/transfer_service.h"

#include <filesystem>
#include <system_error>

#include "packages/package_format.h"
#include "packages/transfer_error.h"

namespace quorvane {
namespace {

package::ProjectData projectData(const PackageExport& input) {
  const StudioSnapshot& s = input.snapshot;
  package::ProjectData d;
  d.details = s.details;
  d.cv = s.cv;
  d.cvTitle = s.cvTitle;
  d.statement = s.statement;
  d.statementTitle = s.statementTitle;
  d.projectStatement = s.projectStatement;
  d.projectStatementTitle = s.projectStatementTitle;
  d.biography = s.biography;
  d.biographyTitle = s.biographyTitle;
  d.unit = std::string(rawValue(s.artworks.unit));
  d.projectOrientation = std::string(rawValue(input.project.orientation));
  d.layoutMode = std::string(rawValue(s.artworks.layoutMode));
  d.documents = s.documents;
  d.documentArtworkLinks = s.documentArtworkLinks;
  package::copySectionTimes(s, d);
  d.lastProjectDataExportAt = input.lastProjectDataExportAt;
  d.lastProjectDataImportAt = input.lastProjectDataImportAt;
  d.backupReminder = input.backupReminder;
  return d;
}

package::ProjectInfo projectInfo(const PackageExport& input) {
  const Project& p = input.project;
  package::ProjectInfo info;
  info.id = p.id;
  info.kind = p.kind == ProjectKind::catalogue ? "catalogue" : "portfolio";
  if (p.kind == ProjectKind::catalogue && p.catalogueKind) {
    info.catalogueKind = std::string(rawValue(*p.catalogueKind));
  }
  info.projectName = p.projectName;
  info.projectTitle = p.projectTitle;
  info.projectYear = p.projectYear;
  info.locale = p.locale;
  info.unit = std::string(rawValue(input.snapshot.artworks.unit));
  info.currency = p.currency;
  info.createdAt = p.createdAt;
  info.updatedAt = p.updatedAt;
  return info;
}

}  // namespace

std::uint64_t QuorvaneTransferService::exportPackage(const PackageExport& input,
                                                     const std::string& target, Date now,
                                                     bool replaceExisting,
                                                     const TransferProgressFn& progress) const {
  const std::vector<Artwork>& artworks = input.snapshot.artworks.images;
  logger_.log(
      "export begin format=quorvane version=" + std::to_string(limits_.currentFormatVersion) +
      " projectId=" + input.project.id + " artworks=" + std::to_string(artworks.size()));
  nlohmann::json entries = nlohmann::json::array();
  nlohmann::json links = nlohmann::json::array();
  std::vector<ZipEntry> media;
  TransferProgress told;
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    package::ArtworkEntry entry;
    entry.artwork = artworks[i];
    entry.artwork.sortIndex = static_cast<std::int64_t>(i);
    if (const auto original = input.originals.find(entry.artwork.id);
        original != input.originals.end()) {
      const std::string path = package::originalMediaPath(entry.artwork.id);
      entry.originalMediaFile = path;
      media.push_back(
          {ZipEntry::Kind::file, path, {}, original->second.path, original->second.bytes});
      told.totalBytes += original->second.bytes;
      logger_.log("export media artworkId=" + entry.artwork.id + " packagePath=" + path +
                  " bytes=" + std::to_string(original->second.bytes));
    }
    entries.push_back(package::toJson(entry));
    links.push_back(package::toJson(package::ProjectArtworkLink{input.project.id, entry.artwork.id,
                                                                static_cast<std::int64_t>(i)}));
  }
  nlohmann::json labels = nlohmann::json::array();
  for (const LabelOverrideEntry& label : input.labelOverrides)
    labels.push_back(package::toJson(label));

  package::Manifest manifest;
  manifest.formatVersion = limits_.currentFormatVersion;
  manifest.exportedAt = package::iso8601(now);
  manifest.project = projectInfo(input);
  manifest.counts = {static_cast<std::int64_t>(artworks.size()),
                     static_cast<std::int64_t>(media.size()), 7};

  using Kind = ZipEntry::Kind;
  std::vector<ZipEntry> tree{
      {Kind::text,
       std::string(package::kManifestPath),
       package::encode(package::toJson(manifest)),
       {}},
      {Kind::directory, "data/", {}, {}},
      {Kind::text,
       std::string(package::kProjectDataPath),
       package::encode(package::toJson(projectData(input))),
       {}},
      {Kind::text, std::string(package::kArtworksDataPath), package::encode(entries), {}},
      {Kind::text, std::string(package::kProjectArtworksPath), package::encode(links), {}},
      {Kind::text, std::string(package::kLabelOverridesPath), package::encode(labels), {}},
      {Kind::directory, "media/", {}, {}},
      {Kind::directory, "media/original/", {}, {}},
  };
  for (ZipEntry& entry : media) tree.push_back(std::move(entry));
  checkWithinLimits(input, tree);
  requireRoomFor(target, tree);
  told.totalArtworks = media.size();
  const ZipReadProgress read = [&](std::uint64_t bytes, std::size_t filesDone) {
    told.bytes = bytes;
    told.artworks = filesDone;
    if (progress) progress(told);
  };
  std::uint64_t bytes = 0;
  writeZipPackage(files_, target, tree, replaceExisting, progress ? read : ZipReadProgress(),
                  [&](const std::string& written) {
                    bytes = std::filesystem::file_size(written);
                    verifyWritten(written, input, progress);
                  });
  logger_.log("export done packageBytes=" + std::to_string(bytes) +
              " mediaCount=" + std::to_string(manifest.counts.media));
  return bytes;
}

void QuorvaneTransferService::requireRoomFor(const std::string& target,
                                             const std::vector<ZipEntry>& tree) const {
  // Each entry's two headers and its name twice; texts counted as stored,
  // though they shrink when deflated.
  constexpr std::uint64_t kEntryOverheadBytes = 128;
  std::uint64_t needed = 0;
  for (const ZipEntry& entry : tree) {
    needed += kEntryOverheadBytes + 2 * entry.name.size() + entry.text.size() + entry.fileBytes;
  }
  const std::string folder = std::filesystem::path(target).parent_path().string();
  std::uint64_t available = 0;
  try {
    available = files_.availableBytes(folder.empty() ? "." : folder);
  } catch (const std::exception&) {
    return;  // a folder that can't be asked fails, with its reason, when it is written
  }
  if (needed > available) throw InsufficientSpaceError(needed, available, folder);
}

void QuorvaneTransferService::checkWithinLimits(const PackageExport& input,
                                                const std::vector<ZipEntry>& tree) const {
  using Case = QuorvaneTransferCase;
  const auto& artworks = input.snapshot.artworks.images;
  if (static_cast<std::int64_t>(artworks.size()) > limits_.maximumArtworkCount) {
    throw QuorvaneTransferError(Case::invalidManifestCounts, "artworks");
  }
  for (std::size_t i = 0; i < artworks.size(); ++i) {
    const auto original = input.originals.find(artworks[i].id);
    if (original == input.originals.end()) continue;
    const std::uint64_t size = original->second.bytes;
    if (size == 0 || size > limits_.maximumMediaBytes) {
      throw QuorvaneTransferError(Case::invalidMedia, artworks[i].id,
                                  ArtworkReference{artworks[i].title, i + 1});
    }
  }
  const std::map<std::string_view, std::uint64_t> dataLimits{
      {package::kManifestPath, limits_.maximumManifestBytes},
      {package::kProjectDataPath, limits_.maximumProjectDataBytes},
      {package::kArtworksDataPath, limits_.maximumArtworksDataBytes},
      {package::kProjectArtworksPath, limits_.maximumArtworksDataBytes},
      {package::kLabelOverridesPath, limits_.maximumLabelOverridesBytes},
  };
  for (const ZipEntry& entry : tree) {
    const auto limit = dataLimits.find(entry.name);
    if (limit != dataLimits.end() && entry.text.size() > limit->second) {
      throw QuorvaneTransferError(Case::dataTooLarge, entry.name);
    }
  }
  if (input.snapshot.documents.size() > static_cast<std::size_t>(limits_.maximumDocumentCount) ||
      input.snapshot.documentArtworkLinks.size() >
          static_cast<std::size_t>(limits_.maximumLinkCount) ||
      input.labelOverrides.size() > static_cast<std::size_t>(limits_.maximumLabelOverrideCount)) {
    throw QuorvaneTransferError(Case::dataTooLarge, "documents or labels");
  }
}

void QuorvaneTransferService::verifyWritten(const std::string& path, const PackageExport& input,
                                            const TransferProgressFn& progress) const {
  const OpenedPackage opened = openPackage(path);
  const ImportedProjectPackage& content = opened.content;
  // What was meant: every artwork, in its order, with the originals given.
  const std::vector<Artwork>& meant = input.snapshot.artworks.images;
  const std::vector<Artwork>& read = content.snapshot.artworks.images;
  bool same =
      meant.size() == read.size() && content.mediaPathByArtworkId.size() == input.originals.size();
  for (std::size_t i = 0; same && i < meant.size(); ++i) {
    same = meant[i].id == read[i].id && input.originals.contains(meant[i].id) ==
                                            content.mediaPathByArtworkId.contains(meant[i].id);
  }
  if (!same) {
    throw QuorvaneTransferError(QuorvaneTransferCase::invalidPackage,
                                "the package read back differs from what was written");
  }
  TransferProgress told{0, 0, 0, input.originals.size(), TransferProgress::Phase::checking};
  for (const auto& [id, original] : input.originals) told.totalBytes += original.bytes;
  if (progress) progress(told);
  checkOriginals(*opened.archive, content, limits_, input.checkImage,
                 [&](std::size_t done, std::uint64_t bytes) {
                   told.artworks = done;
                   told.bytes = bytes;
                   if (progress) progress(told);
                 });
  logger_.log("export verified packageBytes=" + std::to_string(opened.bytes) +
              " mediaCount=" + std::to_string(content.mediaPathByArtworkId.size()));
}

OpenedPackage QuorvaneTransferService::openPackage(const std::string& path) const {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error) throw std::system_error(error, "read " + path);
  logger_.log("import begin packageBytes=" + std::to_string(size));
  // The size first: a file too large is refused before it is opened.
  if (size > limits_.maximumPackageBytes()) {
    throw QuorvaneTransferError(QuorvaneTransferCase::packageTooLarge);
  }
  OpenedPackage opened;
  opened.bytes = size;
  opened.archive = std::make_unique<ZipPackageReader>(path);
  opened.content = readPackage(*opened.archive, size, limits_, logger_);
  return opened;
}

}  // namespace quorvane
