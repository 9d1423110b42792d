#include "app/package_import.h"

#include <array>

#include <map>

#include "images/image_check.h"
#include "packages/transfer_error.h"

namespace quorvane {
namespace {

// Every id of the package replaced by a fresh one, references with them.
void giveNewIds(Project& project, StudioSnapshot& snapshot,
                std::map<std::string, std::string>& artworkIds,
                const std::function<std::string()>& makeUuid) {
  project.id = makeUuid();
  for (Artwork& artwork : snapshot.artworks.images) {
    const std::string fresh = makeUuid();
    artworkIds.emplace(artwork.id, fresh);
    artwork.id = fresh;
    artwork.imagePath.reset();
  }
  std::map<std::string, std::string> documentIds;
  for (Document& document : snapshot.documents) {
    const std::string fresh = makeUuid();
    documentIds.emplace(document.id, fresh);
    document.id = fresh;
    document.projectId = project.id;
  }
  for (DocumentArtworkLink& link : snapshot.documentArtworkLinks) {
    link.id = makeUuid();
    link.documentId = documentIds.at(link.documentId);
    link.artworkId = artworkIds.at(link.artworkId);
  }
}

}  // namespace

void requireFreeSpace(FilesMediaStore& media, std::uint64_t originalBytes, std::size_t originals) {
  const std::uint64_t needed =
      originalBytes + originals * kDerivativeAllowanceBytes + kImportMarginBytes;
  const std::uint64_t available = media.files().availableBytes(media.directory());
  if (needed > available) throw InsufficientSpaceError(needed, available, media.directory());
}

std::string normalizedImportedName(std::string_view name, const std::string& whenEmpty) {
  std::string single;
  bool space = false;
  for (const char c : name) {
    const bool white = c == ' ' || c == '\n' || c == '\t' || c == '\r';
    if (white) {
      space = !single.empty();
      continue;
    }
    if (space) single += ' ';
    space = false;
    single += c;
  }
  // At most 80 characters, cut between characters, not inside one.
  std::size_t characters = 0;
  for (std::size_t i = 0; i < single.size(); ++i) {
    if ((static_cast<unsigned char>(single[i]) & 0xC0) == 0x80) continue;
    if (++characters > 80) {
      single.resize(i);
      while (!single.empty() && single.back() == ' ') single.pop_back();
      break;
    }
  }
  return single.empty() ? whenEmpty : single;
}

std::vector<LabelOverrideEntry> mergedLabelOverrides(
    const std::vector<LabelOverrideEntry>& current,
    const std::vector<LabelOverrideEntry>& package) {
  std::vector<LabelOverrideEntry> merged = current;
  for (const LabelOverrideEntry& incoming : package) {
    const auto same = std::find_if(merged.begin(), merged.end(), [&](const LabelOverrideEntry& e) {
      return e.scope == incoming.scope && e.locale == incoming.locale && e.key == incoming.key;
    });
    if (same == merged.end()) {
      merged.push_back(incoming);
    } else if (same->value.empty()) {
      same->value = incoming.value;  // an override cleared is no choice to keep
    }
  }
  return merged;
}

namespace {

// What tells one work from another in a list a person made.
auto workShapes(const StudioSnapshot& snapshot) {
  std::vector<std::array<std::string, 6>> shapes;
  for (const Artwork& a : snapshot.artworks.images) {
    shapes.push_back({a.title, a.year, a.medium, a.artworkWidth, a.artworkHeight, a.artworkDepth});
  }
  return shapes;
}

}  // namespace

std::optional<ProjectSummary> sameProjectInLibrary(const ImportedProjectPackage& content,
                                                   SnapshotRepository& library) {
  const std::string name = normalizedImportedName(content.project.projectName, "");
  const auto incoming = workShapes(content.snapshot);
  for (const ProjectSummary& summary : library.projectSummaries()) {
    if (summary.projectName != name ||
        summary.artworkCount != static_cast<std::int64_t>(incoming.size())) {
      continue;
    }
    const std::optional<LoadedProject> loaded = library.load(summary.id);
    if (loaded && workShapes(loaded->snapshot) == incoming) return summary;
  }
  return std::nullopt;
}

MergedPackage mergeIntoLibrary(OpenedPackage& opened, const PackageMergeServices& services,
                               const TransferLimits& limits, const std::string& emptyName,
                               const TransferProgressFn& progress) {
  const ImportedProjectPackage& content = opened.content;
  MergedPackage merged{content.project, content.snapshot, {}};
  merged.project.projectName = normalizedImportedName(merged.project.projectName, emptyName);
  std::map<std::string, std::string> artworkIds;  // package's → new
  giveNewIds(merged.project, merged.snapshot, artworkIds, services.makeUuid);

  TransferProgress told;
  told.totalArtworks = content.mediaPathByArtworkId.size();
  // The archive's own sizes: never trusted for memory (streamOriginal
  // counts what inflates), but an original never inflates past its
  // declared size either, so their sum bounds what the import writes.
  for (const auto& [packageId, path] : content.mediaPathByArtworkId) {
    told.totalBytes += opened.archive->declaredSize(path).value_or(limits.maximumMediaBytes);
  }
  requireFreeSpace(services.media, told.totalBytes, told.totalArtworks);
  OriginalMediaImportTransaction transaction = OriginalMediaImportTransaction::open(services.media);
  try {
    // One original at a time in memory: read from the package, staged.
    for (const auto& [packageId, path] : content.mediaPathByArtworkId) {
      Bytes original;
      streamOriginal(
          *opened.archive, content, packageId,
          [&](std::span<const std::uint8_t> piece) {
            original.insert(original.end(), piece.begin(), piece.end());
          },
          limits);
      // The checks any original passes on its way into the library.
      if (const std::optional<ImageFault> fault = imageFault(services.images, original)) {
        throw QuorvaneTransferError(QuorvaneTransferCase::invalidMedia,
                                    packageId + ": " + std::string(describe(*fault)),
                                    artworkReference(content, packageId));
      }
      const std::string extension =
          ImageOptimizer::fileExtension(services.images.sniffMimeType(original));
      const std::string& id = artworkIds.at(packageId);
      told.bytes += original.size();
      ++told.artworks;
      transaction.stage({id, std::move(original), extension, std::nullopt});
      merged.pendingArtworkIds.push_back(id);
      if (progress) progress(told);
    }
    const std::vector<LabelOverrideEntry> labels =
        mergedLabelOverrides(services.labels.allLabelOverrides(), content.labelOverrides);
    // The files first, then the rows: the media store takes the files back
    // should the rows fail.
    transaction.commit();
    const SavedProject saved =
        services.imports.saveImportedProject(merged.project, merged.snapshot, labels);
    merged.project = saved.project;
    transaction.discard();
  } catch (...) {
    transaction.rollback();
    throw;
  }
  return merged;
}

}  // namespace quorvane
