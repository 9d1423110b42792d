// JSON coding of the records stored as JSON text: `ArtistDetails` (the
// `details.json` column) and `CVData` (the CV asset's `json` column).
//
// Decoding is strict about shape: every key of the record must be present and
// hold text (CV sections: arrays of objects of text). Unknown keys are
// ignored. The lenient `decode…` forms never fail: anything that does not
// decode yields the record's default, so bad stored JSON can never fail the
// load of a project.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "model/records.h"

namespace quorvane {

nlohmann::json artistDetailsToJson(const ArtistDetails& details);
std::optional<ArtistDetails> artistDetailsFromJson(const nlohmann::json& json);

// A work's own fields, as the command line prints them and a package holds
// them (each adds where its image is); absent values are left out.
nlohmann::json artworkToJson(const Artwork& artwork);

nlohmann::json cvDataToJson(const CVData& cv);
std::optional<CVData> cvDataFromJson(const nlohmann::json& json);

// Compact JSON text with keys in lexicographic order.
std::string encodeArtistDetails(const ArtistDetails& details);
std::string encodeCVData(const CVData& cv);

// The decoded record, or the default one (`nameDisplayMode` "legal", empty CV).
ArtistDetails decodeArtistDetails(std::string_view text);
CVData decodeCVData(std::string_view text);

}  // namespace quorvane
