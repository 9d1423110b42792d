// Reading a generator's export: what is refused whole, and the issue each
// kind of departure from the format raises.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "app/web_cv_import.h"
#include "pdf/localization.h"
#include "support/fakes.h"
#include "support/temp_dir.h"
#include "webcv/web_cv_errors.h"
#include "webcv/web_cv_file.h"
#include "webcv/web_cv_source.h"

namespace quorvane {
namespace {

using Code = WebCVImportIssueCode;

std::string exampleText() {
  std::ifstream file(QUORVANE_DOCS_DIR "/web-cv-example.json");
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

nlohmann::json minimalEnvelope() {
  return {{"kind", "quorvane.cv-session"},
          {"schemaVersion", 1},
          {"details", nlohmann::json::object()},
          {"cv", nlohmann::json::object()}};
}

std::optional<WebCVImportErrorCode> refusal(std::string_view text) {
  try {
    parseWebCVEnvelope(text);
    return std::nullopt;
  } catch (const WebCVImportError& error) {
    return error.code();
  }
}

WebCVImportPlan planOf(const nlohmann::json& envelope, const ArtistDetails& details = {},
                       const CVData& cv = {}) {
  return planWebCVText(envelope.dump(), details, cv, false, "en");
}

std::vector<std::pair<Code, std::string>> issuesOf(const WebCVImportPlan& plan) {
  std::vector<std::pair<Code, std::string>> issues;
  for (const WebCVImportIssue& issue : plan.issues) issues.emplace_back(issue.code, issue.where);
  return issues;
}

// What reading `path` is refused as; nothing when it is read.
std::optional<WebCVImportErrorCode> readRefusal(FileSystem& files, const std::string& path) {
  try {
    readWebCVFile(files, path);
    return std::nullopt;
  } catch (const WebCVImportError& error) {
    return error.code();
  }
}

TEST(WebCVFile, AFileOverTenMebibytesIsRefusedBeforeAByteIsRead) {
  testing::TempDir dir;
  const std::string path = dir.file("cv.json");
  std::ofstream(path) << minimalEnvelope().dump();
  std::filesystem::resize_file(path, kWebCVMaximumFileBytes + 1);
  testing::FaultyFileSystem files;
  EXPECT_EQ(readRefusal(files, path), WebCVImportErrorCode::size);
  EXPECT_EQ(files.calls("open"), 0) << "refused on its size alone";

  testing::FakeFileSystem lying;  // says the file is small: it grew after it was measured
  lying.sizes[path] = 100;
  EXPECT_EQ(readRefusal(lying, path), WebCVImportErrorCode::size) << "read past the limit";

  // A FIFO chosen in the window is refused, never waited on.
  const std::string fifo = dir.file("cv.fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(readRefusal(realFileSystem(), fifo), WebCVImportErrorCode::readOrSave);

  std::filesystem::resize_file(path, kWebCVMaximumFileBytes);  // at the limit: read
  EXPECT_EQ(readWebCVFile(files, path).size(), kWebCVMaximumFileBytes);
  for (const char* operation : {"size", "open", "readPiece"}) {
    files.failAt(operation, 1);
    EXPECT_EQ(readRefusal(files, path), WebCVImportErrorCode::readOrSave) << operation;
  }
}

TEST(WebCVFile, TextThatIsNotOneWellFormedEnvelopeIsInvalid) {
  const std::string valid = minimalEnvelope().dump();
  EXPECT_FALSE(refusal(valid).has_value());
  // The minimal envelope with one member set otherwise.
  const auto with = [](const char* member, const nlohmann::json& value) {
    nlohmann::json envelope = minimalEnvelope();
    envelope[member] = value;
    return envelope.dump();
  };
  nlohmann::json noCV = minimalEnvelope();
  noCV.erase("cv");
  const std::vector<std::string> refused = {
      "",
      "[]",
      "{\"kind\": \"quorvane.cv-session\"",
      with("kind", "quorvane.project"),
      with("schemaVersion", 2),
      with("schemaVersion", "1"),
      with("details", nlohmann::json::array()),
      noCV.dump(),
      // The same key twice, at the top and deep inside: one value would vanish.
      R"({"kind":"quorvane.cv-session","schemaVersion":1,"details":{},"cv":{},"cv":{}})",
      R"({"kind":"quorvane.cv-session","schemaVersion":1,"details":{"email":"a","email":"b"},"cv":{}})",
      // Not UTF-8, and a lone surrogate escaped.
      "{\"kind\":\"quorvane.cv-session\",\"schemaVersion\":1,\"details\":{\"firstName\":"
      "\"\xC3\x28\"},"
      "\"cv\":{}}",
      R"({"kind":"quorvane.cv-session","schemaVersion":1,"details":{"firstName":"\ud800"},"cv":{}})",
  };
  for (const std::string& text : refused) {
    EXPECT_EQ(refusal(text), WebCVImportErrorCode::invalid) << text;
  }
}

TEST(WebCVFile, DeepNestingIsRefusedWithoutBuildingAnything) {
  // 100,000 levels: a recursive parser, copy or destructor would exhaust the
  // stack; the depth is bounded in one pass before any value exists.
  const std::string arrays = std::string(100'000, '[') + std::string(100'000, ']');
  EXPECT_EQ(refusal(arrays), WebCVImportErrorCode::invalid);
  std::string inside = minimalEnvelope().dump();
  inside.insert(inside.find("\"cv\":{") + 6, "\"press\":" + arrays);
  EXPECT_EQ(refusal(inside), WebCVImportErrorCode::invalid);
  // Brackets inside strings are text, not nesting.
  nlohmann::json brackets = minimalEnvelope();
  brackets["details"]["address"] = std::string(1000, '[');
  EXPECT_FALSE(refusal(brackets.dump()).has_value());
}

TEST(WebCVSource, TheExampleFileReadsWholeWithOnlyNotesForTheRecord) {
  ArtistDetails current;
  current.zipcode = "00184";
  const WebCVImportPlan plan = planWebCVText(exampleText(), current, {}, false, "en");
  EXPECT_EQ(plan.proposedDetails.firstName, "Zoë");
  EXPECT_EQ(plan.proposedDetails.address, "Via dei Serpenti 12\nInterno 4");
  EXPECT_EQ(plan.proposedDetails.zipcode, "00184") << "the generator has no postal code";
  EXPECT_EQ(plan.proposedCV.soloExhibitions.size(), 2u);
  EXPECT_EQ(plan.proposedCV.soloExhibitions[1].at("venue"), "Kunstverein Ost");
  EXPECT_EQ(plan.proposedCV.representationEntries.size(), 1u);
  EXPECT_EQ(plan.proposedCV.workExperiences[0].count("state"), 0u) << "empty values are not kept";
  EXPECT_EQ(plan.entryCount, 12u);
  EXPECT_EQ(plan.sectionCount, 11u) << "all but the commissions";
  for (const WebCVImportIssue& issue : plan.issues) {
    EXPECT_EQ(issue.severity, WebCVIssueSeverity::info) << rawValue(issue.code);
  }
  const auto issues = issuesOf(plan);
  const std::vector<std::pair<Code, std::string>> expected = {
      {Code::transportNotImported, "exportedAt"},
      {Code::nativeIDsGenerated, "cv"},
      {Code::existingZipcodePreserved, "details.zipcode"},
  };
  EXPECT_EQ(issues, expected);
  EXPECT_EQ(plan.defaults.identity, WebCVImportChoice::keep) << "the project has a postal code";
  EXPECT_EQ(plan.defaults.cv, WebCVImportChoice::replace) << "the project's CV is empty";
}

struct IssueCase {
  nlohmann::json envelopePatch;  // merged into the minimal envelope
  Code code;
  std::string where;
  WebCVIssueSeverity severity;  // as the format's documentation promises
  ArtistDetails current = {};
};

TEST(WebCVSource, EachDepartureFromTheFormatRaisesItsIssue) {
  using J = nlohmann::json;
  ArtistDetails withZipcode;
  withZipcode.zipcode = "75011";
  const std::string letterThenAccent = "e\x01\xCC\x81";  // e, a control character, U+0301
  std::string expanding;  // U+0958 is written decomposed in NFC: one scalar value becomes two
  for (int i = 0; i < 600; ++i) expanding += "\xE0\xA5\x98";
  constexpr auto info = WebCVIssueSeverity::info;
  constexpr auto warning = WebCVIssueSeverity::warning;
  constexpr auto blocking = WebCVIssueSeverity::blocking;
  const std::vector<IssueCase> cases = {
      {{{"sessionId", "abc"}}, Code::transportNotImported, "sessionId", info},
      {{{"portfolio", J::object()}}, Code::unknownEnvelopeBusinessField, "portfolio", warning},
      {{{"details", {{"pronouns", "she/her"}}}},
       Code::unknownBusinessField,
       "details.pronouns",
       warning},
      {{{"cv", {{"press", {{{"title", "A"}, {"pages", "12"}}}}}}},
       Code::unknownBusinessField,
       "cv.press[1].pages",
       warning},
      {{{"cv", {{"talks", J::array()}}}}, Code::unknownBusinessField, "cv.talks", warning},
      {{{"details", {{"firstName", "Ada"}}}},
       Code::existingZipcodePreserved,
       "details.zipcode",
       info,
       withZipcode},
      {{{"details", {{"birthYear", 1987}}}}, Code::expectedString, "details.birthYear", warning},
      {{{"cv", {{"education", {{{"year", J::array({"2010"})}}}}}}},
       Code::expectedString,
       "cv.education[1].year",
       warning},
      {{{"details", {{"firstName", std::string(1001, 'a')}}}},
       Code::textTooLong,
       "details.firstName",
       blocking},
      {{{"cv", {{"press", {{{"title", std::string(10'001, 'a')}}}}}}},
       Code::textTooLong,
       "cv.press[1].title",
       blocking},
      {{{"details", {{"phone", "+33\x1b[2J 1"}}}},
       Code::lossyNormalization,
       "details.phone",
       warning},
      {{{"details", {{"website", "https://a.art\nhttps://b.art"}}}},
       Code::websiteWouldLoseContent,
       "details.website",
       warning},
      {{{"cv", {{"representation", {{{"website", "https://a.art https://b.art"}}}}}}},
       Code::websiteWouldLoseContent,
       "cv.representation[1].website",
       warning},
      {{{"details", {{"birthYear", "87"}}}}, Code::invalidBirthYear, "details.birthYear", warning},
      {{{"details", {{"nameDisplayMode", "pseudonym"}}}},
       Code::invalidNameDisplayMode,
       "details.nameDisplayMode",
       warning},
      {{{"details", {{"lastName", expanding}}}},
       Code::normalizedTextTooLong,
       "details.lastName",
       blocking},
      {{{"details", {{"currentCity", letterThenAccent}}}},
       Code::unstableNormalization,
       "details.currentCity",
       blocking},
      {{{"cv", {{"press", {{{"outlet", letterThenAccent}}}}}}},
       Code::unstableNormalization,
       "cv.press[1].outlet",
       blocking},
      {{{"details", {{"country", "  France "}}}},
       Code::normalizationPreview,
       "details.country",
       info},
      {{{"cv", {{"press", {{{"title", " "}}}}}}},
       Code::normalizationPreview,
       "cv.press[1].title",
       info},
      {{{"cv", {{"collections", {{{"id", 7}, {"collectionName", "MoMA"}}}}}}},
       Code::nativeIDsGenerated,
       "cv",
       info},
  };
  std::set<Code> covered;
  for (const IssueCase& c : cases) {
    SCOPED_TRACE(std::string(rawValue(c.code)) + " at " + c.where);
    nlohmann::json envelope = minimalEnvelope();
    envelope.merge_patch(c.envelopePatch);
    const WebCVImportPlan plan = planOf(envelope, c.current);
    const auto found = std::find_if(plan.issues.begin(), plan.issues.end(), [&](const auto& i) {
      return i.code == c.code && i.where == c.where;
    });
    ASSERT_NE(found, plan.issues.end());
    EXPECT_EQ(found->severity, c.severity);
    const bool inDetails = c.where.starts_with("details");
    const bool inCV = c.where.starts_with("cv");
    EXPECT_EQ(plan.canReplace(WebCVImportGroup::identity), !(c.severity == blocking && inDetails));
    EXPECT_EQ(plan.canReplace(WebCVImportGroup::cv), !(c.severity == blocking && inCV));
    covered.insert(c.code);
  }
  EXPECT_EQ(covered.size(), allCases<Code>().size()) << "every code arises from a file";
}

TEST(WebCVSource, WhatCantBeTakenKeepsTheProjectsValueAndWhatIsMissingIsCleared) {
  ArtistDetails current;
  current.firstName = "Old";
  current.birthYear = "1970";
  current.nameDisplayMode = "artist";
  current.email = "old@example.org";
  nlohmann::json envelope = minimalEnvelope();
  envelope["details"] = {{"firstName", "Ada"},
                         {"birthYear", "about 1980"},
                         {"nameDisplayMode", "Legal"},
                         {"phone", nullptr}};
  const WebCVImportPlan plan = planOf(envelope, current);
  EXPECT_EQ(plan.proposedDetails.firstName, "Ada");
  EXPECT_EQ(plan.proposedDetails.birthYear, "1970") << "an invalid year is not taken";
  EXPECT_EQ(plan.proposedDetails.nameDisplayMode, "legal") << "spelt as the library spells it";
  EXPECT_EQ(plan.proposedDetails.email, "") << "the generator leaves out what is blank";
  EXPECT_TRUE(plan.identityChanges);
  EXPECT_EQ(plan.defaults.identity, WebCVImportChoice::keep);

  // An entry whose values are all blank is not saved (the note is checked
  // with the others).
  envelope["cv"] = {{"press", {{{"title", "  "}}, {{"title", "Kept"}}}}};
  const WebCVImportPlan cv = planOf(envelope, current);
  ASSERT_EQ(cv.proposedCV.press.size(), 1u);
  EXPECT_EQ(cv.proposedCV.press[0].at("title"), "Kept");
  EXPECT_EQ(cv.entryCount, 1u);
}

TEST(WebCVPlan, AFileHoldingWhatTheProjectHoldsIsAlreadyUpToDate) {
  const WebCVImportPlan first = planWebCVText(exampleText(), {}, {}, false, "en");
  const WebCVImportPlan again =
      planWebCVText(exampleText(), first.proposedDetails, first.proposedCV, false, "en");
  EXPECT_TRUE(again.isIdentical());
  EXPECT_EQ(again.defaults, WebCVImportSelection{});
  EXPECT_FALSE(first.isIdentical());
}

TEST(WebCVPlan, PreviewsShowBothSidesInTheInterfaceLanguage) {
  const WebCVImportPlan plan = planWebCVText(exampleText(), {}, {}, true, "fr");
  const auto row = [&](const std::vector<WebCVImportFieldPreview>& rows, const std::string& key) {
    return *std::find_if(rows.begin(), rows.end(), [&](const auto& r) { return r.key == key; });
  };
  EXPECT_EQ(row(plan.identity, "firstName").label, "Prénom");
  EXPECT_EQ(row(plan.identity, "firstName").proposed, "Zoë");
  // The name on documents by its words, never the stored value.
  for (const std::string& value : {row(plan.identity, "nameDisplayMode").current,
                                   row(plan.identity, "nameDisplayMode").proposed}) {
    EXPECT_TRUE(value == uiText("desktop.details.name_display.legal", "fr") ||
                value == uiText("desktop.details.name_display.artist", "fr"))
        << value;
  }
  EXPECT_EQ(row(plan.cv, "soloExhibitions").source, "2 entrées");
  EXPECT_EQ(row(plan.cv, "soloExhibitions").current, "0 entrée");
  EXPECT_EQ(row(plan.cv, "soloExhibitions[2]").label, "Entrée 2");
  EXPECT_EQ(row(plan.cv, "soloExhibitions[2]").proposed,
            "2023 · Low Tide · Kunstverein Ost · Leipzig · Germany");
  EXPECT_EQ(webCVPlanSummary(plan, "fr"), "12 entrées dans 11 rubriques");
  EXPECT_EQ(webCVPreviewText("", "fr"), "(vide)");
}

}  // namespace
}  // namespace quorvane
