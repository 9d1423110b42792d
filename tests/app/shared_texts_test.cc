// Texts shared between projects: one text that every project using it sees
// and names, and a copy of its own that a project can take at any time.
#include <gtest/gtest.h>

#include "app/app_store_fixture.h"
#include "app/waiting_commands.h"

namespace quorvane {
namespace {

using testing::named;

class SharedTextsTest : public testing::AppStoreTest {
 protected:
  // The asset of `type` that project `name` offers for reuse.
  std::string offeredBy(const std::string& name, TextAssetType type) {
    if (type == TextAssetType::cv) {
      for (const ReusableCVAsset& asset : store->reusableCVs()) {
        if (asset.sourceProjectName == name) return asset.id;
      }
    } else {
      for (const ReusableTextAsset& asset : store->reusableTexts(type)) {
        if (asset.sourceProjectName == name) return asset.id;
      }
    }
    ADD_FAILURE() << "no " << rawValue(type) << " of " << name << " to reuse";
    return {};
  }
  std::vector<std::string> sharedWith(TextAssetType type) const {
    std::vector<std::string> names;
    const auto found = store->state().sharedTexts.find(type);
    if (found != store->state().sharedTexts.end()) {
      for (const ProjectRef& project : found->second) names.push_back(project.name);
    }
    return names;
  }
  using Names = std::vector<std::string>;
};

TEST_F(SharedTextsTest, AReusedTextIsOneTextThatEveryProjectUsingItSeesAndNames) {
  AppStore& store = open();
  const std::string tides = *store.createProject(named("Tides"));
  store.setText(SaveSection::bio, "Born by the sea.");
  settle();
  EXPECT_EQ(sharedWith(TextAssetType::bio), Names{}) << "its own, as every new project's";

  const std::string littoral = *store.createProject(named("Littoral"));
  ASSERT_TRUE(store.reuseText(TextAssetType::bio, offeredBy("Tides", TextAssetType::bio)));
  EXPECT_EQ(store.state().snapshot.biography, "Born by the sea.");
  EXPECT_EQ(sharedWith(TextAssetType::bio), Names{"Tides"});
  store.setText(SaveSection::bio, "Born by the sea in 1980.");
  settle();

  ASSERT_TRUE(openProject(store, tides));
  EXPECT_EQ(store.state().snapshot.biography, "Born by the sea in 1980.") << "one text";
  EXPECT_EQ(sharedWith(TextAssetType::bio), Names{"Littoral"});
  EXPECT_EQ(sharedWith(TextAssetType::statement), Names{}) << "only what was reused";

  store.createProject(named("Spring fair"));
  ASSERT_TRUE(store.reuseText(TextAssetType::bio, offeredBy("Tides", TextAssetType::bio)));
  EXPECT_EQ(sharedWith(TextAssetType::bio), (Names{"Littoral", "Tides"}));

  // A duplicate's texts are its own: it shares nothing, and says so.
  ASSERT_TRUE(store.duplicateProject());
  EXPECT_EQ(sharedWith(TextAssetType::bio), Names{});
  ASSERT_TRUE(store.state().errorToast);
  EXPECT_NE(store.state().errorToast->text.find("copies of its own"), std::string::npos);
  settle();
  store.setText(SaveSection::bio, "Only in the copy.");
  settle();
  ASSERT_TRUE(openProject(store, tides));
  EXPECT_EQ(store.state().snapshot.biography, "Born by the sea in 1980.");

  // A project gone from the lists no longer counts.
  ASSERT_TRUE(openProject(store, littoral));
  ASSERT_TRUE(store.deleteProject());
  ASSERT_TRUE(openProject(store, tides));
  EXPECT_EQ(sharedWith(TextAssetType::bio), Names{"Spring fair"});
}

// Asked to, a new project starts with the library's most recently edited
// biography, statement and CV, each shared with where it comes from.
TEST_F(SharedTextsTest, ANewProjectCanStartWithTheLatestTextsShared) {
  AppStore& store = open();
  ProjectChanges shared = named("Empty library");
  shared.shareLatestTexts = true;
  store.createProject(shared);
  EXPECT_TRUE(store.state().sharedTexts.empty()) << "nothing to share yet";
  EXPECT_FALSE(store.state().errorToast);

  store.createProject(named("Tides"));
  store.setText(SaveSection::bio, "Born by the sea.");
  store.setText(SaveSection::statement, "I paint the tide.");
  settle();
  main.advanceBy(std::chrono::seconds(1));
  store.createProject(named("Littoral"));
  store.setText(SaveSection::statement, "I paint the shore.");  // the newer statement
  CVData cv;
  cv.residencies.push_back({{"period", "2023"}, {"name", "Cité des arts"}});
  store.setCV(cv);
  settle();

  shared.name = "Spring fair";
  store.createProject(shared);
  const StudioSnapshot& snapshot = store.state().snapshot;
  EXPECT_EQ(snapshot.biography, "Born by the sea.");
  EXPECT_EQ(snapshot.statement, "I paint the shore.");
  EXPECT_EQ(snapshot.cv, cv);
  EXPECT_EQ(snapshot.projectStatement, "") << "a project's own statement is never shared";
  EXPECT_EQ(sharedWith(TextAssetType::bio), Names{"Tides"});
  EXPECT_EQ(sharedWith(TextAssetType::statement), Names{"Littoral"});
  EXPECT_EQ(sharedWith(TextAssetType::cv), Names{"Littoral"});
  ASSERT_TRUE(store.state().errorToast);
  EXPECT_NE(store.state().errorToast->text.find(
                "Tides, Littoral (Biography, Artist statement, Curriculum vitae)"),
            std::string::npos)
      << store.state().errorToast->text;
  // The notice offers to take copies instead, all at once.
  EXPECT_EQ(store.state().errorToast->action, ToastAction::copySharedTexts);
  ASSERT_TRUE(store.copySharedTexts());
  EXPECT_TRUE(store.state().sharedTexts.empty());
  EXPECT_EQ(snapshot.biography, "Born by the sea.");
  EXPECT_EQ(snapshot.cv, cv);

  store.createProject(named("Own texts"));
  EXPECT_TRUE(store.state().sharedTexts.empty());
  EXPECT_EQ(store.state().snapshot.biography, "");
}

TEST_F(SharedTextsTest, ACopyOfItsOwnTakesAProjectOutOfTheSharingAndAnUndoPutsItBack) {
  AppStore& store = open();
  const std::string tides = *store.createProject(named("Tides"));
  store.setText(SaveSection::statement, "I paint the tide.", "On tides");
  CVData cv;
  cv.education.push_back({{"year", "2004"}, {"institution", "Fine Arts"}});
  store.setCV(cv);
  settle();
  const std::string littoral = *store.createProject(named("Littoral"));
  ASSERT_TRUE(
      store.reuseText(TextAssetType::statement, offeredBy("Tides", TextAssetType::statement)));
  ASSERT_TRUE(store.reuseText(TextAssetType::cv, offeredBy("Tides", TextAssetType::cv)));
  EXPECT_EQ(store.state().snapshot.cv, cv);

  ASSERT_TRUE(store.copyText(TextAssetType::statement));
  ASSERT_TRUE(store.copyText(TextAssetType::cv));
  EXPECT_EQ(sharedWith(TextAssetType::statement), Names{});
  EXPECT_EQ(sharedWith(TextAssetType::cv), Names{});
  EXPECT_EQ(store.state().snapshot.statement, "I paint the tide.") << "the copy holds the text";
  EXPECT_EQ(store.state().snapshot.statementTitle, "On tides");
  EXPECT_EQ(store.state().snapshot.cv, cv);
  store.setText(SaveSection::statement, "I paint the shore.");
  CVData longer = cv;
  longer.education.push_back({{"year", "2006"}, {"institution", "Printmaking"}});
  store.setCV(longer);
  settle();

  ASSERT_TRUE(openProject(store, tides));
  EXPECT_EQ(store.state().snapshot.statement, "I paint the tide.") << "the others keep theirs";
  EXPECT_EQ(store.state().snapshot.cv, cv);
  EXPECT_EQ(sharedWith(TextAssetType::cv), Names{});

  // Taking back the copy (the CV's, the latest step): Littoral uses Tides's
  // CV again, as it was before the copy.
  ASSERT_TRUE(openProject(store, littoral));
  ASSERT_TRUE(store.undo());  // the CV edit
  ASSERT_TRUE(store.undo());  // the statement edit
  ASSERT_TRUE(store.undo());  // the CV's copy
  EXPECT_EQ(sharedWith(TextAssetType::cv), Names{"Tides"});
  EXPECT_EQ(store.state().snapshot.cv, cv);
  EXPECT_TRUE(store.copyText(TextAssetType::bio)) << "a text of its own: nothing to do";
}

TEST_F(SharedTextsTest, AnEditOfTheDetailsCanReachTheProjectsThatHadTheSameDetails) {
  AppStore& store = open();
  auto leftBehind = [&] {
    Names names;
    for (const ProjectRef& project : store.state().detailsLeftBehind) names.push_back(project.name);
    return names;
  };
  ArtistDetails other;
  other.firstName = "Someone";
  other.lastName = "Else";
  const std::string elsewhere = *store.createProject(named("Someone else's"));
  store.setDetails(other);
  settle();
  main.advanceBy(std::chrono::seconds(1));
  ArtistDetails ana;
  ana.firstName = "Ana";
  ana.lastName = "Sol";
  ana.email = "ana@old.example";
  const std::string tides = *store.createProject(named("Tides"));
  store.setDetails(ana);
  settle();
  main.advanceBy(std::chrono::seconds(1));

  // A new project takes the latest details: Tides had the same.
  store.createProject(named("Littoral"));
  EXPECT_EQ(store.state().snapshot.details, ana);
  EXPECT_EQ(leftBehind(), Names{}) << "nothing differs yet";
  ArtistDetails moved = ana;
  moved.email = "ana@new.example";
  store.setDetails(moved);
  EXPECT_EQ(leftBehind(), Names{"Tides"});
  store.setDetails(ana);
  EXPECT_EQ(leftBehind(), Names{}) << "back as they were: nothing left behind";
  store.setDetails(moved);
  ASSERT_TRUE(store.applyDetailsToOtherProjects());
  EXPECT_EQ(leftBehind(), Names{});
  ASSERT_TRUE(store.state().errorToast);
  EXPECT_NE(store.state().errorToast->text.find("Tides"), std::string::npos);
  // Twins again: a further edit offers to reach Tides once more.
  ArtistDetails phoned = moved;
  phoned.phone = "+33 1 23 45 67 89";
  store.setDetails(phoned);
  EXPECT_EQ(leftBehind(), Names{"Tides"});
  settle();

  ASSERT_TRUE(openProject(store, tides));
  EXPECT_EQ(store.state().snapshot.details, moved);
  ASSERT_TRUE(openProject(store, elsewhere));
  EXPECT_EQ(store.state().snapshot.details, other) << "a project with other details is untouched";
}

}  // namespace
}  // namespace quorvane
