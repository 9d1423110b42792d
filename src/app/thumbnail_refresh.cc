#include "app/thumbnail_refresh.h"

#include "model/raw_value.h"

namespace quorvane {
namespace {

std::string joined(const LabelMap& labels) {
  std::string text;
  for (const auto& [key, value] : labels) text += key + '\x1f' + value + '\x1e';
  return text;
}

// Whether the picture itself differs (a new or replaced image), rather
// than what is written under it.
bool imageChanged(const Artwork& before, const Artwork& after) {
  return before.imagePath != after.imagePath || before.imageByteSize != after.imageByteSize ||
         before.originalByteSize != after.originalByteSize || before.width != after.width ||
         before.height != after.height || before.mimeType != after.mimeType;
}

}  // namespace

std::string documentThumbKey(const std::string& section) {
  return std::string(kDocumentThumbKeyPrefix) + section;
}

std::optional<std::string> sectionOfThumbKey(const std::string& key) {
  if (!key.starts_with(kDocumentThumbKeyPrefix)) return std::nullopt;
  return key.substr(kDocumentThumbKeyPrefix.size());
}

std::optional<std::string> ThumbnailRefresh::signature(const std::string& key) const {
  const auto found = signatures_.find(key);
  return found == signatures_.end() ? std::nullopt : std::optional(found->second);
}

void ThumbnailRefresh::reset() {
  shared_.reset();
  artworks_.clear();
  signatures_.clear();
  gone_.clear();
}

std::vector<ThumbnailRefresh::Stale> ThumbnailRefresh::update(const Project& project,
                                                              const StudioSnapshot& snapshot,
                                                              const ExportOptions& options,
                                                              const PageLabels& labels) {
  const bool first = !shared_.has_value();
  const Shared shared{std::string(rawValue(snapshot.artworks.unit)), options.exportLocale,
                      std::string(rawValue(options.format)), joined(labels.portfolio),
                      std::string(rawValue(snapshot.artworks.layoutMode)) +
                          std::string(rawValue(project.kind)) + project.currency.value_or("") +
                          std::string(rawValue(project.orientation))};
  // The reason a change shared by every artwork page gives.
  std::string sharedReason = "project_layout_changed";
  if (shared_) {
    if (shared.unit != shared_->unit) sharedReason = "artworks_unit_changed";
    if (shared.labels != shared_->labels) sharedReason = "pdf_labels_changed";
    if (shared.format != shared_->format) sharedReason = "export_format_changed";
    if (shared.locale != shared_->locale) sharedReason = "export_locale_changed";
  }
  const bool sharedMoved = shared_ && !(shared == *shared_);

  std::vector<Stale> stale;
  std::map<std::string, std::string> signatures;
  std::map<std::string, Artwork> artworks;
  const auto& images = snapshot.artworks.images;
  for (std::size_t i = 0; i < images.size(); ++i) {
    const Artwork& artwork = images[i];
    const std::string signature = artworkPageSignature(
        project, snapshot.artworks, artwork, static_cast<int>(i + 1), options, labels.portfolio);
    signatures[artwork.id] = signature;
    artworks[artwork.id] = artwork;
    if (first || signatures_[artwork.id] == signature) continue;
    const auto before = artworks_.find(artwork.id);
    std::string reason = "update_artwork_metadata";
    if (before == artworks_.end()) {
      reason = "artwork_added";
    } else if (imageChanged(before->second, artwork)) {
      reason = "image_changed";
    } else if (sharedMoved && before->second == artwork) {
      reason = sharedReason;
    }
    stale.push_back({artwork.id, reason});
  }
  for (const std::string& section : documentSections()) {
    const auto found = labels.documents.find(section);
    const std::string key = documentThumbKey(section);
    const std::string signature = documentPageSignature(
        section, snapshot, options, found != labels.documents.end() ? found->second : LabelMap{});
    signatures[key] = signature;
    if (first || signatures_[key] == signature) continue;
    std::string reason = section == "cv" ? "cv_changed" : "text_changed";
    if (shared_ && shared.locale != shared_->locale) reason = "export_locale_changed";
    if (shared_ && shared.format != shared_->format) reason = "export_format_changed";
    stale.push_back({key, reason});
  }
  gone_.clear();
  for (const auto& [id, artwork] : artworks_) {
    if (!artworks.contains(id)) gone_.push_back(id);
  }
  shared_ = shared;
  artworks_ = std::move(artworks);
  signatures_ = std::move(signatures);
  return stale;
}

}  // namespace quorvane
