#include "model/record_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace quorvane {
namespace {

ArtistDetails sampleDetails() {
  ArtistDetails details;
  details.firstName = "Zoë";
  details.lastName = "Müller";
  details.artistName = "ZM";
  details.nameDisplayMode = "artist";
  details.address = "Rue des Arts 3";
  details.zipcode = "75003";
  details.currentCity = "Paris";
  details.country = "France";
  details.website = "https://zoe.example";
  details.email = "zoe@example.org";
  details.phone = "+33 1 23 45 67 89";
  details.birthYear = "1988";
  details.birthPlace = "Zürich";
  details.birthCountry = "Switzerland";
  return details;
}

CVData sampleCV() {
  CVData cv;
  cv.education = {{{"year", "2012"}, {"majorDegree", "MFA"}, {"institution", "HEAD"}}};
  cv.soloExhibitions = {{{"year", "2024"}, {"title", "Salt"}}, {{"year", "2021"}}};
  cv.representationEntries = {{{"galleryName", "Galerie Nord"}}};
  return cv;
}

TEST(ArtistDetailsJsonTest, RoundTripsEveryField) {
  const ArtistDetails details = sampleDetails();
  EXPECT_EQ(decodeArtistDetails(encodeArtistDetails(details)), details);
}

// Written out by hand: the stored key names are a contract with every
// database and package already written, not whatever the encoder emits.
TEST(ArtistDetailsJsonTest, ReadsTheFourteenStoredKeys) {
  const std::string stored = R"({
    "firstName": "Zoë", "lastName": "Müller", "artistName": "ZM", "nameDisplayMode": "artist",
    "address": "Rue des Arts 3", "zipcode": "75003", "currentCity": "Paris",
    "country": "France", "website": "https://zoe.example", "email": "zoe@example.org",
    "phone": "+33 1 23 45 67 89", "birthYear": "1988", "birthPlace": "Zürich",
    "birthCountry": "Switzerland"})";
  EXPECT_EQ(decodeArtistDetails(stored), sampleDetails());
}

TEST(ArtistDetailsJsonTest, AnythingThatDoesNotDecodeGivesTheLegalDefault) {
  nlohmann::json missingKey = artistDetailsToJson(sampleDetails());
  missingKey.erase("birthCountry");
  nlohmann::json numberValue = artistDetailsToJson(sampleDetails());
  numberValue["birthYear"] = 1988;
  nlohmann::json nullValue = artistDetailsToJson(sampleDetails());
  nullValue["phone"] = nullptr;

  for (const std::string& stored :
       {std::string("not json"), std::string(""), std::string("{}"), std::string("[]"),
        std::string("\"text\""), std::string("{\"firstName\":\"Zo"), missingKey.dump(),
        numberValue.dump(), nullValue.dump()}) {
    const ArtistDetails decoded = decodeArtistDetails(stored);
    EXPECT_EQ(decoded, ArtistDetails{}) << stored;
    EXPECT_EQ(decoded.nameDisplayMode, "legal") << stored;
  }
}

TEST(ArtistDetailsJsonTest, UnknownKeysAreIgnored) {
  nlohmann::json json = artistDetailsToJson(sampleDetails());
  json["pronouns"] = "she/her";
  EXPECT_EQ(decodeArtistDetails(json.dump()), sampleDetails());
}

TEST(CVDataJsonTest, RoundTripsEntriesInOrder) {
  const CVData cv = sampleCV();
  EXPECT_EQ(decodeCVData(encodeCVData(cv)), cv);
}

TEST(CVDataJsonTest, ReadsTheTwelveStoredSectionNames) {
  const std::string stored = R"({
    "education": [{"year": "2012", "majorDegree": "MFA", "institution": "HEAD"}],
    "soloExhibitions": [{"year": "2024", "title": "Salt"}, {"year": "2021"}],
    "groupExhibitions": [], "artFairs": [], "commissions": [], "workExperiences": [],
    "collections": [], "grantsAwards": [], "residencies": [], "press": [],
    "bibliography": [], "representationEntries": [{"galleryName": "Galerie Nord"}]})";
  EXPECT_EQ(decodeCVData(stored), sampleCV());
}

TEST(CVDataJsonTest, TheFreshAssetsEmptyObjectAndOtherMisshapesGiveTheEmptyCV) {
  nlohmann::json missingSection = cvDataToJson(sampleCV());
  missingSection.erase("representationEntries");
  nlohmann::json sectionNotArray = cvDataToJson(sampleCV());
  sectionNotArray["press"] = nlohmann::json::object();
  nlohmann::json entryNotObject = cvDataToJson(sampleCV());
  entryNotObject["press"] = {"a headline"};
  nlohmann::json valueNotText = cvDataToJson(sampleCV());
  valueNotText["education"][0]["year"] = 2012;

  for (const std::string& stored :
       {std::string("{}"), std::string("null"), std::string("{\"education\":"),
        missingSection.dump(), sectionNotArray.dump(), entryNotObject.dump(),
        valueNotText.dump()}) {
    EXPECT_EQ(decodeCVData(stored), CVData{}) << stored;
  }
}

TEST(RecordJsonTest, DeeplyNestedInputIsRejectedWithoutCrashing) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  EXPECT_EQ(decodeArtistDetails(deep), ArtistDetails{});
  EXPECT_EQ(decodeCVData("{\"education\":[" + deep + "]}"), CVData{});
}

TEST(RecordJsonTest, EncodingInvalidUtf8NeverThrows) {
  ArtistDetails details;
  details.firstName = "Zo\xeb";  // Latin-1 bytes that slipped into a database
  std::string encoded;
  ASSERT_NO_THROW(encoded = encodeArtistDetails(details));
  EXPECT_EQ(decodeArtistDetails(encoded).firstName, "Zo\ufffd");
}

}  // namespace
}  // namespace quorvane
