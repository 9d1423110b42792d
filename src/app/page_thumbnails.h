// Page thumbnails made in the background: every artwork shown as the page it
// will be in the PDF, every text as its document's page. Nothing here ever
// makes the main executor wait.
//
// A job (`enqueue`) waits out its debounce (1500 ms after a metadata edit,
// whose keystrokes come in bursts; 180 ms otherwise), then takes a permit of
// the limiter (two pages drawn at once at most), asks for the page's source
// as it is *now*, draws and encodes it on the worker, writes it to the
// thumbnail cache, and back on the main executor records its version and
// the signature of the source it was drawn from. A new job for the same key
// replaces the old one: one cancelled before it draws does no work.
//
// Reading (`load`) looks in memory (the last 180 thumbnails), then joins a
// read already under way for the key, then reads the file. A thumbnail
// whose recorded signature differs from its source's is not handed out: a
// work that sits in two projects has one key, and the page one project
// prints (a raisonné page with its price) is not the other's (a portfolio
// page). A new one is scheduled ("signature_mismatch_on_load"); a window
// keeps what it showed until the new one arrives. One with no recorded
// signature (drawn by an older version) is handed out and redrawn.
//
// While the window waits for a document preview (`holdNewDraws`), pages
// whose turn comes wait instead of taking a permit: the preview is what
// the user is looking at, and two page draws beside it would halve its
// speed. Draws already under way finish; the waiting ones go, in the order
// they came, when the hold ends.
//
// Keys: an artwork's id, or "docpdfthumb|" and the section ("bio",
// "statement", "projectStatement", "cv") for a document.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/async_permit_limiter.h"
#include "platform/executor.h"
#include "platform/logger.h"
#include "storage/files_media_store.h"

namespace quorvane {

inline constexpr std::string_view kDocumentThumbKeyPrefix = "docpdfthumb|";

// What a thumbnail is drawn from, taken on the main executor when its turn
// comes; `draw` runs on the worker and returns the encoded picture.
struct ThumbnailSource {
  std::string signature;
  std::function<Bytes()> draw;
};

class PageThumbnails {
 public:
  static constexpr int kPermits = 2;
  static constexpr std::size_t kMemoryEntries = 180;

  // The source of `key` now, or nothing when the page is gone (an artwork
  // removed): called on the main executor.
  using SourceOf = std::function<std::optional<ThumbnailSource>(const std::string& key)>;
  // Told on the main executor when a key's version moved.
  using Changed = std::function<void(const std::string& key)>;

  PageThumbnails(FilesMediaStore& media, Executor& main, Executor& worker, Logger& logger,
                 SourceOf sourceOf, Changed changed);
  ~PageThumbnails();
  PageThumbnails(const PageThumbnails&) = delete;
  PageThumbnails& operator=(const PageThumbnails&) = delete;

  // Schedules a new thumbnail of `key`, replacing one scheduled or being
  // drawn. `userInitiated`: the page the user is looking at.
  void enqueue(const std::string& key, std::string_view reason, bool userInitiated = false);
  // The thumbnail of `key` as its source is now, or nothing when there is
  // none yet or it was drawn from another source; `done` is called on the
  // main executor.
  using Loaded = std::function<void(const std::optional<Bytes>& picture)>;
  void load(const std::string& key, Loaded done);
  // While held, no new page starts to draw; ending the hold lets the
  // waiting ones go.
  void holdNewDraws(bool held);
  // Forgets the thumbnails of `key` (memory, file, bookkeeping).
  void forget(const std::string& key);

  // Bumped each time a new thumbnail of the key is ready.
  const std::map<std::string, std::int64_t>& versions() const { return versions_; }
  // The signature of the source each current thumbnail was drawn from.
  const std::map<std::string, std::string>& generatedSignatures() const { return signatures_; }
  bool isScheduled(const std::string& key) const { return jobs_.contains(key); }
  std::size_t scheduledCount() const { return jobs_.size(); }
  const AsyncPermitLimiter& limiter() const { return limiter_; }

  // The cache on disk, for work that draws in the foreground (the command
  // line): the signature a key's thumbnail was drawn from, and the writing
  // of a thumbnail with its signature.
  static std::optional<std::string> storedSignature(const FilesMediaStore& media,
                                                    const std::string& key);
  static void store(FilesMediaStore& media, const std::string& key, const Bytes& picture,
                    const std::string& signature);

 private:
  struct Job;
  struct Memory {
    Bytes picture;
    std::int64_t version = 0;
  };
  void run(const std::string& key, const std::shared_ptr<Job>& job);
  void finished(const std::string& key, const std::shared_ptr<Job>& job,
                std::optional<Bytes> picture, const std::string& signature,
                const std::string& failure);
  void remember(const std::string& key, Bytes picture, std::int64_t version);
  // Whether the thumbnail in hand was drawn from the key's source as it is
  // now (or nothing says otherwise); when not, a new one is scheduled.
  bool drawnFromCurrentSource(const std::string& key);
  void loadedFromDisk(const std::string& key, std::optional<Bytes> picture,
                      std::optional<std::string> signature);
  static std::string signaturePath(const FilesMediaStore& media, const std::string& key);

  FilesMediaStore& media_;
  Executor& main_;
  Executor& worker_;
  Logger& logger_;
  SourceOf sourceOf_;
  Changed changed_;
  AsyncPermitLimiter limiter_;
  std::map<std::string, std::shared_ptr<Job>> jobs_;
  std::map<std::string, std::int64_t> versions_;
  std::map<std::string, std::string> signatures_;
  std::map<std::string, Memory> memory_;
  std::list<std::string> memoryOrder_;  // least recently used first
  std::map<std::string, std::vector<Loaded>> inFlight_;
  bool held_ = false;
  std::vector<std::pair<std::string, std::shared_ptr<Job>>> waitingForHold_;
  std::shared_ptr<PageThumbnails*> self_;  // work coming back finds the service while it lives
};

}  // namespace quorvane
