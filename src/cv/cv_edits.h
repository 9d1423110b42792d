// The edits a CV editor makes to a CV: add an entry to a section, change a
// field, move an entry up or down, remove it. Each returns whether the CV
// changed; an index or field that does not exist changes nothing (a stale
// click on an entry another edit already removed is harmless).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "cv/cv_sections.h"

namespace quorvane {

// Appends an empty entry; its index.
std::size_t addCVEntry(CVData& cv, CVSectionKey section);
// Sets `fieldId` of the entry; an empty value removes the field, as the
// guided entry never stores an empty answer. Only the section's own fields.
bool setCVField(CVData& cv, CVSectionKey section, std::size_t index, std::string_view fieldId,
                const std::string& value);
// Moves the entry by `offset` places, stopping at either end.
bool moveCVEntry(CVData& cv, CVSectionKey section, std::size_t index, int offset);
bool removeCVEntry(CVData& cv, CVSectionKey section, std::size_t index);

// Entries with at least one field written, in all sections.
std::size_t filledCVEntryCount(const CVData& cv);

}  // namespace quorvane
