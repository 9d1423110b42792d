#include "platform/preferences.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/paths.h"
#include "support/fakes.h"
#include "support/scoped_variable.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

std::string contentOf(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

class PreferencesTest : public ::testing::Test {
 protected:
  testing::TempDir dir;
  std::string path = dir.file("config/Quorvane/preferences.json");
  testing::FaultyFileSystem files;
  testing::RecordingLogger logger;
  testing::ManualClock clock;
};

TEST_F(PreferencesTest, ValuesSurviveARestartInAReadableFile) {
  {
    Preferences preferences(path, files, logger, clock);
    preferences.setString(preference_key::kCurrentProjectId, "p1");
    preferences.setBoolean(preference_key::kExportIncludeCV, false);
    preferences.setInteger(preference_key::kCompletePortfolioExportCount, 3);
    preferences.setStrings(preference_key::kPendingFinalizationArtworkIds, {"a1", "a2"});
    preferences.setDate(preference_key::kLastExportAt, dateFromMilliseconds(1'700'000'000'123));
    preferences.setJson(preference_key::kBackupReminderState, {{"dismissedCount", 2}});
    preferences.setString(preference_key::kUiLanguage, "fr");
    preferences.remove(preference_key::kUiLanguage);
  }
  const Preferences reloaded(path, files, logger, clock);
  EXPECT_EQ(reloaded.string(preference_key::kCurrentProjectId), "p1");
  EXPECT_EQ(reloaded.boolean(preference_key::kExportIncludeCV), false);
  EXPECT_EQ(reloaded.integer(preference_key::kCompletePortfolioExportCount), 3);
  EXPECT_EQ(reloaded.strings(preference_key::kPendingFinalizationArtworkIds),
            (std::vector<std::string>{"a1", "a2"}));
  EXPECT_EQ(reloaded.date(preference_key::kLastExportAt), dateFromMilliseconds(1'700'000'000'123));
  EXPECT_EQ(reloaded.json(preference_key::kBackupReminderState),
            (nlohmann::json{{"dismissedCount", 2}}));
  EXPECT_EQ(reloaded.string(preference_key::kUiLanguage), std::nullopt);

  // A value of another type than asked for is absent, not an error; so is a
  // number too large to hold.
  EXPECT_EQ(reloaded.boolean(preference_key::kCurrentProjectId), std::nullopt);
  EXPECT_EQ(reloaded.strings(preference_key::kBackupReminderState), std::nullopt);
  Preferences edited(path, files, logger, clock);
  edited.setJson(preference_key::kCompletePortfolioExportCount, 18446744073709551615u);
  EXPECT_EQ(edited.integer(preference_key::kCompletePortfolioExportCount), std::nullopt);

  const std::string text = contentOf(path);
  EXPECT_NE(text.find("\n  \"quorvane.export.includeCV\": false"), std::string::npos) << text;
}

TEST_F(PreferencesTest, AFileThatIsNotAnObjectIsSetAsideAndDefaultsApply) {
  for (const char* damaged : {"{\"quorvane.uiLanguage\": \"fr\"", "[1, 2]", ""}) {
    SCOPED_TRACE(damaged);
    std::filesystem::remove_all(dir.path() / "config");
    std::filesystem::create_directories(dir.path() / "config/Quorvane");
    std::ofstream(path) << damaged;
    clock.advanceMs(1);

    Preferences preferences(path, files, logger, clock);
    EXPECT_EQ(preferences.string(preference_key::kUiLanguage), std::nullopt);
    const std::string aside = path + ".unreadable-" + std::to_string(clock.nowMs());
    EXPECT_EQ(contentOf(aside), damaged) << "the damaged file is kept as it was";

    preferences.setString(preference_key::kUiLanguage, "de");
    EXPECT_EQ(Preferences(path, files, logger, clock).string(preference_key::kUiLanguage), "de");
  }
}

TEST_F(PreferencesTest, AFailedWriteIsReportedAndTheValueKeptForTheRun) {
  Preferences preferences(path, files, logger, clock);
  files.failAt("write", 1);
  EXPECT_FALSE(preferences.setString(preference_key::kThemeMode, "dark"));
  EXPECT_EQ(preferences.string(preference_key::kThemeMode), "dark");
  EXPECT_EQ(preferences.writeFailureCount(), 1);
  EXPECT_EQ(preferences.lastWriteFailure(), "write " + path + ": Input/output error");
  EXPECT_TRUE(preferences.setString(preference_key::kThemeMode, "light"));
}

TEST_F(PreferencesTest, AChangeThatCouldNotBeWrittenGoesWithTheNextOneAndNoChangeWritesNothing) {
  Preferences preferences(path, files, logger, clock);
  EXPECT_TRUE(preferences.setString(preference_key::kThemeMode, "light"));
  const int writes = files.calls("write");
  EXPECT_TRUE(preferences.setString(preference_key::kThemeMode, "light"));
  EXPECT_TRUE(preferences.remove(preference_key::kUiLanguage));
  EXPECT_EQ(files.calls("write"), writes) << "setting what is set writes nothing";

  files.failAt("write", 1);
  EXPECT_FALSE(preferences.setString(preference_key::kThemeMode, "dark"));
  EXPECT_TRUE(preferences.setString(preference_key::kUiLanguage, "it"));
  const Preferences reloaded(path, files, logger, clock);
  EXPECT_EQ(reloaded.string(preference_key::kThemeMode), "dark") << "not lost, only late";
  EXPECT_EQ(reloaded.string(preference_key::kUiLanguage), "it");
}

TEST_F(PreferencesTest, AFileThatCannotBeReadJustNowIsNeitherSetAsideNorWrittenOver) {
  std::filesystem::create_directories(dir.path() / "config/Quorvane");
  std::ofstream(path) << "{\"quorvane.uiLanguage\": \"fr\"}";
  files.failAt("read", 1);  // a disk error, too many open files…
  Preferences preferences(path, files, logger, clock);
  EXPECT_EQ(files.calls("move"), 0) << "an error of the moment is no damaged file";
  EXPECT_FALSE(preferences.setString(preference_key::kThemeMode, "dark"));
  EXPECT_EQ(contentOf(path), "{\"quorvane.uiLanguage\": \"fr\"}");
}

TEST_F(PreferencesTest, TwoRunsThatChangeDifferentSettingsKeepBoth) {
  // Both read the file before either wrote: the later write must not undo
  // the earlier one with what it read at its start.
  Preferences first(path, files, logger, clock);
  Preferences second(path, files, logger, clock);
  EXPECT_TRUE(first.setString(preference_key::kUiLanguage, "fr"));
  EXPECT_TRUE(second.apply(Preferences::Changes()
                               .set(preference_key::kThemeMode, "dark")
                               .remove(preference_key::kExportLocale)));
  const Preferences reloaded(path, files, logger, clock);
  EXPECT_EQ(reloaded.string(preference_key::kUiLanguage), "fr");
  EXPECT_EQ(reloaded.string(preference_key::kThemeMode), "dark");
}

TEST_F(PreferencesTest, PreferencesOpenedForReadingNeverWrite) {
  std::filesystem::create_directories(dir.path() / "config/Quorvane");
  std::ofstream(path) << "{\"quorvane.uiLanguage\": \"it\"";  // damaged
  Preferences reading(path, files, logger, clock, Preferences::Access::read);
  EXPECT_TRUE(reading.setString(preference_key::kThemeMode, "dark"));
  EXPECT_EQ(reading.string(preference_key::kThemeMode), "dark") << "for this run";
  EXPECT_EQ(files.calls("write"), 0);
  EXPECT_EQ(files.calls("move"), 0) << "a damaged file is set aside by a run that writes";
  EXPECT_EQ(contentOf(path), "{\"quorvane.uiLanguage\": \"it\"");
}

TEST_F(PreferencesTest, HostileFilesAreSetAsideInBoundedTimeAndMemory) {
  std::filesystem::create_directories(dir.path() / "config/Quorvane");
  const auto expectSetAside = [&](const std::string& content) {
    std::ofstream(path) << content;
    clock.advanceMs(1);
    Preferences preferences(path, files, logger, clock);
    EXPECT_EQ(preferences.string(preference_key::kUiLanguage), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(std::filesystem::exists(path + ".unreadable-" + std::to_string(clock.nowMs())));
  };
  // Deep enough to take seconds and gigabytes, and to end the program,
  // were it parsed.
  expectSetAside(std::string(200'000, '[') + std::string(200'000, ']'));
  expectSetAside("{\"a\": " + std::string(65, '[') + std::string(65, ']') + "}");
  const int readsBefore = files.calls("read");
  expectSetAside("{\"quorvane.uiLanguage\": \"" + std::string(2 << 20, 'x') + "\"}");
  EXPECT_EQ(files.calls("read"), readsBefore) << "a file far too large is not even read";

  // Brackets inside strings are text, not nesting.
  std::ofstream(path) << "{\"quorvane.uiLanguage\": \"" + std::string(1000, '[') + "\"}";
  EXPECT_EQ(Preferences(path, files, logger, clock).string(preference_key::kUiLanguage),
            std::string(1000, '['));
}

using testing::ScopedVariable;

TEST(PathsTest, FollowTheXdgDirectoriesAndIgnoreEmptyOnes) {
  const ScopedVariable home("HOME", "/home/ada");
  {
    const ScopedVariable data("XDG_DATA_HOME", "/data");
    const ScopedVariable config("XDG_CONFIG_HOME", "/config");
    const ScopedVariable temporary("TMPDIR", "/scratch");
    EXPECT_EQ(applicationSupportDirectory(), "/data");
    EXPECT_EQ(preferencesFilePath(), "/config/Quorvane/preferences.json");
    EXPECT_EQ(temporaryDirectory(), "/scratch");
  }
  const ScopedVariable data("XDG_DATA_HOME", "");
  const ScopedVariable config("XDG_CONFIG_HOME", nullptr);
  const ScopedVariable temporary("TMPDIR", "");
  EXPECT_EQ(applicationSupportDirectory(), "/home/ada/.local/share");
  EXPECT_EQ(preferencesDirectory(), "/home/ada/.config/Quorvane");
  EXPECT_EQ(temporaryDirectory(), "/tmp");
}

}  // namespace
}  // namespace quorvane
