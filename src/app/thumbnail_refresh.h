// Which page thumbnails an edit made stale, and why. The store hands it the
// state after each change; it answers with the pages whose signature moved
// since the last time, each with the reason the job is logged under (and
// debounced by), and the artworks that are gone. The first look at a
// project only takes note: thumbnails from an earlier run are checked
// against their signature when they are read, not redrawn at once.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/page_signature.h"
#include "app/page_thumbnails.h"
#include "model/records.h"

namespace quorvane {

// The label overrides each page reads: the portfolio scope's for the
// artworks, each document's own scope's, in the export language.
struct PageLabels {
  LabelMap portfolio;
  std::map<std::string, LabelMap> documents;  // by section: "bio", …, "cv"

  bool operator==(const PageLabels&) const = default;
};

// The sections that have a document page, and their thumbnail keys.
inline const std::vector<std::string>& documentSections() {
  static const std::vector<std::string> sections{"bio", "statement", "projectStatement", "cv"};
  return sections;
}
std::string documentThumbKey(const std::string& section);
// The section of a document key; nothing for an artwork's id.
std::optional<std::string> sectionOfThumbKey(const std::string& key);

class ThumbnailRefresh {
 public:
  struct Stale {
    std::string key;
    std::string reason;

    bool operator==(const Stale&) const = default;
  };

  // The pages whose signature moved since the last call (none at the
  // first call, or the first after `reset`).
  std::vector<Stale> update(const Project& project, const StudioSnapshot& snapshot,
                            const ExportOptions& options, const PageLabels& labels);
  // Artworks seen last time and gone now.
  const std::vector<std::string>& gone() const { return gone_; }
  // The signature of `key` at the last update.
  std::optional<std::string> signature(const std::string& key) const;
  // A project was opened: its pages are new to us.
  void reset();

 private:
  // What every artwork page shares, piece by piece, to name the reason.
  struct Shared {
    std::string unit, locale, format, labels, layout;
    bool operator==(const Shared&) const = default;
  };
  std::optional<Shared> shared_;
  std::map<std::string, Artwork> artworks_;
  std::map<std::string, std::string> signatures_;
  std::vector<std::string> gone_;
};

}  // namespace quorvane
