#include "webcv/web_cv_file.h"

#include <set>
#include <vector>

#include "model/bounded_json.h"
#include "webcv/web_cv_errors.h"

namespace quorvane {
namespace {

// Parses `text`, refusing an object that names one key twice. nlohmann's
// parser builds objects keeping the last of two equal keys; its callback
// sees every key as it is read, so the keys of each open object are
// collected on a stack of their own.
nlohmann::json parseRefusingDuplicateKeys(std::string_view text) {
  using Event = nlohmann::json::parse_event_t;
  std::vector<std::set<std::string>> openObjects;
  bool duplicate = false;
  const auto callback = [&](int, Event event, nlohmann::json& parsed) {
    switch (event) {
      case Event::object_start:
        openObjects.emplace_back();
        break;
      case Event::object_end:
        if (!openObjects.empty()) openObjects.pop_back();
        break;
      case Event::key:
        if (!openObjects.empty() && !openObjects.back().insert(parsed.get<std::string>()).second) {
          duplicate = true;
        }
        break;
      default:
        break;
    }
    return true;
  };
  nlohmann::json value = nlohmann::json::parse(text.begin(), text.end(), callback, false);
  if (value.is_discarded()) throw WebCVImportError(WebCVImportErrorCode::invalid, "not JSON");
  if (duplicate) throw WebCVImportError(WebCVImportErrorCode::invalid, "a key appears twice");
  return value;
}

}  // namespace

std::string readWebCVFile(FileSystem& files, const std::string& path) {
  std::uint64_t size = 0;
  std::unique_ptr<FileReader> reader;
  try {
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
  nlohmann::json envelope = parseRefusingDuplicateKeys(text);
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
