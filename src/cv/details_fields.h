// The fields of the artist's details as the editors offer them: the record's
// member, its JSON key, whether it holds one line or several, and its
// default label and placeholder. The guided entry, the web CV import and the
// command line all take the order and the keys from here.
//
// Labels and placeholders are looked up in the localisation catalogue under
// "details.field.<id>.label" and ".placeholder"; the table holds the English.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "model/control_characters.h"
#include "model/records.h"

namespace quorvane {

struct DetailsFieldConfig {
  std::string_view id;  // the key in the stored JSON and in a web CV file
  std::string ArtistDetails::*member;
  TextShape shape;
  std::string_view label;
  std::string_view placeholder;  // empty for none
};

// Every field of `ArtistDetails`, in the order a form shows them.
std::span<const DetailsFieldConfig> detailsFieldConfigs();

std::string detailsFieldLabelKey(std::string_view id);
std::string detailsFieldPlaceholderKey(std::string_view id);

}  // namespace quorvane
