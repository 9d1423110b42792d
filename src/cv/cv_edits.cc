#include "cv/cv_edits.h"

#include <algorithm>

namespace quorvane {
namespace {

bool isSectionField(CVSectionKey section, std::string_view fieldId) {
  const auto fields = cvSectionConfig(section).fields;
  return std::any_of(fields.begin(), fields.end(),
                     [&](const CVFieldConfig& field) { return field.id == fieldId; });
}

}  // namespace

std::size_t addCVEntry(CVData& cv, CVSectionKey section) {
  auto& entries = cvEntries(cv, section);
  entries.emplace_back();
  return entries.size() - 1;
}

bool setCVField(CVData& cv, CVSectionKey section, std::size_t index, std::string_view fieldId,
                const std::string& value) {
  auto& entries = cvEntries(cv, section);
  if (index >= entries.size() || !isSectionField(section, fieldId)) return false;
  CVEntry& entry = entries[index];
  const std::string key(fieldId);
  const auto found = entry.find(key);
  if (value.empty()) {
    if (found == entry.end()) return false;
    entry.erase(found);
    return true;
  }
  if (found != entry.end() && found->second == value) return false;
  entry[key] = value;
  return true;
}

bool moveCVEntry(CVData& cv, CVSectionKey section, std::size_t index, int offset) {
  auto& entries = cvEntries(cv, section);
  if (index >= entries.size() || offset == 0) return false;
  const auto last = static_cast<std::ptrdiff_t>(entries.size()) - 1;
  const auto target =
      std::clamp(static_cast<std::ptrdiff_t>(index) + offset, std::ptrdiff_t{0}, last);
  if (target == static_cast<std::ptrdiff_t>(index)) return false;
  const auto from = entries.begin() + static_cast<std::ptrdiff_t>(index);
  const auto to = entries.begin() + target;
  if (target > static_cast<std::ptrdiff_t>(index)) {
    std::rotate(from, from + 1, to + 1);
  } else {
    std::rotate(to, from, from + 1);
  }
  return true;
}

bool removeCVEntry(CVData& cv, CVSectionKey section, std::size_t index) {
  auto& entries = cvEntries(cv, section);
  if (index >= entries.size()) return false;
  entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(index));
  return true;
}

std::size_t filledCVEntryCount(const CVData& cv) {
  std::size_t count = 0;
  for (const CVSectionConfig& section : cvSectionConfigs()) {
    for (const CVEntry& entry : cvEntries(cv, section.id)) {
      if (std::any_of(entry.begin(), entry.end(),
                      [](const auto& field) { return !field.second.empty(); })) {
        ++count;
      }
    }
  }
  return count;
}

}  // namespace quorvane
