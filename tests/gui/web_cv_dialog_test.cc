// A web CV brought in from the window: exactly the groups chosen are
// replaced, a file with nothing new says so, and a field being typed in
// must be finished first.
#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTreeWidget>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "gui/desktop_fixture.h"
#include "gui/details_page.h"
#include "gui/web_cv_dialog.h"
#include "gui/words.h"

namespace quorvane {
namespace {

using testing::DesktopTest;

class WebCvDialogTest : public DesktopTest {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    ArtistDetails details;
    details.firstName = "Old";
    details.lastName = "Name";
    store->setDetails(details);
    CVData cv;
    cv.press = {{{"title", "An old review"}}};
    store->setCV(cv);
    settleAll();
    std::ifstream in(QUORVANE_DOCS_DIR "/web-cv-example.json");
    std::ofstream(file) << in.rdbuf();
  }
  // The dialog with its plan: it opens saying the file is being read.
  QPointer<gui::WebCvDialog> openPlan(const std::string& path) {
    QPointer<gui::WebCvDialog> dialog = window->importWebCv(QString::fromStdString(path));
    if (!dialog) return dialog;
    EXPECT_TRUE(dialog->isLoading());
    EXPECT_FALSE(dialog->importButton()->isEnabled());
    settleAll();
    return dialog;
  }
  // Opens the plan, makes the choice and confirms; whether it was applied.
  bool importChoosing(WebCVImportChoice identity, WebCVImportChoice cv) {
    QPointer<gui::WebCvDialog> dialog = openPlan(file);
    if (!dialog) return false;
    dialog->choose(WebCVImportGroup::identity, identity);
    dialog->choose(WebCVImportGroup::cv, cv);
    dialog->confirm();
    EXPECT_TRUE(dialog->isApplying());
    pump();
    return dialog.isNull() || dialog->result() == QDialog::Accepted;
  }
  const std::string file = dir.file("cv-session.json");
};

TEST_F(WebCvDialogTest, ExactlyTheChosenGroupsAreReplaced) {
  ASSERT_TRUE(importChoosing(WebCVImportChoice::replace, WebCVImportChoice::keep));
  EXPECT_EQ(store->state().snapshot.details.lastName, "Marchetti");
  ASSERT_EQ(store->state().snapshot.cv.press.size(), 1u);
  EXPECT_EQ(store->state().snapshot.cv.press[0].at("title"), "An old review");
  EXPECT_TRUE(store->state().snapshot.cv.soloExhibitions.empty());

  ASSERT_TRUE(importChoosing(WebCVImportChoice::keep, WebCVImportChoice::replace));
  EXPECT_EQ(store->state().snapshot.details.lastName, "Marchetti");
  EXPECT_FALSE(store->state().snapshot.cv.soloExhibitions.empty());
  settleAll();
  EXPECT_NE(sql("SELECT json FROM text_assets WHERE type = 'cv'").find("Salt Lines"),
            std::string::npos)
      << "in the library, not only on screen";

  // Nothing new in the file: it says so and offers nothing to import.
  QPointer<gui::WebCvDialog> again = openPlan(file);
  ASSERT_TRUE(again);
  EXPECT_FALSE(again->importButton()->isVisibleTo(again));
  const QString upToDate = gui::Words(*store)("cv.import.identical");
  bool said = false;
  for (const QLabel* label : again->findChildren<QLabel*>()) said |= label->text() == upToDate;
  EXPECT_TRUE(said);
  again->reject();
}

// What the file says is shown beside what the project holds and what the
// import would keep, so a value the import refuses is seen as it stands.
TEST_F(WebCvDialogTest, TheFilesOwnValueIsShownBesideNowAndAfterImport) {
  nlohmann::json envelope = nlohmann::json::parse(std::ifstream(file));
  envelope["details"]["birthYear"] = "nineteen-eighty";
  const std::string odd = dir.file("odd.json");
  std::ofstream(odd) << envelope.dump();
  QPointer<gui::WebCvDialog> dialog = openPlan(odd);
  ASSERT_TRUE(dialog);
  ASSERT_FALSE(dialog->isLoading());
  const auto* identity = dialog->findChild<QTreeWidget*>("webCvIdentity");
  ASSERT_NE(identity, nullptr);
  const gui::Words words(*store);
  ASSERT_EQ(identity->columnCount(), 4);
  EXPECT_EQ(identity->headerItem()->text(2), words("cv.import.source"));
  bool seen = false;
  for (int row = 0; row < identity->topLevelItemCount(); ++row) {
    const QTreeWidgetItem* item = identity->topLevelItem(row);
    if (item->text(2) != "nineteen-eighty") continue;
    seen = true;
    EXPECT_EQ(item->text(3), words("cv.import.empty")) << "refused: the import keeps no year";
  }
  EXPECT_TRUE(seen);
  bool promised = false;
  for (const QLabel* label : dialog->findChildren<QLabel*>()) {
    promised |= label->text().contains(words("cv.import.projectsPreserved"));
  }
  EXPECT_TRUE(promised) << "other projects' CVs are said to be kept";
  dialog->reject();

  // A file that can't be taken closes the dialog; the toast says why.
  std::ofstream(odd) << "{}";
  QPointer<gui::WebCvDialog> refused = window->importWebCv(QString::fromStdString(odd));
  settleAll();
  EXPECT_TRUE(refused.isNull() || !refused->isVisible());
  EXPECT_EQ(store->state().lastErrorMessage, words("cv.import.error.invalid").toStdString());
}

TEST_F(WebCvDialogTest, AFieldBeingTypedInMustBeFinishedFirst) {
  window->showProjectTab(gui::ProjectTab::details);
  pump();
  QString told;
  window->tell = [&](const QString& message) { told = message; };
  window->details().field("city") ? window->details().field("city")->setFocus()
                                  : window->details().field("currentCity")->setFocus();
  EXPECT_EQ(window->importWebCv(QString::fromStdString(file)), nullptr);
  EXPECT_EQ(told, gui::Words(*store)("cv.import.finishEditing"));
  EXPECT_EQ(store->state().snapshot.details.lastName, "Name");
}

}  // namespace
}  // namespace quorvane
