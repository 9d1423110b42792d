#include "packages/transfer_service.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "packages/package_format.h"
#include "packages/transfer_error.h"

namespace quorvane {
namespace {

// Whether a file can be opened and read now (it is read again as the
// archive is written; a file that goes meanwhile fails the export whole).
std::optional<std::uint64_t> readableSize(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  struct stat info {};
  const bool regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  ::close(fd);
  if (!regular) return std::nullopt;
  return static_cast<std::uint64_t>(info.st_size);
}

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
    const std::optional<std::string> file =
        input.originalFile ? input.originalFile(entry.artwork.id) : std::nullopt;
    const std::optional<std::uint64_t> size = file ? readableSize(*file) : std::nullopt;
    if (size && *size > 0 && *size <= limits_.maximumMediaBytes) {
      const std::string path = package::originalMediaPath(entry.artwork.id);
      entry.originalMediaFile = path;
      media.push_back({ZipEntry::Kind::file, path, {}, *file});
      told.totalBytes += *size;
      logger_.log("export media artworkId=" + entry.artwork.id + " packagePath=" + path +
                  " bytes=" + std::to_string(*size));
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
      {Kind::text, "manifest.json", package::encode(package::toJson(manifest)), {}},
      {Kind::directory, "data/", {}, {}},
      {Kind::text, "data/project.json", package::encode(package::toJson(projectData(input))), {}},
      {Kind::text, "data/artworks.json", package::encode(entries), {}},
      {Kind::text, "data/project_artworks.json", package::encode(links), {}},
      {Kind::text, "data/label_overrides.json", package::encode(labels), {}},
      {Kind::directory, "media/", {}, {}},
      {Kind::directory, "media/original/", {}, {}},
  };
  for (ZipEntry& entry : media) tree.push_back(std::move(entry));
  told.totalArtworks = media.size();
  const ZipReadProgress read = [&](std::uint64_t bytes, std::size_t filesDone) {
    told.bytes = bytes;
    told.artworks = filesDone;
    if (progress) progress(told);
  };
  writeZipPackage(files_, target, tree, replaceExisting, progress ? read : ZipReadProgress());
  const std::uint64_t bytes = std::filesystem::file_size(target);
  logger_.log("export done packageBytes=" + std::to_string(bytes) +
              " mediaCount=" + std::to_string(manifest.counts.media));
  return bytes;
}

OpenedPackage QuorvaneTransferService::openPackage(const std::string& path) const {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error) throw std::system_error(error, "read " + path);
  // The size first: a file too large is refused before it is opened.
  if (size > limits_.maximumPackageBytes) {
    logger_.log("import begin packageBytes=" + std::to_string(size));
    throw QuorvaneTransferError(QuorvaneTransferCase::packageTooLarge);
  }
  OpenedPackage opened;
  opened.bytes = size;
  opened.archive = std::make_unique<ZipPackageReader>(path);
  opened.content = readPackage(*opened.archive, size, limits_, logger_);
  return opened;
}

}  // namespace quorvane
