#include "packages/package_format.h"

#include <gtest/gtest.h>

#include "packages/safe_identifier.h"
#include "packages/transfer_error.h"

namespace quorvane::package {
namespace {

TEST(SafeIdentifierTest, OnlyWhatIsHarmlessAsAFileNameAndARowPasses) {
  for (const std::string& id : std::vector<std::string>{
           "a:b-c_d.e", "9", "ÉtudeNo1", "Ω", std::string(128, 'x'), std::string("0AB9-CDEF")}) {
    EXPECT_TRUE(isSafeIdentifier(id)) << id;
  }
  for (const std::string& id : std::vector<std::string>{
           "", ".", "..", "-abc", ".hidden", "a/b", "a b", "a\\b", "a\nb", std::string(129, 'x'),
           std::string("a\0b", 3), std::string("\xff\xfe"), std::string("caf\xc3")}) {
    EXPECT_FALSE(isSafeIdentifier(id)) << id;
  }
  // 128 characters, not bytes: "é" is two bytes.
  std::string accented;
  for (int i = 0; i < 128; ++i) accented += "é";
  EXPECT_TRUE(isSafeIdentifier(accented));
  EXPECT_FALSE(isSafeIdentifier(accented + "é"));
}

TEST(PackageFormatTest, EveryShapeReadsBackWhatWasWrittenWithKeysSortedAndOptionalsLeftOut) {
  Manifest manifest;
  manifest.exportedAt = "2025-03-01T09:30:00Z";
  manifest.project = {"p1",        "catalogue", "price", "Spring", "Spring works",
                      "2026",      "fr",        "in",    "EUR",    dateFromSeconds(1'700'000'000.5),
                      std::nullopt};
  manifest.counts = {2, 1, 7};
  const std::string text = encode(toJson(manifest));
  EXPECT_EQ(manifestFromJson(parse(text)), manifest);
  EXPECT_LT(text.find("\"app\""), text.find("\"counts\"")) << "keys in order";
  EXPECT_EQ(text.find("updatedAt"), std::string::npos) << "absent, not null";
  EXPECT_NE(text.find("\"createdAt\": 721692800.5"), std::string::npos) << "seconds since 2001";

  ProjectData data;
  data.cv.education = {{{"majorDegree", "MFA"}}};
  data.biography = "Née à Lyon.";
  data.documents.push_back(Document{});
  data.documents[0].id = "d1";
  data.documents[0].createdAt = data.documents[0].updatedAt = dateFromSeconds(1'700'000'000);
  data.documentArtworkLinks = {{"l1", "d1", "a1", 0}};
  data.cvUpdatedAt = dateFromMilliseconds(1'700'000'000'123);
  data.backupReminder = BackupReminderState{};
  data.backupReminder->frequency = BackupReminderFrequency::frequent;
  EXPECT_EQ(projectDataFromJson(parse(encode(toJson(data)))), data);

  ArtworkEntry entry;
  entry.artwork.id = "a1";
  entry.artwork.status = ArtworkStatus::sold;
  entry.artwork.priceCents = 120050;
  entry.artwork.aspect = 1.5;
  entry.originalMediaFile = originalMediaPath("a1");
  EXPECT_EQ(artworkEntryFromJson(parse(encode(toJson(entry)))), entry);
  EXPECT_EQ(*entry.originalMediaFile, "media/original/a1.jpg");

  const ProjectArtworkLink link{"p1", "a1", 3};
  EXPECT_EQ(projectArtworkLinkFromJson(toJson(link)), link);
  const LabelOverrideEntry label{"cv", "de", "pdf.cv.section.education", "Studium"};
  EXPECT_EQ(labelOverrideFromJson(toJson(label)), label);
}

TEST(PackageFormatTest, WrongShapesAreDecodingErrorsAndLaterVersionsValuesReadLeniently) {
  Manifest manifest;
  nlohmann::json json = toJson(manifest);
  json["counts"]["artworks"] = "2";
  EXPECT_THROW(manifestFromJson(json), PackageDecodingError);
  json = toJson(manifest);
  json.erase("project");
  EXPECT_THROW(manifestFromJson(json), PackageDecodingError);
  EXPECT_THROW(manifestFromJson(nlohmann::json::array()), PackageDecodingError);
  EXPECT_THROW(parse("{\"format\": "), PackageDecodingError);
  EXPECT_THROW(parse(std::string(100000, '[') + std::string(100000, ']')), PackageDecodingError)
      << "nesting is bounded while parsing";

  nlohmann::json reminder = toJson(ProjectData{});
  reminder["backupReminder"] = {
      {"changesSinceLastExport", 3},     {"strongReminderShown", false},
      {"remindersEnabled", true},        {"frequency", "hourly"},
      {"remindBeforeLargeEdits", false}, {"sessionSignificantChanges", 0}};
  EXPECT_EQ(projectDataFromJson(reminder).backupReminder->frequency,
            BackupReminderFrequency::balanced)
      << "an unknown frequency reads as balanced";
  nlohmann::json farDate = toJson(ProjectData{});
  farDate["cvCreatedAtMs"] = std::numeric_limits<std::int64_t>::max();
  EXPECT_THROW(projectDataFromJson(farDate), PackageDecodingError) << "no date a save can't store";
  nlohmann::json artwork = toJson(ArtworkEntry{});
  artwork["status"] = "lent";
  EXPECT_EQ(artworkEntryFromJson(artwork).artwork.status, std::nullopt);
}

}  // namespace
}  // namespace quorvane::package
