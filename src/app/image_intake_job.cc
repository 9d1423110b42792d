#include "app/image_intake_job.h"

namespace quorvane {

PreparedIntake ImageIntakeJob::prepare(FilesMediaStore& media, const ImageOptimizer& optimizer,
                                       const IntakeFile& file) {
  PreparedIntake result{file, std::nullopt, nullptr, std::nullopt};
  std::shared_ptr<OriginalMediaImportTransaction> transaction;
  try {
    const PreparedImage image = prepareImage(media.files(), optimizer, file.path);
    transaction = std::make_shared<OriginalMediaImportTransaction>(
        OriginalMediaImportTransaction::open(media));
    stageImage(*transaction, file.artworkId, image);
    Artwork artwork;
    artwork.id = file.artworkId;
    applyImage(artwork, image, media.webDerivativePath(file.artworkId));
    result.artwork = std::move(artwork);
    result.transaction = std::move(transaction);
  } catch (const ImageIntakeError& error) {
    if (transaction) transaction->rollback();
    result.error = error;
  } catch (const std::exception& error) {
    if (transaction) transaction->rollback();
    result.error = ImageIntakeError(ImageIntakeError::Case::cannotStore, error.what());
  }
  return result;
}

std::shared_ptr<ImageIntakeJob> ImageIntakeJob::start(FilesMediaStore& media,
                                                      const ImageOptimizer& optimizer,
                                                      Executor& worker, Executor& main,
                                                      std::vector<IntakeFile> files,
                                                      Prepared prepared, Finished finished) {
  auto job = std::make_shared<ImageIntakeJob>();
  const std::size_t total = files.size();
  // Runs on the main executor for each file, whether prepared or skipped.
  const auto handOver = [job, prepared, finished, total](std::optional<PreparedIntake> intake) {
    if (intake) {
      if (job->isCancelled()) {
        if (intake->transaction) intake->transaction->rollback();
      } else if (prepared) {
        prepared(*intake);
      }
    }
    if (++job->handled_ == total && finished) finished(job->isCancelled());
  };
  if (total == 0) {
    main.post([finished] {
      if (finished) finished(false);
    });
    return job;
  }
  for (IntakeFile& file : files) {
    worker.post([job, &media, &optimizer, &main, handOver, file = std::move(file)] {
      std::optional<PreparedIntake> intake;
      if (!job->isCancelled()) intake = prepare(media, optimizer, file);
      main.post([handOver, intake = std::move(intake)]() mutable { handOver(std::move(intake)); });
    });
  }
  return job;
}

}  // namespace quorvane
