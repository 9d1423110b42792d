// The records as the command line's --json prints them: the records' own
// field names as keys, absent optionals left out, enumerations by their
// stored raw values, dates as whole milliseconds since 1970.
#pragma once

#include <nlohmann/json.hpp>

#include "model/records.h"

namespace quorvane {

nlohmann::json toJson(const Project& project);
nlohmann::json toJson(const ProjectSummary& summary);
nlohmann::json toJson(const Artwork& artwork);
nlohmann::json toJson(const StudioSnapshot& snapshot);
nlohmann::json toJson(const ExportOptions& options);

}  // namespace quorvane
