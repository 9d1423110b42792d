// Turning a stored project row into a `Project` whose invariants hold.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "model/records.h"

namespace quorvane {

// A project row as the database hands it over: any column may be NULL.
struct StoredProjectRow {
  std::optional<std::string> id;
  std::optional<std::string> kind;
  std::optional<std::string> catalogueKind;
  std::optional<std::string> projectName;
  std::optional<std::string> projectTitle;
  std::optional<std::string> projectYear;
  std::optional<std::string> locale;
  std::optional<std::string> currency;
  std::optional<std::string> unit;
  std::optional<std::string> orientation;
  std::optional<std::int64_t> createdAtMs;
  std::optional<std::int64_t> updatedAtMs;
};

// Fills what is missing: id "single", names "Portfolio" (also when empty),
// year "", locale "en"; kinds, unit and orientation read leniently; a missing
// time reads as the epoch. A missing currency stays absent.
//
// A kind other than "catalogue" reads as a portfolio here. Rows stored with
// an unknown kind (such as "raisonne") never reach this point as they are:
// the schema migration rewrites them to catalogues first.
Project decodeProjectRow(const StoredProjectRow& row);

}  // namespace quorvane
