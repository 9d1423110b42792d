#include "cv/details_fields.h"

#include <array>

namespace quorvane {
namespace {

using D = ArtistDetails;
constexpr TextShape kLine = TextShape::singleLine;

const std::array<DetailsFieldConfig, 14> kDetailsFields{{
    {"firstName", &D::firstName, kLine, "First name", ""},
    {"lastName", &D::lastName, kLine, "Last name", ""},
    {"artistName", &D::artistName, kLine, "Artist name", ""},
    {"nameDisplayMode", &D::nameDisplayMode, kLine, "Name on documents", "legal or artist"},
    {"address", &D::address, TextShape::multiLine, "Address", ""},
    {"zipcode", &D::zipcode, kLine, "Postal code", ""},
    {"currentCity", &D::currentCity, kLine, "City", "Berlin"},
    {"country", &D::country, kLine, "Country", "Germany"},
    {"website", &D::website, kLine, "Website", "https://"},
    {"email", &D::email, kLine, "Email", ""},
    {"phone", &D::phone, kLine, "Phone", ""},
    {"birthYear", &D::birthYear, kLine, "Year of birth", "1985"},
    {"birthPlace", &D::birthPlace, kLine, "Place of birth", ""},
    {"birthCountry", &D::birthCountry, kLine, "Country of birth", ""},
}};

}  // namespace

std::span<const DetailsFieldConfig> detailsFieldConfigs() { return kDetailsFields; }

std::string detailsFieldLabelKey(std::string_view id) {
  return "details.field." + std::string(id) + ".label";
}

std::string detailsFieldPlaceholderKey(std::string_view id) {
  return "details.field." + std::string(id) + ".placeholder";
}

}  // namespace quorvane
