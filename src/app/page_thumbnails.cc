#include "app/page_thumbnails.h"

#include <algorithm>
#include <atomic>

namespace quorvane {
namespace {

constexpr std::string_view kTag = "[Quorvane][PdfThumb] ";

// Metadata edits come as bursts of keystrokes: wait for the burst to end.
Milliseconds debounceFor(std::string_view reason) {
  const bool burst = reason == "update_artwork_metadata" || reason == "finalize_artwork_dimensions";
  return Milliseconds(burst ? 1500 : 180);
}

std::string text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

}  // namespace

struct PageThumbnails::Job {
  std::atomic<bool> cancelled{false};
  WorkItem timer;
};

PageThumbnails::PageThumbnails(FilesMediaStore& media, Executor& main, Executor& worker,
                               Logger& logger, SourceOf sourceOf, Changed changed)
    : media_(media),
      main_(main),
      worker_(worker),
      logger_(logger),
      sourceOf_(std::move(sourceOf)),
      changed_(std::move(changed)),
      limiter_(main, kPermits),
      self_(std::make_shared<PageThumbnails*>(this)) {}

PageThumbnails::~PageThumbnails() {
  for (auto& [key, job] : jobs_) {
    job->cancelled = true;
    job->timer.cancel();
  }
}

void PageThumbnails::enqueue(const std::string& key, std::string_view reason, bool userInitiated) {
  bool replaced = false;
  if (const auto found = jobs_.find(key); found != jobs_.end()) {
    found->second->cancelled = true;
    found->second->timer.cancel();
    replaced = true;
  }
  const Milliseconds debounce = debounceFor(reason);
  logger_.log(std::string(kTag) + "enqueue id=" + key + " reason=" + std::string(reason) +
              " debounceMs=" + std::to_string(debounce.count()) +
              " priority=" + (userInitiated ? "userInitiated" : "utility") +
              " replaced=" + (replaced ? "true" : "false"));
  auto job = std::make_shared<Job>();
  jobs_[key] = job;
  const std::weak_ptr<PageThumbnails*> weak = self_;
  job->timer = main_.postAfter(debounce, [weak, key, job] {
    if (const auto alive = weak.lock()) (*alive)->run(key, job);
  });
}

void PageThumbnails::holdNewDraws(bool held) {
  held_ = held;
  if (held_) return;
  auto waiting = std::move(waitingForHold_);
  waitingForHold_.clear();
  for (const auto& [key, job] : waiting) run(key, job);
}

void PageThumbnails::run(const std::string& key, const std::shared_ptr<Job>& job) {
  if (job->cancelled) return;
  if (held_) {
    waitingForHold_.emplace_back(key, job);
    return;
  }
  const std::weak_ptr<PageThumbnails*> weak = self_;
  limiter_.acquire([this, weak, key, job] {
    if (!weak.lock()) return;
    // Every permit granted goes back, whatever happens from here.
    if (job->cancelled) {
      limiter_.release();
      return;
    }
    std::optional<ThumbnailSource> source = sourceOf_(key);
    if (!source) {
      limiter_.release();
      if (jobs_[key] == job) jobs_.erase(key);
      return;
    }
    // The worker touches the media store only (it outlives the service).
    FilesMediaStore& media = media_;
    worker_.post([&media, main = &main_, weak, key, job, source = std::move(*source)] {
      std::optional<Bytes> picture;
      std::string failure;
      if (!job->cancelled) {
        try {
          picture = source.draw();
          store(media, key, *picture, source.signature);
        } catch (const std::exception& error) {
          picture.reset();
          failure = error.what();
        }
      }
      main->post([weak, key, job, picture = std::move(picture), signature = source.signature,
                  failure]() mutable {
        if (const auto alive = weak.lock()) {
          (*alive)->finished(key, job, std::move(picture), signature, failure);
        }
      });
    });
  });
}

void PageThumbnails::finished(const std::string& key, const std::shared_ptr<Job>& job,
                              std::optional<Bytes> picture, const std::string& signature,
                              const std::string& failure) {
  limiter_.release();
  const auto found = jobs_.find(key);
  if (found != jobs_.end() && found->second == job) jobs_.erase(found);
  if (!failure.empty()) {
    logger_.log(std::string(kTag) + "render failed id=" + key + " error=" + failure);
    return;
  }
  if (!picture || job->cancelled) return;
  const std::int64_t version = ++versions_[key];
  signatures_[key] = signature;
  remember(key, std::move(*picture), version);
  logger_.log(std::string(kTag) + "stored id=" + key + " v=" + std::to_string(version));
  if (changed_) changed_(key);
}

void PageThumbnails::remember(const std::string& key, Bytes picture, std::int64_t version) {
  memory_[key] = Memory{std::move(picture), version};
  memoryOrder_.remove(key);
  memoryOrder_.push_back(key);
  while (memoryOrder_.size() > kMemoryEntries) {
    memory_.erase(memoryOrder_.front());
    memoryOrder_.pop_front();
  }
}

void PageThumbnails::load(const std::string& key, Loaded done) {
  if (const auto found = memory_.find(key); found != memory_.end()) {
    logger_.log(std::string(kTag) + "load id=" + key +
                " state=memory_hit v=" + std::to_string(found->second.version));
    memoryOrder_.remove(key);
    memoryOrder_.push_back(key);
    if (!drawnFromCurrentSource(key)) {
      main_.post([done = std::move(done)] { done(std::nullopt); });
      return;
    }
    main_.post([done = std::move(done), picture = found->second.picture] { done(picture); });
    return;
  }
  const std::int64_t version = versions_.contains(key) ? versions_.at(key) : 0;
  if (const auto reading = inFlight_.find(key); reading != inFlight_.end()) {
    logger_.log(std::string(kTag) + "load id=" + key +
                " state=await_inflight v=" + std::to_string(version));
    reading->second.push_back(std::move(done));
    return;
  }
  const std::string path = media_.pdfThumbPath(key);
  logger_.log(std::string(kTag) + "load id=" + key + " state=disk_read_start path=" + path);
  inFlight_[key].push_back(std::move(done));
  const std::weak_ptr<PageThumbnails*> weak = self_;
  FilesMediaStore& media = media_;
  worker_.post(
      [&media, main = &main_, weak, key, path, signaturePath = signaturePath(media_, key)] {
        std::optional<Bytes> picture = media.readFile(path);
        std::optional<std::string> signature;
        if (const std::optional<Bytes> stored = media.readFile(signaturePath)) {
          signature = text(*stored);
        }
        main->post([weak, key, picture = std::move(picture), signature = std::move(signature)] {
          if (const auto alive = weak.lock()) (*alive)->loadedFromDisk(key, picture, signature);
        });
      });
}

bool PageThumbnails::drawnFromCurrentSource(const std::string& key) {
  const auto generated = signatures_.find(key);
  if (generated == signatures_.end()) return true;
  const std::optional<ThumbnailSource> source = sourceOf_(key);
  if (!source || source->signature == generated->second) return true;
  logger_.log(std::string(kTag) + "load id=" + key + " state=signature_mismatch" +
              " sourceSig=" + source->signature + " generatedSig=" + generated->second);
  if (!jobs_.contains(key)) enqueue(key, "signature_mismatch_on_load");
  return false;
}

void PageThumbnails::loadedFromDisk(const std::string& key, std::optional<Bytes> picture,
                                    std::optional<std::string> signature) {
  std::vector<Loaded> waiting = std::move(inFlight_[key]);
  inFlight_.erase(key);
  const std::optional<ThumbnailSource> source = sourceOf_(key);
  const std::string sourceSignature = source ? source->signature : std::string("-");
  if (picture && source) {
    // The memory's signature is the one drawn last in this run; the file's
    // is what an earlier run drew.
    const auto known = signatures_.find(key);
    if (known == signatures_.end() && signature) signatures_[key] = *signature;
    const std::optional<std::string> generated =
        signatures_.contains(key) ? std::optional(signatures_.at(key)) : std::nullopt;
    if (!generated) {
      logger_.log(std::string(kTag) + "load id=" + key + " state=bootstrap_missing_signature" +
                  " sourceSig=" + sourceSignature + " generatedSig=-");
      if (!jobs_.contains(key)) enqueue(key, "signature_mismatch_on_load");
    } else if (*generated != source->signature) {
      logger_.log(std::string(kTag) + "load id=" + key + " state=signature_mismatch" +
                  " sourceSig=" + sourceSignature + " generatedSig=" + *generated);
      if (!jobs_.contains(key)) enqueue(key, "signature_mismatch_on_load");
    }
    remember(key, *picture, versions_.contains(key) ? versions_.at(key) : 0);
    if (generated && *generated != source->signature) picture.reset();
  } else if (source && !jobs_.contains(key)) {
    enqueue(key, "missing_on_load");
  }
  for (const Loaded& done : waiting) done(picture);
}

void PageThumbnails::forget(const std::string& key) {
  if (const auto found = jobs_.find(key); found != jobs_.end()) {
    found->second->cancelled = true;
    found->second->timer.cancel();
    jobs_.erase(found);
  }
  memory_.erase(key);
  memoryOrder_.remove(key);
  versions_.erase(key);
  signatures_.erase(key);
  media_.removePdfThumbs(key);
  try {
    media_.files().removeAll(signaturePath(media_, key));
  } catch (const std::exception&) {
    // A signature left behind only makes the next load redraw.
  }
}

std::string PageThumbnails::signaturePath(const FilesMediaStore& media, const std::string& key) {
  return media.pdfThumbDirectory() + "/" + key + "_pdfthumb_v1.sig";
}

std::optional<std::string> PageThumbnails::storedSignature(const FilesMediaStore& media,
                                                           const std::string& key) {
  if (!media.readFile(media.pdfThumbPath(key))) return std::nullopt;
  const std::optional<Bytes> stored = media.readFile(signaturePath(media, key));
  return stored ? std::optional(text(*stored)) : std::nullopt;
}

void PageThumbnails::store(FilesMediaStore& media, const std::string& key, const Bytes& picture,
                           const std::string& signature) {
  media.writePdfThumb(key, picture, "webp");
  media.files().writeFileAtomically(signaturePath(media, key),
                                    Bytes(signature.begin(), signature.end()));
}

}  // namespace quorvane
