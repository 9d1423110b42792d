// Adding a batch of images without holding the main executor: each file is
// read, checked and derived on a worker, one at a time, its files staged in
// a media transaction of its own; then it is handed back to the main
// executor, in order, to be put in place there (files and row together).
// So a window's board fills as the images come, and a cancel keeps the
// images already in place: a file being prepared when the user cancels is
// rolled back when it arrives, and no file after it is begun.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/image_intake.h"
#include "platform/cancellation.h"
#include "platform/executor.h"

namespace quorvane {

struct IntakeFile {
  std::string path;
  std::string artworkId;  // chosen on the main executor
};

// One file, prepared: an artwork with its image fields filled in and its
// files staged (nothing in place yet), or why it could not be.
struct PreparedIntake {
  IntakeFile file;
  std::optional<Artwork> artwork;
  std::shared_ptr<OriginalMediaImportTransaction> transaction;
  std::optional<ImageIntakeError> error;
};

class ImageIntakeJob {
 public:
  // On the main executor, once for each file handed over (in order). The
  // receiver commits or rolls back the transaction.
  using Prepared = std::function<void(PreparedIntake&)>;
  // On the main executor, once, after the last file or the cancel.
  using Finished = std::function<void(bool cancelled)>;

  static std::shared_ptr<ImageIntakeJob> start(FilesMediaStore& media,
                                               const ImageOptimizer& optimizer, Executor& worker,
                                               Executor& main, std::vector<IntakeFile> files,
                                               Prepared prepared, Finished finished);
  void cancel() { cancellation_.cancel(); }
  bool isCancelled() const { return cancellation_.isCancelled(); }

 private:
  // Prepares one file on the worker (nothing of it stays on a failure).
  static PreparedIntake prepare(FilesMediaStore& media, const ImageOptimizer& optimizer,
                                const IntakeFile& file);

  Cancellation cancellation_;
  std::size_t handled_ = 0;  // on the main executor
};

}  // namespace quorvane
