// What changed in the store's published state between two notifications,
// so that a window updates only what it shows of it: a mask of areas, and
// for the list of artworks the rows inserted, removed, moved and changed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/records.h"

namespace quorvane {

struct AppState;

// The areas of the published state, as bits of `StoreChanges::mask`.
enum class StoreArea : std::uint32_t {
  project = 1u << 0,      // the open project's record (or another project opened)
  projects = 1u << 1,     // the list of projects
  artworks = 1u << 2,     // the artworks, their unit or layout
  texts = 1u << 3,        // biography, statement, project statement
  cv = 1u << 4,           // the CV and its title
  details = 1u << 5,      // the artist details
  settings = 1u << 6,     // languages, theme, export options, titles switch
  saving = 1u << 7,       // the saving indicator, waiting, the saved badges
  toast = 1u << 8,        // the toast on screen, the last error, notices
  preview = 1u << 9,      // the preview and its warnings, rendering or not
  reminders = 1u << 10,   // backup reminder state, level, sheet, export dates
  background = 1u << 11,  // image finalisation, oversized images, inspector
  thumbnails = 1u << 12,  // a page thumbnail's version moved
  history = 1u << 13,     // what can be undone or redone, what came back
};

// One step of an update of the artwork list. Applied in order to the list
// as it was, the steps give the list as it is (as a list model wants them:
// removals first, highest row first, then moves and insertions from the
// top); `changed` rows (content other than the place) are given at their
// new place.
struct ArtworkRowChange {
  enum class Kind { removed, inserted, moved, changed };
  Kind kind;
  std::string artworkId;
  std::size_t from = 0;  // removed, moved: the row before the step
  std::size_t to = 0;    // inserted, moved, changed: the row after it

  bool operator==(const ArtworkRowChange&) const = default;
};

struct StoreChanges {
  std::uint32_t mask = 0;
  std::vector<ArtworkRowChange> artworkRows;

  bool has(StoreArea area) const { return (mask & static_cast<std::uint32_t>(area)) != 0; }
  bool any() const { return mask != 0; }
};

// The steps that turn `before` into `after` (artworks told apart by id).
std::vector<ArtworkRowChange> artworkRowChanges(const std::vector<Artwork>& before,
                                                const std::vector<Artwork>& after);

// Remembers a digest of what was last published, and tells what differs
// in the state now. Cheap: texts are compared by a hash, never copied;
// the preview by the revision the store gives it.
class PublishedDigest {
 public:
  StoreChanges update(const AppState& state, std::uint64_t previewRevision);

 private:
  struct Digest;
  std::optional<std::vector<Artwork>> artworks_;
  std::vector<std::uint64_t> areas_;
};

}  // namespace quorvane
