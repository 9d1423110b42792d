#include "platform/preferences.h"

#include <cstdint>
#include <filesystem>

#include "model/bounded_json.h"

namespace quorvane {

Preferences::Changes& Preferences::Changes::set(std::string_view key, nlohmann::json value) {
  edits_.emplace_back(std::string(key), std::move(value));
  return *this;
}

Preferences::Changes& Preferences::Changes::remove(std::string_view key) {
  edits_.emplace_back(std::string(key), std::nullopt);
  return *this;
}

Preferences::Preferences(std::string path, FileSystem& files, Logger& logger, const Clock& clock,
                         Access access)
    : path_(std::move(path)), files_(files), logger_(logger), clock_(clock), access_(access) {
  const std::lock_guard lock(mutex_);
  load();
}

void Preferences::load() {
  if (std::optional<nlohmann::json> values = readFile()) values_ = std::move(*values);
}

std::optional<nlohmann::json> Preferences::readFile() {
  Bytes bytes;
  bool tooLarge = false;
  try {
    if (!files_.exists(path_)) return nlohmann::json::object();
    // The size first: a huge file is refused without being read.
    tooLarge = files_.fileSize(path_) > kMaximumPreferencesBytes;
    if (!tooLarge) bytes = files_.readFile(path_);
  } catch (const std::exception& error) {
    // The file could not be read just now (a disk error, too many open
    // files): nothing is known of its content, so nothing is written over
    // it, and it is not taken for a damaged one.
    writable_ = false;
    logger_.log("[Quorvane][Preferences] state=read_failed path=" + path_ +
                " error=" + error.what());
    return std::nullopt;
  }
  if (!tooLarge) {
    std::optional<nlohmann::json> parsed = parseBoundedJson(
        std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    if (parsed && parsed->is_object()) return parsed;
  }
  if (access_ == Access::read) {
    // Not ours to move without the lock: the defaults apply for this run,
    // and the next run that writes sets the file aside.
    logger_.log("[Quorvane][Preferences] state=unreadable path=" + path_);
    return std::nullopt;
  }
  // Not ours to repair, nor to throw away: set it aside and start afresh.
  const std::string aside =
      path_ + ".unreadable-" + std::to_string(millisecondsSince1970(clock_.now()));
  try {
    files_.move(path_, aside);
    logger_.log("[Quorvane][Preferences] state=set_aside path=" + aside);
    return nlohmann::json::object();
  } catch (const std::exception& error) {
    // It can be neither read nor moved: leave it be, and write nothing over
    // it in this run.
    writable_ = false;
    logger_.log("[Quorvane][Preferences] state=unreadable path=" + path_ +
                " error=" + error.what());
    return std::nullopt;
  }
}

std::optional<std::string> Preferences::string(std::string_view key) const {
  const auto value = json(key);
  if (!value || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

std::optional<bool> Preferences::boolean(std::string_view key) const {
  const auto value = json(key);
  if (!value || !value->is_boolean()) return std::nullopt;
  return value->get<bool>();
}

std::optional<std::int64_t> Preferences::integer(std::string_view key) const {
  const auto value = json(key);
  if (!value || !value->is_number_integer()) return std::nullopt;
  if (value->is_number_unsigned() &&
      value->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
    return std::nullopt;
  }
  return value->get<std::int64_t>();
}

std::optional<std::vector<std::string>> Preferences::strings(std::string_view key) const {
  const auto value = json(key);
  if (!value || !value->is_array()) return std::nullopt;
  std::vector<std::string> items;
  for (const nlohmann::json& item : *value) {
    if (!item.is_string()) return std::nullopt;
    items.push_back(item.get<std::string>());
  }
  return items;
}

std::optional<Date> Preferences::date(std::string_view key) const {
  const auto milliseconds = integer(key);
  if (!milliseconds) return std::nullopt;
  return dateFromMilliseconds(*milliseconds);
}

std::optional<nlohmann::json> Preferences::json(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  const auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return *it;
}

bool Preferences::setString(std::string_view key, const std::string& value) {
  return apply(Changes().set(key, value));
}
bool Preferences::setBoolean(std::string_view key, bool value) {
  return apply(Changes().set(key, value));
}
bool Preferences::setInteger(std::string_view key, std::int64_t value) {
  return apply(Changes().set(key, value));
}
bool Preferences::setStrings(std::string_view key, const std::vector<std::string>& value) {
  return apply(Changes().set(key, value));
}
bool Preferences::setDate(std::string_view key, Date value) {
  return apply(Changes().set(key, millisecondsSince1970(value)));
}
bool Preferences::setJson(std::string_view key, const nlohmann::json& value) {
  return apply(Changes().set(key, value));
}
bool Preferences::remove(std::string_view key) { return apply(Changes().remove(key)); }

bool Preferences::apply(const Changes& changes) {
  const std::lock_guard lock(mutex_);
  if (access_ == Access::write && writable_) {
    // What another run wrote since this one read the file stays; so do this
    // run's changes that could not be written yet.
    if (std::optional<nlohmann::json> current = readFile()) {
      values_ = std::move(*current);
      for (const auto& [key, value] : unwritten_) applyEdit(key, value);
    }
  }
  bool changed = false;
  for (const auto& [key, value] : changes.edits_) changed |= applyEdit(key, value);
  if (access_ == Access::read) return true;
  // A value set again as it is needs no write, and can't fail one.
  if (!changed && unwritten_.empty()) return true;
  if (save()) {
    unwritten_.clear();
    return true;
  }
  unwritten_.insert(unwritten_.end(), changes.edits_.begin(), changes.edits_.end());
  return false;
}

bool Preferences::applyEdit(const std::string& key, const std::optional<nlohmann::json>& value) {
  const auto it = values_.find(key);
  if (value) {
    if (it != values_.end() && *it == *value) return false;
    values_[key] = *value;
    return true;
  }
  if (it == values_.end()) return false;
  values_.erase(it);
  return true;
}

std::optional<std::string> Preferences::lastWriteFailure() const {
  const std::lock_guard lock(mutex_);
  return lastWriteFailure_;
}

int Preferences::writeFailureCount() const {
  const std::lock_guard lock(mutex_);
  return writeFailures_;
}

bool Preferences::save() {
  if (!writable_) {
    ++writeFailures_;
    lastWriteFailure_ = path_ + " can be neither read nor set aside";
    return false;
  }
  const std::string text =
      values_.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  try {
    files_.createDirectories(std::filesystem::path(path_).parent_path().string());
    files_.writeFileAtomically(
        path_, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    return true;
  } catch (const std::exception& error) {
    ++writeFailures_;
    lastWriteFailure_ = error.what();
    logger_.log("[Quorvane][Preferences] state=write_failed path=" + path_ +
                " error=" + error.what());
    return false;
  }
}

}  // namespace quorvane
