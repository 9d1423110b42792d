#include "model/record_json.h"

#include "model/bounded_json.h"

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

namespace quorvane {
namespace {

using Json = nlohmann::json;

struct DetailsField {
  std::string_view key;
  std::string ArtistDetails::*member;
};

constexpr std::array<DetailsField, 14> kDetailsFields{{
    {"firstName", &ArtistDetails::firstName},
    {"lastName", &ArtistDetails::lastName},
    {"artistName", &ArtistDetails::artistName},
    {"nameDisplayMode", &ArtistDetails::nameDisplayMode},
    {"address", &ArtistDetails::address},
    {"zipcode", &ArtistDetails::zipcode},
    {"currentCity", &ArtistDetails::currentCity},
    {"country", &ArtistDetails::country},
    {"website", &ArtistDetails::website},
    {"email", &ArtistDetails::email},
    {"phone", &ArtistDetails::phone},
    {"birthYear", &ArtistDetails::birthYear},
    {"birthPlace", &ArtistDetails::birthPlace},
    {"birthCountry", &ArtistDetails::birthCountry},
}};

// The text under `key`, or none when the key is missing or not text.
const std::string* textAt(const Json& object, std::string_view key) {
  const auto it = object.find(key);
  if (it == object.end() || !it->is_string()) return nullptr;
  return it->get_ptr<const std::string*>();
}

std::optional<CVEntry> cvEntryFromJson(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  CVEntry entry;
  for (const auto& [field, value] : json.items()) {
    if (!value.is_string()) return std::nullopt;
    entry.emplace(field, value.get<std::string>());
  }
  return entry;
}

template <class Record>
Record decodeOrDefault(std::string_view text, std::optional<Record> (*fromJson)(const Json&)) {
  const std::optional<Json> json = parseBoundedJson(text);
  if (!json) return Record{};
  return fromJson(*json).value_or(Record{});
}

// Text read from a database may hold invalid UTF-8; encoding replaces such
// bytes rather than failing the save.
std::string dumpCompact(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

Json artistDetailsToJson(const ArtistDetails& details) {
  Json json = Json::object();
  for (const auto& field : kDetailsFields) json[std::string(field.key)] = details.*field.member;
  return json;
}

std::optional<ArtistDetails> artistDetailsFromJson(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  ArtistDetails details;
  for (const auto& field : kDetailsFields) {
    const std::string* value = textAt(json, field.key);
    if (value == nullptr) return std::nullopt;
    details.*field.member = *value;
  }
  return details;
}

Json cvDataToJson(const CVData& cv) {
  Json json = Json::object();
  for (const auto& section : kCVDataSections) {
    Json entries = Json::array();
    for (const CVEntry& entry : cv.*section.entries) entries.push_back(entry);
    json[std::string(section.name)] = std::move(entries);
  }
  return json;
}

std::optional<CVData> cvDataFromJson(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  CVData cv;
  for (const auto& section : kCVDataSections) {
    const auto it = json.find(section.name);
    if (it == json.end() || !it->is_array()) return std::nullopt;
    auto& entries = cv.*section.entries;
    entries.reserve(it->size());
    for (const Json& element : *it) {
      auto entry = cvEntryFromJson(element);
      if (!entry) return std::nullopt;
      entries.push_back(std::move(*entry));
    }
  }
  return cv;
}

std::string encodeArtistDetails(const ArtistDetails& details) {
  return dumpCompact(artistDetailsToJson(details));
}

std::string encodeCVData(const CVData& cv) { return dumpCompact(cvDataToJson(cv)); }

ArtistDetails decodeArtistDetails(std::string_view text) {
  return decodeOrDefault<ArtistDetails>(text, &artistDetailsFromJson);
}

CVData decodeCVData(std::string_view text) {
  return decodeOrDefault<CVData>(text, &cvDataFromJson);
}

Json artworkToJson(const Artwork& a) {
  Json json{{"id", a.id},
            {"title", a.title},
            {"medium", a.medium},
            {"year", a.year},
            {"artworkWidth", a.artworkWidth},
            {"artworkHeight", a.artworkHeight},
            {"artworkDepth", a.artworkDepth},
            {"artworkText", a.artworkText},
            {"mimeType", a.mimeType},
            {"sizeWarning", a.sizeWarning},
            {"sizeWarningDismissed", a.sizeWarningDismissed},
            {"nearLimit", a.nearLimit},
            {"sortIndex", a.sortIndex}};
  if (a.imageByteSize) json["imageByteSize"] = *a.imageByteSize;
  if (a.originalByteSize) json["originalByteSize"] = *a.originalByteSize;
  if (a.width) json["width"] = *a.width;
  if (a.height) json["height"] = *a.height;
  // JSON has no NaN or infinity: an aspect that is none is left out.
  if (a.aspect && std::isfinite(*a.aspect)) json["aspect"] = *a.aspect;
  if (a.status) json["status"] = rawValue(*a.status);
  if (a.priceCents) json["priceCents"] = *a.priceCents;
  if (a.priceCurrency) json["priceCurrency"] = *a.priceCurrency;
  return json;
}

}  // namespace quorvane
