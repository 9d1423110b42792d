// The store's web CV import: the checks before a write, the holding back
// of the project's saves while it runs, and why the last one failed.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "app/web_cv_import.h"

namespace quorvane {

class AppStore;

class WebCVRoom {
 public:
  explicit WebCVRoom(AppStore& store) : store_(store) {}

  // The checks before writing and the holding back of saves; what to
  // write, or nothing when it can't start.
  std::optional<WebCVWrite> begin(const PreparedWebCVImport& prepared,
                                  const WebCVImportSelection& selection);
  // The saves released, and what was written taken into the open project,
  // or the failure said.
  void finish(const PreparedWebCVImport& prepared, const WebCVWrite& write,
              const std::optional<WebCVWritten>& written, std::exception_ptr failure);
  void failPreparing(const std::exception_ptr& failure);
  void logPrepared(const PreparedWebCVImport& prepared);
  // Says why, in the toast and in `lastError`; false.
  bool refuse(WebCVImportErrorCode code, const std::string& detail,
              const std::optional<WebCVImportExplanation>& explanation = std::nullopt);

  std::optional<WebCVImportErrorCode> lastError;

 private:
  // Puts what the import wrote into `library` (the project's content as the
  // library now holds it) and, unless edited meanwhile, into the screen's.
  void takeImportedContent(const PreparedWebCVImport& prepared, const WebCVWrite& write,
                           std::int64_t atMs, std::pair<Project, StudioSnapshot>& library);

  AppStore& store_;
};

}  // namespace quorvane
