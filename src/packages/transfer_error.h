// What can be wrong with a project package: the cases of
// QuorvaneTransferError, in their order. A reader stops at the first.
#pragma once

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "model/raw_value.h"

namespace quorvane {

enum class QuorvaneTransferCase {
  invalidPackage,
  packageTooLarge,
  missingManifest,
  unsupportedVersion,
  invalidFormat,
  missingProjectData,
  missingArtworksData,
  invalidManifestCounts,
  unsafeIdentifier,
  duplicateIdentifier,
  unsafeMediaPath,
  missingMedia,
  unexpectedMedia,
  invalidMedia,
  invalidRelationships,
  invalidLabelOverrides,
  dataTooLarge,
};

template <>
struct RawValueTable<QuorvaneTransferCase> {
  using C = QuorvaneTransferCase;
  static constexpr std::array<RawCase<C>, 17> cases{{
      {C::invalidPackage, "invalidPackage"},
      {C::packageTooLarge, "packageTooLarge"},
      {C::missingManifest, "missingManifest"},
      {C::unsupportedVersion, "unsupportedVersion"},
      {C::invalidFormat, "invalidFormat"},
      {C::missingProjectData, "missingProjectData"},
      {C::missingArtworksData, "missingArtworksData"},
      {C::invalidManifestCounts, "invalidManifestCounts"},
      {C::unsafeIdentifier, "unsafeIdentifier"},
      {C::duplicateIdentifier, "duplicateIdentifier"},
      {C::unsafeMediaPath, "unsafeMediaPath"},
      {C::missingMedia, "missingMedia"},
      {C::unexpectedMedia, "unexpectedMedia"},
      {C::invalidMedia, "invalidMedia"},
      {C::invalidRelationships, "invalidRelationships"},
      {C::invalidLabelOverrides, "invalidLabelOverrides"},
      {C::dataTooLarge, "dataTooLarge"},
  }};
};

// A work as the user knows it: its title, and its place in the project
// (from 1), which names it when it has no title.
struct ArtworkReference {
  std::string title;
  std::size_t position = 0;

  bool operator==(const ArtworkReference&) const = default;
};

class QuorvaneTransferError : public std::runtime_error {
 public:
  // `detail` says where (an entry's name, an id) for the diagnostic line;
  // the case is what the user and the tests go by. `artwork` names the
  // work the failure is about, for the user, when it is about one.
  explicit QuorvaneTransferError(QuorvaneTransferCase errorCase, const std::string& detail = {},
                                 std::optional<ArtworkReference> artwork = std::nullopt)
      : std::runtime_error(std::string(rawValue(errorCase)) +
                           (detail.empty() ? std::string() : ": " + detail)),
        case_(errorCase),
        artwork_(std::move(artwork)) {}
  QuorvaneTransferCase errorCase() const { return case_; }
  const std::optional<ArtworkReference>& artwork() const { return artwork_; }
  std::optional<std::string> artworkTitle() const {
    return artwork_ ? std::optional<std::string>(artwork_->title) : std::nullopt;
  }

 private:
  QuorvaneTransferCase case_;
  std::optional<ArtworkReference> artwork_;
};

// A JSON file of a package that does not decode as its shape (a syntax
// error, a missing key, a wrong type): passed on as it is, not as a case.
class PackageDecodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace quorvane
