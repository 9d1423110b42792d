#include "app/export_job.h"

#include <filesystem>

#include "platform/atomic_file.h"
#include "platform/file_system.h"

namespace quorvane {

std::vector<PdfWarning> writeDocument(PdfRenderService& renderer, const ExportWork& work,
                                      const PdfRenderService::Progress& progress,
                                      const Cancellation& cancellation) {
  // A killed export of this name left its temporary file: it goes now.
  const std::filesystem::path target(work.path);
  removeStaleTemporaryFiles(
      target.has_parent_path() ? target.parent_path().string() : std::string("."),
      target.filename().string());
  AtomicFileWriter file(work.path);
  std::exception_ptr writeError;
  // cairo calls this from C: nothing may be thrown through it. Once the
  // export is cancelled or a write failed, bytes are dropped but cairo is
  // told they were written: a PDF surface put in error keeps (and, destroyed
  // so, leaks) what it gathered for its pages. The rendering stops at the
  // next page instead.
  const auto guarded = [&](const std::function<void()>& write) {
    if (cancellation.isCancelled() || writeError) return true;
    try {
      write();
    } catch (const std::exception&) {
      writeError = std::current_exception();
    }
    return true;
  };
  const PdfSink sink{
      [&](std::span<const std::uint8_t> bytes) { return guarded([&] { file.write(bytes); }); },
      // Mends bytes already written (the images' colour), then goes back
      // to the end.
      [&](std::uint64_t offset, std::span<const std::uint8_t> bytes) {
        return guarded([&] {
          const std::uint64_t end = file.position();
          file.seek(offset);
          file.write(bytes);
          file.seek(end);
        });
      }};
  // Called between pages, from C++: a cancel or a failed write unwinds the
  // rendering there.
  const PdfRenderService::Progress pageDone = [&](std::size_t done, std::size_t total) {
    if (cancellation.isCancelled()) throw CancelledError();
    if (writeError) std::rethrow_exception(writeError);
    if (progress) progress(done, total);
  };
  PdfRenderResult result;
  try {
    result =
        renderer.renderTo(work.request, work.project, work.snapshot, work.options, sink, pageDone);
  } catch (...) {
    if (cancellation.isCancelled()) throw CancelledError();
    throw;
  }
  if (cancellation.isCancelled()) throw CancelledError();
  if (writeError) std::rethrow_exception(writeError);
  file.commit(work.replaceExisting ? AtomicFile::Replace::existing : AtomicFile::Replace::nothing);
  return result.warnings;
}

std::shared_ptr<ExportJob> ExportJob::start(PdfRenderService& renderer, Executor& worker,
                                            Executor& main, ExportWork work, Progress progress,
                                            Done done) {
  auto job = std::make_shared<ExportJob>();
  const Cancellation cancellation = job->cancellation_;
  worker.post([&renderer, &main, work = std::move(work), progress = std::move(progress),
               done = std::move(done), cancellation] {
    ExportOutcome outcome;
    try {
      outcome.warnings = writeDocument(
          renderer, work,
          [&main, progress, cancellation](std::size_t pages, std::size_t total) {
            if (!progress) return;
            main.post([progress, cancellation, pages, total] {
              if (!cancellation.isCancelled()) progress(pages, total);
            });
          },
          cancellation);
    } catch (const CancelledError&) {
      outcome.kind = ExportOutcome::Kind::cancelled;
    } catch (...) {
      outcome.kind = ExportOutcome::Kind::failed;
      outcome.error = std::current_exception();
    }
    main.post([done, outcome = std::move(outcome)] {
      if (done) done(outcome);
    });
  });
  return job;
}

}  // namespace quorvane
