// The catalogue of CV sections: for each of the twelve sections its default
// heading, the label of its add button, and the fields an entry offers, with
// their ids, default labels and placeholders. The CV editor, the web CV
// import and the CV PDF all take section order and field ids from here.
//
// Texts here are English defaults; the interface looks them up in the
// localisation catalogue under the keys built below. A field id shares one
// key across every section that uses it ("cvcfg.field.year.label").
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/raw_value.h"
#include "model/records.h"

namespace quorvane {

enum class CVSectionKey {
  soloExhibitions,
  groupExhibitions,
  artFairs,
  commissions,
  residencies,
  education,
  workExperiences,
  collections,
  grantsAwards,
  press,
  bibliography,
  representation,
};

template <>
struct RawValueTable<CVSectionKey> {
  static constexpr std::array<RawCase<CVSectionKey>, 12> cases{{
      {CVSectionKey::soloExhibitions, "soloExhibitions"},
      {CVSectionKey::groupExhibitions, "groupExhibitions"},
      {CVSectionKey::artFairs, "artFairs"},
      {CVSectionKey::commissions, "commissions"},
      {CVSectionKey::residencies, "residencies"},
      {CVSectionKey::education, "education"},
      {CVSectionKey::workExperiences, "workExperiences"},
      {CVSectionKey::collections, "collections"},
      {CVSectionKey::grantsAwards, "grantsAwards"},
      {CVSectionKey::press, "press"},
      {CVSectionKey::bibliography, "bibliography"},
      {CVSectionKey::representation, "representation"},
  }};
};

struct CVFieldConfig {
  std::string_view id;           // key of the value in an entry
  std::string_view label;        // default label
  std::string_view placeholder;  // default placeholder; empty for none

  bool operator==(const CVFieldConfig&) const = default;
};

struct CVSectionConfig {
  CVSectionKey id;
  std::string_view title;       // default heading
  std::string_view emptyLabel;  // add button shown with an empty section
  std::span<const CVFieldConfig> fields;
};

// The twelve sections in `CVSectionKey` order.
std::span<const CVSectionConfig> cvSectionConfigs();

// The configuration of one section.
const CVSectionConfig& cvSectionConfig(CVSectionKey key);

// The entries of `cv` that a section edits (`representation` edits
// `representationEntries`).
std::vector<CVEntry>& cvEntries(CVData& cv, CVSectionKey key);
const std::vector<CVEntry>& cvEntries(const CVData& cv, CVSectionKey key);

// Localisation keys: "cvcfg.section.<section>.title" / ".empty" and
// "cvcfg.field.<field id>.label" / ".placeholder". They are derived from the
// raw value and field id rather than stored in the table, so a key can never
// disagree with the section or field it names.
std::string cvSectionTitleKey(CVSectionKey key);
std::string cvSectionEmptyLabelKey(CVSectionKey key);
std::string cvFieldLabelKey(std::string_view fieldId);
std::string cvFieldPlaceholderKey(std::string_view fieldId);

}  // namespace quorvane
