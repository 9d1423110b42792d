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

  // A project gone from the lists no longer counts.
  ASSERT_TRUE(openProject(store, littoral));
  ASSERT_TRUE(store.deleteProject());
  ASSERT_TRUE(openProject(store, tides));
  EXPECT_EQ(sharedWith(TextAssetType::bio), Names{"Spring fair"});
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

}  // namespace
}  // namespace quorvane
