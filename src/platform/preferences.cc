#include "platform/preferences.h"

#include <cstdint>
#include <filesystem>

namespace quorvane {

Preferences::Preferences(std::string path, FileSystem& files, Logger& logger, const Clock& clock)
    : path_(std::move(path)), files_(files), logger_(logger), clock_(clock) {
  load();
}

void Preferences::load() {
  Bytes bytes;
  bool readable = true;
  try {
    if (!files_.exists(path_)) return;
    bytes = files_.readFile(path_);
  } catch (const std::exception&) {
    readable = false;
  }
  if (readable) {
    nlohmann::json parsed = nlohmann::json::parse(bytes.begin(), bytes.end(), nullptr, false);
    if (parsed.is_object()) {
      values_ = std::move(parsed);
      return;
    }
  }
  // Not ours to repair, nor to throw away: set it aside and start afresh.
  const std::string aside =
      path_ + ".unreadable-" + std::to_string(millisecondsSince1970(clock_.now()));
  try {
    files_.move(path_, aside);
    logger_.log("[Quorvane][Preferences] state=set_aside path=" + aside);
  } catch (const std::exception& error) {
    // It can be neither read nor moved: leave it be, and write nothing over
    // it in this run.
    writable_ = false;
    logger_.log("[Quorvane][Preferences] state=unreadable path=" + path_ +
                " error=" + error.what());
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

void Preferences::setString(std::string_view key, const std::string& value) { set(key, value); }
void Preferences::setBoolean(std::string_view key, bool value) { set(key, value); }
void Preferences::setInteger(std::string_view key, std::int64_t value) { set(key, value); }
void Preferences::setStrings(std::string_view key, const std::vector<std::string>& value) {
  set(key, value);
}
void Preferences::setDate(std::string_view key, Date value) {
  set(key, millisecondsSince1970(value));
}
void Preferences::setJson(std::string_view key, const nlohmann::json& value) { set(key, value); }

void Preferences::remove(std::string_view key) {
  const std::lock_guard lock(mutex_);
  if (values_.erase(std::string(key)) > 0) save();
}

void Preferences::set(std::string_view key, nlohmann::json value) {
  const std::lock_guard lock(mutex_);
  values_[std::string(key)] = std::move(value);
  save();
}

void Preferences::save() {
  if (!writable_) return;
  const std::string text =
      values_.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  try {
    files_.createDirectories(std::filesystem::path(path_).parent_path().string());
    files_.writeFileAtomically(
        path_, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  } catch (const std::exception& error) {
    logger_.log("[Quorvane][Preferences] state=write_failed path=" + path_ +
                " error=" + error.what());
  }
}

}  // namespace quorvane
