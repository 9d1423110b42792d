// Preparing a web CV import for the store: the file read and checked, the
// project's state read from the library, and the plan of what replacing
// each group would change. Nothing is written here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "model/records.h"
#include "platform/file_system.h"
#include "webcv/web_cv_errors.h"
#include "webcv/web_cv_persistence.h"
#include "webcv/web_cv_plan.h"

namespace quorvane {

// The plan together with the project state it was computed against: the
// content the user saw and, for a project already in the library, what the
// library held. Applying stops with `stale` when either changed since.
struct PreparedWebCVImport {
  WebCVImportPlan plan;
  std::string projectId;
  ArtistDetails basisDetails;
  CVData basisCV;
  // Absent for a project not yet in the library (a first start's empty
  // one): it is written, and its state read, when the import is applied.
  std::optional<WebCVPersistenceContext> context;

  bool operator==(const PreparedWebCVImport&) const = default;
};

// Reads the export at `path` and plans it against the project `projectId`
// whose content is `details` and `cv`; with a `repository`, the project's
// state in the library is read too (the caller has written what was
// pending, so the two agree). Throws `WebCVImportError`: `size`, `invalid`,
// `readOrSave`, `context`.
PreparedWebCVImport prepareWebCVImport(FileSystem& files, WebCVRepository* repository,
                                       const std::string& path, const std::string& projectId,
                                       const ArtistDetails& details, const CVData& cv,
                                       std::string_view language);

// The same for a file's text already read (the fuzzer's and the tests' way in).
WebCVImportPlan planWebCVText(std::string_view text, const ArtistDetails& details, const CVData& cv,
                              bool cvShared, std::string_view language);

// What applying `selection` writes: the groups replaced that would change,
// and the copy's id for a shared CV.
WebCVWrite webCVWriteFor(const PreparedWebCVImport& prepared, const WebCVImportSelection& selection,
                         const std::string& newCVAssetId);

// Writes `write` into the library as `prepared` expects to find it (read
// now for a project that was not in the library when prepared), stamped
// `nowMs`; nothing to write is done at once. Throws `WebCVImportError`.
WebCVWritten writeWebCVImport(WebCVRepository& repository, const PreparedWebCVImport& prepared,
                              const WebCVWrite& write, std::int64_t nowMs);

}  // namespace quorvane
