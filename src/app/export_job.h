// Writing a document to a file: atomically (the file appears whole, or not
// at all; a file it replaces keeps its permissions), as it is made (an
// export of many images never has to fit in memory), and, for a window,
// off the main executor with progress and cancellation.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/pdf_render_service.h"
#include "platform/cancellation.h"
#include "platform/executor.h"

namespace quorvane {

// What is written, and where; copied whole, so the work never reads the
// store's live state.
struct ExportWork {
  RenderRequest request;
  Project project;
  StudioSnapshot snapshot;
  ExportOptions options;
  std::string path;
  bool replaceExisting = true;
};

struct ExportOutcome {
  enum class Kind { written, cancelled, failed };
  Kind kind = Kind::written;
  std::vector<PdfWarning> warnings;
  std::exception_ptr error;  // why it failed
};

// Writes the document now, on the calling thread. A temporary file that a
// killed export of the same name left is removed first. Throws on a
// failure (std::system_error EEXIST when `replaceExisting` is false and
// the file exists), CancelledError once `cancellation` is set; either way
// nothing is left at `path` or beside it.
std::vector<PdfWarning> writeDocument(PdfRenderService& renderer, const ExportWork& work,
                                      const PdfRenderService::Progress& progress = {},
                                      const Cancellation& cancellation = {});

// The same on `worker`: progress and the outcome are told on `main`.
// Cancelling stops the work at its next page; nothing is written then.
class ExportJob {
 public:
  using Progress = PdfRenderService::Progress;
  using Done = std::function<void(const ExportOutcome&)>;

  static std::shared_ptr<ExportJob> start(PdfRenderService& renderer, Executor& worker,
                                          Executor& main, ExportWork work, Progress progress,
                                          Done done);
  void cancel() { cancellation_.cancel(); }
  bool isCancelled() const { return cancellation_.isCancelled(); }

 private:
  Cancellation cancellation_;
};

}  // namespace quorvane
