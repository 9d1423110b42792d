#include "webcv/web_cv_file.h"

#include <filesystem>
#include <optional>
#include <set>
#include <vector>

#include "model/bounded_json.h"
#include "webcv/web_cv_errors.h"

namespace quorvane {
namespace {

// Walks `text` once without building anything, refusing an object that
// names one key twice and a CV section longer than a CV section can be.
// nlohmann's parser keeps the last of two equal keys, and its callback
// parser looks back over a whole list at the end of each object in it
// (time growing with the square of the entries), so the checks are a pass
// of their own before the plain parse.
class EnvelopeCheck final : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return value(); }
  bool boolean(bool) override { return value(); }
  bool number_integer(number_integer_t) override { return value(); }
  bool number_unsigned(number_unsigned_t) override { return value(); }
  bool number_float(number_float_t, const string_t&) override { return value(); }
  bool string(string_t&) override { return value(); }
  bool binary(binary_t&) override { return value(); }
  bool start_object(std::size_t) override {
    if (!value()) return false;
    open_.push_back({true, {}, {}, 0});
    return true;
  }
  bool key(string_t& name) override {
    Open& object = open_.back();
    if (!object.keys.insert(name).second) {
      failure_ = WebCVImportError(WebCVImportErrorCode::invalid, "a key appears twice: " + name);
      return false;
    }
    object.lastKey = name;
    return true;
  }
  bool end_object() override {
    open_.pop_back();
    return true;
  }
  bool start_array(std::size_t) override {
    if (!value()) return false;
    open_.push_back({false, {}, {}, 0});
    return true;
  }
  bool end_array() override {
    open_.pop_back();
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    failure_ = WebCVImportError(WebCVImportErrorCode::invalid, "not JSON");
    return false;
  }

  const std::optional<WebCVImportError>& failure() const { return failure_; }

 private:
  struct Open {
    bool isObject;
    std::set<std::string> keys;
    std::string lastKey;
    std::size_t entries;  // of a list
  };

  // One more value in the innermost open list, which may be a CV section:
  // the envelope's "cv" → a section's name → its list.
  bool value() {
    if (open_.size() != 3 || open_[2].isObject) return true;
    if (!open_[0].isObject || open_[0].lastKey != "cv" || !open_[1].isObject) return true;
    if (++open_[2].entries <= kWebCVMaximumEntriesPerSection) return true;
    failure_ = WebCVImportError(
        WebCVImportErrorCode::invalid, "cv." + open_[1].lastKey + " holds too many entries",
        WebCVImportExplanation{"cv.import.error.too_many_entries",
                               {open_[1].lastKey, std::to_string(kWebCVMaximumEntriesPerSection)}});
    return false;
  }

  std::vector<Open> open_;
  std::optional<WebCVImportError> failure_;
};

nlohmann::json parseChecked(std::string_view text) {
  EnvelopeCheck check;
  nlohmann::json::sax_parse(text.begin(), text.end(), &check, nlohmann::json::input_format_t::json,
                            true);
  if (check.failure()) throw *check.failure();
  nlohmann::json value = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
  if (value.is_discarded()) throw WebCVImportError(WebCVImportErrorCode::invalid, "not JSON");
  return value;
}

// A regular file, or a symbolic link to one.
bool isRegularFile(FileSystem& files, const std::string& path) {
  const FileSystem::EntryKind kind = files.entryKind(path);
  if (kind != FileSystem::EntryKind::link) return kind == FileSystem::EntryKind::file;
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

}  // namespace

std::string readWebCVFile(FileSystem& files, const std::string& path) {
  std::uint64_t size = 0;
  std::unique_ptr<FileReader> reader;
  try {
    // Opening a FIFO or a device would wait on it, for ever perhaps.
    if (!isRegularFile(files, path)) {
      throw WebCVImportError(WebCVImportErrorCode::readOrSave, path + " is not a regular file");
    }
    size = files.fileSize(path);
  } catch (const std::exception& error) {
    throw WebCVImportError(WebCVImportErrorCode::readOrSave, error.what());
  }
  if (size > kWebCVMaximumFileBytes) throw WebCVImportError(WebCVImportErrorCode::size);
  std::string text;
  try {
    reader = files.openForReading(path);
    text.reserve(static_cast<std::size_t>(size));
    while (text.size() <= kWebCVMaximumFileBytes) {
      const Bytes piece = reader->read(kWebCVMaximumFileBytes + 1 - text.size());
      if (piece.empty()) break;
      text.append(piece.begin(), piece.end());
    }
  } catch (const std::exception& error) {
    throw WebCVImportError(WebCVImportErrorCode::readOrSave, error.what());
  }
  if (text.size() > kWebCVMaximumFileBytes) {
    throw WebCVImportError(WebCVImportErrorCode::size, "grew while read");
  }
  return text;
}

nlohmann::json parseWebCVEnvelope(std::string_view text) {
  using Code = WebCVImportErrorCode;
  if (text.size() > kWebCVMaximumFileBytes) throw WebCVImportError(Code::size);
  if (jsonNestingDepth(text, kWebCVMaximumDepth) > kWebCVMaximumDepth) {
    throw WebCVImportError(Code::invalid, "nested too deeply");
  }
  nlohmann::json envelope = parseChecked(text);
  if (!envelope.is_object()) throw WebCVImportError(Code::invalid, "not an object");
  const auto kind = envelope.find("kind");
  if (kind == envelope.end() || !kind->is_string() || kind->get<std::string>() != kWebCVKind) {
    throw WebCVImportError(Code::invalid, "kind");
  }
  const auto version = envelope.find("schemaVersion");
  if (version == envelope.end() || !version->is_number_integer() ||
      version->get<std::int64_t>() != kWebCVSchemaVersion) {
    throw WebCVImportError(Code::invalid, "schemaVersion");
  }
  for (const char* key : {"details", "cv"}) {
    const auto part = envelope.find(key);
    if (part == envelope.end() || !part->is_object()) {
      throw WebCVImportError(Code::invalid, std::string(key) + " is not an object");
    }
  }
  return envelope;
}

}  // namespace quorvane
