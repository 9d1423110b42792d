// The store's documents: the ends of an export, and the latest preview
// asked for, read on the render queue too so that a render overtaken
// before it starts is not made at all.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "app/pdf_render_service.h"

namespace quorvane {

class AppStore;

class DocumentsRoom {
 public:
  explicit DocumentsRoom(AppStore& store) : store_(store) {}

  // Refuses (with a toast) what can't be exported at all.
  bool canExportTo(const std::string& path);
  // The ends of an export: counted and logged, or the failure shown.
  void exportWritten(const RenderRequest& request, const std::string& path);
  void exportFailed(const std::exception& error, const std::string& path);
  // A print-quality document of works whose originals can't be used printed
  // their screen copies: said as a warning (the works named by the store's
  // `missingOriginals`).
  void noteMissingOriginals(const RenderRequest& request, const ExportOptions& options,
                            std::vector<PdfWarning>& warnings) const;
  // A render that failed, through the one toast path.
  void failRender(const std::exception_ptr& failure);

  std::shared_ptr<std::atomic<std::uint64_t>> latestPreviewRequest =
      std::make_shared<std::atomic<std::uint64_t>>(0);
  // Moves with each preview published, so views know the PDF changed.
  std::uint64_t previewRevision = 0;

 private:
  AppStore& store_;
};

}  // namespace quorvane
