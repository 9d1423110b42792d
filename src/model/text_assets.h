// Text assets: the biography, the two statements and the CV that a project
// links to, identified by rule from their type and owner project.
#pragma once

#include <string>
#include <string_view>

#include "model/enums.h"

namespace quorvane {

// "asset:" + type + ":" + owner project id, e.g. "asset:bio:p1".
std::string textAssetId(TextAssetType type, std::string_view ownerProjectId);

// "CV", "Artist statement", "Project Statement" or "Biography".
std::string_view defaultTextTitle(TextAssetType type);

// The title trimmed of surrounding white space and line breaks, or the type's
// default title when nothing is left.
std::string normalizedTextTitle(std::string_view title, TextAssetType type);

}  // namespace quorvane
