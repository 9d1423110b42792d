#include "packages/package_format.h"

#include <cmath>
#include <ctime>

#include "model/bounded_json.h"
#include "model/record_json.h"
#include "packages/transfer_error.h"

namespace quorvane::package {
namespace {

// 2001-01-01T00:00:00Z in seconds since 1970.
constexpr double kSince1970To2001 = 978307200.0;

[[noreturn]] void bad(const std::string& what) { throw PackageDecodingError(what); }

const nlohmann::json& member(const nlohmann::json& object, const char* key) {
  const auto it = object.find(key);
  if (it == object.end()) bad(std::string("missing key \"") + key + "\"");
  return *it;
}

const nlohmann::json& requireObject(const nlohmann::json& json, const char* what) {
  if (!json.is_object()) bad(std::string(what) + " is not an object");
  return json;
}

std::string text(const nlohmann::json& object, const char* key) {
  const nlohmann::json& value = member(object, key);
  if (!value.is_string()) bad(std::string("\"") + key + "\" is not a string");
  return value.get<std::string>();
}

std::optional<std::string> optionalText(const nlohmann::json& object, const char* key) {
  const auto it = object.find(key);
  if (it == object.end() || it->is_null()) return std::nullopt;
  if (!it->is_string()) bad(std::string("\"") + key + "\" is not a string");
  return it->get<std::string>();
}

std::int64_t integer(const nlohmann::json& value, const char* key) {
  if (!value.is_number_integer()) bad(std::string("\"") + key + "\" is not an integer");
  return value.get<std::int64_t>();
}

std::int64_t integer(const nlohmann::json& object, const char* key, bool) {
  return integer(member(object, key), key);
}

std::optional<std::int64_t> optionalInteger(const nlohmann::json& object, const char* key) {
  const auto it = object.find(key);
  if (it == object.end() || it->is_null()) return std::nullopt;
  return integer(*it, key);
}

bool boolean(const nlohmann::json& object, const char* key) {
  const nlohmann::json& value = member(object, key);
  if (!value.is_boolean()) bad(std::string("\"") + key + "\" is not a boolean");
  return value.get<bool>();
}

double number(const nlohmann::json& value, const char* key) {
  if (!value.is_number()) bad(std::string("\"") + key + "\" is not a number");
  const double result = value.get<double>();
  if (!std::isfinite(result)) bad(std::string("\"") + key + "\" is not a finite number");
  return result;
}

// Milliseconds since 1970, within what a date can be stored as.
std::optional<Date> optionalMs(const nlohmann::json& object, const char* key) {
  const std::optional<std::int64_t> ms = optionalInteger(object, key);
  if (!ms) return std::nullopt;
  constexpr std::int64_t kLimit = std::int64_t{1} << 62;
  if (*ms > kLimit || *ms < -kLimit) bad(std::string("\"") + key + "\" is out of range");
  return dateFromMilliseconds(*ms);
}

// Seconds since 2001, as the manifest's dates are.
std::optional<Date> optionalDate(const nlohmann::json& object, const char* key) {
  const auto it = object.find(key);
  if (it == object.end() || it->is_null()) return std::nullopt;
  const double seconds = number(*it, key);
  if (std::abs(seconds) > 4.0e15) bad(std::string("\"") + key + "\" is out of range");
  return dateFromSecondsSince2001(seconds);
}

Date requiredDate(const nlohmann::json& object, const char* key) {
  member(object, key);
  return *optionalDate(object, key);
}

void putOptional(nlohmann::json& object, const char* key, const std::optional<std::string>& v) {
  if (v) object[key] = *v;
}

void putMs(nlohmann::json& object, const char* key, const std::optional<Date>& date) {
  if (date) object[key] = millisecondsSince1970(*date);
}

void putDate(nlohmann::json& object, const char* key, const std::optional<Date>& date) {
  if (date) object[key] = secondsSince2001(*date);
}

template <typename Enum>
std::string enumText(const nlohmann::json& object, const char* key) {
  std::string value = text(object, key);
  if (!fromRawValue<Enum>(value)) bad(std::string("\"") + key + "\" has no known value");
  return value;
}

nlohmann::json documentJson(const Document& d) {
  return {{"id", d.id},
          {"projectId", d.projectId},
          {"type", rawValue(d.type)},
          {"title", d.title},
          {"orientation", rawValue(d.orientation)},
          {"createdAt", secondsSince2001(d.createdAt)},
          {"updatedAt", secondsSince2001(d.updatedAt)}};
}

Document documentFrom(const nlohmann::json& json) {
  requireObject(json, "a document");
  Document d;
  d.id = text(json, "id");
  d.projectId = text(json, "projectId");
  d.type = *fromRawValue<DocumentType>(enumText<DocumentType>(json, "type"));
  d.title = text(json, "title");
  d.orientation =
      *fromRawValue<DocumentOrientation>(enumText<DocumentOrientation>(json, "orientation"));
  d.createdAt = requiredDate(json, "createdAt");
  d.updatedAt = requiredDate(json, "updatedAt");
  return d;
}

nlohmann::json linkJson(const DocumentArtworkLink& l) {
  return {{"id", l.id},
          {"documentId", l.documentId},
          {"artworkId", l.artworkId},
          {"position", l.position}};
}

DocumentArtworkLink linkFrom(const nlohmann::json& json) {
  requireObject(json, "a document link");
  return {text(json, "id"), text(json, "documentId"), text(json, "artworkId"),
          integer(json, "position", true)};
}

nlohmann::json reminderJson(const BackupReminderState& r) {
  nlohmann::json json{{"changesSinceLastExport", r.changesSinceLastExport},
                      {"strongReminderShown", r.strongReminderShown},
                      {"remindersEnabled", r.remindersEnabled},
                      {"frequency", rawValue(r.frequency)},
                      {"remindBeforeLargeEdits", r.remindBeforeLargeEdits},
                      {"sessionSignificantChanges", r.sessionSignificantChanges}};
  putMs(json, "lastExportAtMs", r.lastExportAt);
  putMs(json, "lastReminderAtMs", r.lastReminderAt);
  putMs(json, "dismissedUntilMs", r.dismissedUntil);
  return json;
}

BackupReminderState reminderFrom(const nlohmann::json& json) {
  requireObject(json, "backupReminder");
  BackupReminderState r;
  r.lastExportAt = optionalMs(json, "lastExportAtMs");
  r.changesSinceLastExport = integer(json, "changesSinceLastExport", true);
  r.lastReminderAt = optionalMs(json, "lastReminderAtMs");
  r.dismissedUntil = optionalMs(json, "dismissedUntilMs");
  r.strongReminderShown = boolean(json, "strongReminderShown");
  r.remindersEnabled = boolean(json, "remindersEnabled");
  // An unknown frequency (a later version's) reads as balanced.
  r.frequency = fromRawValue<BackupReminderFrequency>(text(json, "frequency"))
                    .value_or(BackupReminderFrequency::balanced);
  r.remindBeforeLargeEdits = boolean(json, "remindBeforeLargeEdits");
  r.sessionSignificantChanges = integer(json, "sessionSignificantChanges", true);
  return r;
}

struct TimesKey {
  const char* created;
  const char* updated;
  std::optional<Date> ProjectData::*createdAt;
  std::optional<Date> ProjectData::*updatedAt;
};

constexpr TimesKey kTimes[] = {
    {"detailsCreatedAtMs", "detailsUpdatedAtMs", &ProjectData::detailsCreatedAt,
     &ProjectData::detailsUpdatedAt},
    {"cvCreatedAtMs", "cvUpdatedAtMs", &ProjectData::cvCreatedAt, &ProjectData::cvUpdatedAt},
    {"statementCreatedAtMs", "statementUpdatedAtMs", &ProjectData::statementCreatedAt,
     &ProjectData::statementUpdatedAt},
    {"projectStatementCreatedAtMs", "projectStatementUpdatedAtMs",
     &ProjectData::projectStatementCreatedAt, &ProjectData::projectStatementUpdatedAt},
    {"biographyCreatedAtMs", "biographyUpdatedAtMs", &ProjectData::biographyCreatedAt,
     &ProjectData::biographyUpdatedAt},
    {"artworksCreatedAtMs", "artworksUpdatedAtMs", &ProjectData::artworksCreatedAt,
     &ProjectData::artworksUpdatedAt},
};

using DatePair =
    std::pair<std::optional<Date> ProjectData::*, std::optional<Date> StudioSnapshot::*>;

constexpr DatePair kSectionTimes[] = {
    {&ProjectData::detailsCreatedAt, &StudioSnapshot::detailsCreatedAt},
    {&ProjectData::detailsUpdatedAt, &StudioSnapshot::detailsUpdatedAt},
    {&ProjectData::cvCreatedAt, &StudioSnapshot::cvCreatedAt},
    {&ProjectData::cvUpdatedAt, &StudioSnapshot::cvUpdatedAt},
    {&ProjectData::statementCreatedAt, &StudioSnapshot::statementCreatedAt},
    {&ProjectData::statementUpdatedAt, &StudioSnapshot::statementUpdatedAt},
    {&ProjectData::projectStatementCreatedAt, &StudioSnapshot::projectStatementCreatedAt},
    {&ProjectData::projectStatementUpdatedAt, &StudioSnapshot::projectStatementUpdatedAt},
    {&ProjectData::biographyCreatedAt, &StudioSnapshot::biographyCreatedAt},
    {&ProjectData::biographyUpdatedAt, &StudioSnapshot::biographyUpdatedAt},
    {&ProjectData::artworksCreatedAt, &StudioSnapshot::artworksCreatedAt},
    {&ProjectData::artworksUpdatedAt, &StudioSnapshot::artworksUpdatedAt},
};

}  // namespace

void copySectionTimes(const StudioSnapshot& from, ProjectData& to) {
  for (const auto& [data, snapshot] : kSectionTimes) to.*data = from.*snapshot;
}

void copySectionTimes(const ProjectData& from, StudioSnapshot& to) {
  for (const auto& [data, snapshot] : kSectionTimes) to.*snapshot = from.*data;
}

std::string originalMediaPath(const std::string& artworkId) {
  return std::string(kOriginalsFolder) + artworkId + ".jpg";
}

double secondsSince2001(Date date) { return date.time_since_epoch().count() - kSince1970To2001; }

Date dateFromSecondsSince2001(double seconds) {
  return dateFromSeconds(seconds + kSince1970To2001);
}

std::string iso8601(Date date) {
  const auto seconds = static_cast<std::time_t>(std::floor(date.time_since_epoch().count()));
  std::tm utc{};
  ::gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

std::string encode(const nlohmann::json& json) {
  // nlohmann's objects keep their keys sorted: the dump is in key order.
  return json.dump(2, ' ', false, nlohmann::json::error_handler_t::strict) + "\n";
}

nlohmann::json parse(std::string_view text) {
  std::optional<nlohmann::json> json = parseBoundedJson(text);
  if (!json) bad("not JSON (or nested too deeply)");
  return std::move(*json);
}

nlohmann::json toJson(const Manifest& m) {
  nlohmann::json project{{"id", m.project.id},
                         {"kind", m.project.kind},
                         {"projectName", m.project.projectName},
                         {"projectTitle", m.project.projectTitle},
                         {"projectYear", m.project.projectYear},
                         {"locale", m.project.locale},
                         {"unit", m.project.unit}};
  putOptional(project, "catalogueKind", m.project.catalogueKind);
  putOptional(project, "currency", m.project.currency);
  putDate(project, "createdAt", m.project.createdAt);
  putDate(project, "updatedAt", m.project.updatedAt);
  return {{"format", m.format},
          {"formatVersion", m.formatVersion},
          {"exportedAt", m.exportedAt},
          {"app", {{"name", m.app.name}, {"edition", m.app.edition}, {"platform", m.app.platform}}},
          {"project", std::move(project)},
          {"counts",
           {{"artworks", m.counts.artworks},
            {"media", m.counts.media},
            {"textBlocks", m.counts.textBlocks}}}};
}

Manifest manifestFromJson(const nlohmann::json& json) {
  requireObject(json, "the manifest");
  Manifest m;
  m.format = text(json, "format");
  m.formatVersion = integer(json, "formatVersion", true);
  m.exportedAt = text(json, "exportedAt");
  const nlohmann::json& app = requireObject(member(json, "app"), "app");
  m.app = {text(app, "name"), text(app, "edition"), text(app, "platform")};
  const nlohmann::json& p = requireObject(member(json, "project"), "project");
  m.project.id = text(p, "id");
  m.project.kind = text(p, "kind");
  m.project.catalogueKind = optionalText(p, "catalogueKind");
  m.project.projectName = text(p, "projectName");
  m.project.projectTitle = text(p, "projectTitle");
  m.project.projectYear = text(p, "projectYear");
  m.project.locale = text(p, "locale");
  m.project.unit = text(p, "unit");
  m.project.currency = optionalText(p, "currency");
  m.project.createdAt = optionalDate(p, "createdAt");
  m.project.updatedAt = optionalDate(p, "updatedAt");
  const nlohmann::json& c = requireObject(member(json, "counts"), "counts");
  m.counts = {integer(c, "artworks", true), integer(c, "media", true),
              integer(c, "textBlocks", true)};
  return m;
}

nlohmann::json toJson(const ProjectData& d) {
  nlohmann::json documents = nlohmann::json::array();
  for (const Document& document : d.documents) documents.push_back(documentJson(document));
  nlohmann::json links = nlohmann::json::array();
  for (const DocumentArtworkLink& link : d.documentArtworkLinks) links.push_back(linkJson(link));
  nlohmann::json json{{"details", artistDetailsToJson(d.details)},
                      {"cv", cvDataToJson(d.cv)},
                      {"cvTitle", d.cvTitle},
                      {"statement", d.statement},
                      {"statementTitle", d.statementTitle},
                      {"projectStatement", d.projectStatement},
                      {"projectStatementTitle", d.projectStatementTitle},
                      {"biography", d.biography},
                      {"biographyTitle", d.biographyTitle},
                      {"unit", d.unit},
                      {"projectOrientation", d.projectOrientation},
                      {"layoutMode", d.layoutMode},
                      {"documents", std::move(documents)},
                      {"documentArtworkLinks", std::move(links)}};
  for (const TimesKey& times : kTimes) {
    putMs(json, times.created, d.*times.createdAt);
    putMs(json, times.updated, d.*times.updatedAt);
  }
  putMs(json, "lastProjectDataExportAtMs", d.lastProjectDataExportAt);
  putMs(json, "lastProjectDataImportAtMs", d.lastProjectDataImportAt);
  if (d.backupReminder) json["backupReminder"] = reminderJson(*d.backupReminder);
  return json;
}

ProjectData projectDataFromJson(const nlohmann::json& json) {
  requireObject(json, "the project data");
  ProjectData d;
  const std::optional<ArtistDetails> details = artistDetailsFromJson(member(json, "details"));
  if (!details) bad("\"details\" is not artist details");
  d.details = *details;
  const std::optional<CVData> cv = cvDataFromJson(member(json, "cv"));
  if (!cv) bad("\"cv\" is not a CV");
  d.cv = *cv;
  d.cvTitle = text(json, "cvTitle");
  d.statement = text(json, "statement");
  d.statementTitle = text(json, "statementTitle");
  d.projectStatement = text(json, "projectStatement");
  d.projectStatementTitle = text(json, "projectStatementTitle");
  d.biography = text(json, "biography");
  d.biographyTitle = text(json, "biographyTitle");
  d.unit = enumText<UnitSystem>(json, "unit");
  d.projectOrientation = enumText<DocumentOrientation>(json, "projectOrientation");
  d.layoutMode = enumText<ArtworkLayoutMode>(json, "layoutMode");
  const nlohmann::json& documents = member(json, "documents");
  if (!documents.is_array()) bad("\"documents\" is not an array");
  for (const nlohmann::json& document : documents) d.documents.push_back(documentFrom(document));
  const nlohmann::json& links = member(json, "documentArtworkLinks");
  if (!links.is_array()) bad("\"documentArtworkLinks\" is not an array");
  for (const nlohmann::json& link : links) d.documentArtworkLinks.push_back(linkFrom(link));
  for (const TimesKey& times : kTimes) {
    d.*times.createdAt = optionalMs(json, times.created);
    d.*times.updatedAt = optionalMs(json, times.updated);
  }
  d.lastProjectDataExportAt = optionalMs(json, "lastProjectDataExportAtMs");
  d.lastProjectDataImportAt = optionalMs(json, "lastProjectDataImportAtMs");
  if (const auto it = json.find("backupReminder"); it != json.end() && !it->is_null()) {
    d.backupReminder = reminderFrom(*it);
  }
  return d;
}

nlohmann::json toJson(const ArtworkEntry& entry) {
  nlohmann::json json = artworkToJson(entry.artwork);
  putOptional(json, "originalMediaFile", entry.originalMediaFile);
  return json;
}

ArtworkEntry artworkEntryFromJson(const nlohmann::json& json) {
  requireObject(json, "an artwork");
  ArtworkEntry entry;
  Artwork& a = entry.artwork;
  a.id = text(json, "id");
  a.title = text(json, "title");
  a.medium = text(json, "medium");
  a.year = text(json, "year");
  a.artworkWidth = text(json, "artworkWidth");
  a.artworkHeight = text(json, "artworkHeight");
  a.artworkDepth = text(json, "artworkDepth");
  a.artworkText = text(json, "artworkText");
  a.mimeType = text(json, "mimeType");
  a.imageByteSize = optionalInteger(json, "imageByteSize");
  a.originalByteSize = optionalInteger(json, "originalByteSize");
  a.width = optionalInteger(json, "width");
  a.height = optionalInteger(json, "height");
  if (const auto it = json.find("aspect"); it != json.end() && !it->is_null()) {
    a.aspect = number(*it, "aspect");
  }
  a.sizeWarning = text(json, "sizeWarning");
  a.sizeWarningDismissed = boolean(json, "sizeWarningDismissed");
  a.nearLimit = boolean(json, "nearLimit");
  a.sortIndex = integer(json, "sortIndex", true);
  // A status this version does not know (a later one's) is left out.
  if (const std::optional<std::string> status = optionalText(json, "status")) {
    a.status = fromRawValue<ArtworkStatus>(*status);
  }
  a.priceCents = optionalInteger(json, "priceCents");
  a.priceCurrency = optionalText(json, "priceCurrency");
  entry.originalMediaFile = optionalText(json, "originalMediaFile");
  return entry;
}

nlohmann::json toJson(const ProjectArtworkLink& link) {
  return {{"projectId", link.projectId}, {"artworkId", link.artworkId}, {"order", link.order}};
}

ProjectArtworkLink projectArtworkLinkFromJson(const nlohmann::json& json) {
  requireObject(json, "a project artwork");
  return {text(json, "projectId"), text(json, "artworkId"), integer(json, "order", true)};
}

nlohmann::json toJson(const LabelOverrideEntry& entry) {
  return {
      {"scope", entry.scope}, {"locale", entry.locale}, {"key", entry.key}, {"value", entry.value}};
}

LabelOverrideEntry labelOverrideFromJson(const nlohmann::json& json) {
  requireObject(json, "a label override");
  return {text(json, "scope"), text(json, "locale"), text(json, "key"), text(json, "value")};
}

}  // namespace quorvane::package
