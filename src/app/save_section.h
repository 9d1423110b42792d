// The areas of a project that save independently, and the fingerprint that
// tells whether an area changed since it was last saved.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "model/raw_value.h"
#include "model/records.h"

namespace quorvane {

enum class SaveSection { artworks, bio, statement, cv, details, projectStatement };

template <>
struct RawValueTable<SaveSection> {
  static constexpr std::array<RawCase<SaveSection>, 6> cases{{
      {SaveSection::artworks, "artworks"},
      {SaveSection::bio, "bio"},
      {SaveSection::statement, "statement"},
      {SaveSection::cv, "cv"},
      {SaveSection::details, "details"},
      {SaveSection::projectStatement, "projectStatement"},
  }};
};

// The kind of text a section holds (the artworks' section holds none: bio),
// and the section of a kind of text.
TextAssetType textAssetType(SaveSection section);
SaveSection sectionOf(TextAssetType type);

// The name the database gives the section ("project_statement" for the
// project statement).
std::string_view storageSectionName(SaveSection section);

// The created / updated times of a section, in the snapshot.
struct SectionTimes {
  std::optional<Date>& createdAt;
  std::optional<Date>& updatedAt;
};
SectionTimes sectionTimes(StudioSnapshot& snapshot, SaveSection section);

// A hash of everything the save of `section` writes: the project row (every
// save writes it) and the section's own content. It changes whenever that
// persisted content changes. The section's times are left out: they follow
// the content (stamped when it changes), and an edit undone before its save
// must write nothing, not a new time.
std::uint64_t sectionFingerprint(SaveSection section, const Project& project,
                                 const StudioSnapshot& snapshot);

// A hash of the section's own content alone (for the artworks: with the
// unit and layout), without the project row or times: what an edit of the
// section changes.
std::uint64_t sectionContentFingerprint(SaveSection section, const StudioSnapshot& snapshot);

}  // namespace quorvane
