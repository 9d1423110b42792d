// The CV and the artist's details as they are written in the window: an
// entry added in the editor is in the CV the store prints, the buttons of
// an entry act on that entry, and the name the documents print is shown
// as the choice of name is made.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <nlohmann/json.hpp>

#include "app/waiting_commands.h"
#include "cli/cli_run.h"
#include "cv/cv_sections.h"
#include "gui/cv_page.h"
#include "gui/desktop_fixture.h"
#include "gui/details_page.h"
#include "gui/guided_entry.h"
#include "gui/sharing_bar.h"
#include "gui/words.h"
#include "pdf/pdf_reader.h"

namespace quorvane {
namespace {

using testing::DesktopTest;

class CvPageTest : public DesktopTest {
 protected:
  gui::CvPage& page() { return window->cv(); }
  void type(QLineEdit* field, const char* text) {
    ASSERT_NE(field, nullptr);
    field->setFocus();
    QTest::keyClicks(field, text);
  }
  std::string printedCV() {
    const auto result =
        store->renderPDF({RenderKind::cv, std::nullopt}, store->state().exportOptions);
    if (!result) return "";
    std::string text;
    for (const auto& page : testing::readPdf(result->data)) text += page.text;
    return text;
  }
};

TEST_F(CvPageTest, AnEntryAddedInTheEditorIsPrintedInTheCV) {
  window->showProjectTab(gui::ProjectTab::cv);
  pump();
  QTest::mouseClick(page().addButton(CVSectionKey::soloExhibitions), Qt::LeftButton);
  pump();
  ASSERT_EQ(store->state().snapshot.cv.soloExhibitions.size(), 1u);
  // The new entry's first field has the keys.
  EXPECT_TRUE(page().field(CVSectionKey::soloExhibitions, 0, "year")->hasFocus());
  type(page().field(CVSectionKey::soloExhibitions, 0, "year"), "2025");
  type(page().field(CVSectionKey::soloExhibitions, 0, "title"), "Low Tide");
  type(page().field(CVSectionKey::soloExhibitions, 0, "venue"), "Galerie Nord");
  main.runUntilIdle();
  EXPECT_EQ(store->state().snapshot.cv.soloExhibitions[0],
            (CVEntry{{"year", "2025"}, {"title", "Low Tide"}, {"venue", "Galerie Nord"}}));
  settleAll();
  const std::string printed = printedCV();
  EXPECT_NE(printed.find("Low Tide"), std::string::npos) << printed;
  EXPECT_NE(printed.find("Galerie Nord"), std::string::npos) << printed;
}

// One word per field everywhere: what the editor labels a field, and the
// example it shows, is what `quorvane cv-sections` lists for that section.
TEST_F(CvPageTest, TheEditorShowsTheWordsThatCvSectionsLists) {
  CVData cv;
  for (const CVSectionConfig& section : cvSectionConfigs()) {
    cvEntries(cv, section.id).push_back(CVEntry{});
  }
  store->setCV(cv);
  for (const std::string language : {"en", "fr"}) {
    store->setUiLanguage(language);
    window->showProjectTab(gui::ProjectTab::cv);
    pump();
    const testing::CliRun listed =
        testing::runCommandLine({"--json", "--lang", language, "cv-sections"});
    ASSERT_EQ(listed.code, 0) << listed.err;
    for (const nlohmann::json& section : nlohmann::json::parse(listed.out)) {
      const CVSectionKey key = *fromRawValue<CVSectionKey>(section["key"].get<std::string>());
      for (const nlohmann::json& field : section["fields"]) {
        const std::string id = field["id"];
        const QLineEdit* edit = page().field(key, 0, id);
        ASSERT_NE(edit, nullptr) << id;
        EXPECT_EQ(edit->accessibleName().toStdString(), field["label"]) << language << " " << id;
        EXPECT_EQ(edit->placeholderText().toStdString(), field["placeholder"])
            << language << " " << section["key"] << " " << id;
      }
    }
  }
}

TEST_F(CvPageTest, AnEntrysButtonsMoveAndRemoveThatEntry) {
  CVData cv;
  for (const char* name : {"Villa A", "Villa B", "Villa C"}) {
    cv.residencies.push_back({{"name", name}});
  }
  store->setCV(cv);
  window->showProjectTab(gui::ProjectTab::cv);
  pump();
  ASSERT_NE(page().field(CVSectionKey::residencies, 2, "name"), nullptr);
  EXPECT_EQ(page().field(CVSectionKey::residencies, 2, "name")->text(), QStringLiteral("Villa C"));

  page().moveEntry(CVSectionKey::residencies, 2, -1);
  pump();
  const auto names = [&] {
    std::vector<std::string> out;
    for (const CVEntry& entry : store->state().snapshot.cv.residencies)
      out.push_back(entry.at("name"));
    return out;
  };
  EXPECT_EQ(names(), (std::vector<std::string>{"Villa A", "Villa C", "Villa B"}));
  EXPECT_EQ(page().field(CVSectionKey::residencies, 1, "name")->text(), QStringLiteral("Villa C"));
  // An entry that holds words goes only when the user agrees: a stray
  // Delete on its buttons, or Space on its ✕, asks and keeps it.
  confirmAnswer = false;
  QWidget* entryButton = page().findChildren<QToolButton*>(QStringLiteral("entryButton")).front();
  entryButton->setFocus();
  QTest::keyClick(entryButton, Qt::Key_Delete);
  EXPECT_EQ(asked.size(), 1u);
  EXPECT_EQ(names().size(), 3u);
  confirmAnswer = true;
  page().removeEntry(CVSectionKey::residencies, 0);
  pump();
  EXPECT_EQ(names(), (std::vector<std::string>{"Villa C", "Villa B"}));
  // An empty entry goes at once: nothing is lost.
  page().addEntry(CVSectionKey::residencies);
  page().removeEntry(CVSectionKey::residencies, 2);
  EXPECT_EQ(asked.size(), 2u);
  EXPECT_EQ(names().size(), 2u);
  EXPECT_EQ(page().field(CVSectionKey::residencies, 2, "name"), nullptr);
  EXPECT_EQ(page().field(CVSectionKey::residencies, 0, "name")->text(), QStringLiteral("Villa C"));
  // A change from elsewhere (an import) is shown.
  cv = store->state().snapshot.cv;
  cv.residencies.push_back({{"name", "Villa D"}});
  store->setCV(cv);
  pump();
  EXPECT_EQ(page().field(CVSectionKey::residencies, 2, "name")->text(), QStringLiteral("Villa D"));
}

TEST_F(CvPageTest, TheGuidedEntryAsksOnlyTheChosenSectionsAndItsEntriesPrint) {
  gui::GuidedEntryDialog guide(*store);
  guide.show();
  QApplication::setActiveWindow(&guide);
  EXPECT_EQ(guide.step(), 0);
  type(guide.details().field("firstName"), "Maren");
  guide.next();
  ASSERT_EQ(guide.step(), 1);
  for (const CVSectionConfig& config : cvSectionConfigs()) {
    guide.sectionSwitch(config.id)->setChecked(config.id == CVSectionKey::residencies ||
                                               config.id == CVSectionKey::press);
  }
  guide.next();
  EXPECT_EQ(guide.stepCount(), 4);  // details, choice, the two sections
  ASSERT_EQ(guide.section(), CVSectionKey::residencies);
  EXPECT_TRUE(guide.entryField("period")->hasFocus());  // the first field of the section
  type(guide.entryField("name"), "Villa Lena");
  guide.entryField("period")->setText("2021–2022");  // (keys typed are ASCII in tests)
  // Enter adds the entry and stays on the section, ready for the next.
  QTest::keyClick(guide.entryField("name"), Qt::Key_Return);
  EXPECT_EQ(guide.section(), CVSectionKey::residencies);
  ASSERT_EQ(store->state().snapshot.cv.residencies.size(), 1u);
  EXPECT_TRUE(guide.entryField("name")->text().isEmpty());  // ready for the next
  EXPECT_FALSE(guide.addEntry());                           // nothing typed: nothing added
  guide.entryField("name")->setText("Cité des Arts");
  guide.next();  // typed and not added: going on keeps it
  ASSERT_EQ(guide.section(), CVSectionKey::press);
  guide.back();
  EXPECT_EQ(guide.section(), CVSectionKey::residencies);
  guide.next();
  // Escape with a half-typed entry asks; Cancel keeps the dialog and the words.
  bool askedToDiscard = false;
  guide.ask = [&](const QString&, const QString&) {
    askedToDiscard = true;
    return false;
  };
  guide.entryField("title")->setText("Le Monde");
  guide.reject();
  EXPECT_TRUE(askedToDiscard);
  EXPECT_TRUE(guide.isVisible());
  EXPECT_EQ(guide.entryField("title")->text(), QStringLiteral("Le Monde"));
  guide.entryField("title")->clear();
  guide.next();  // the last step: finished
  EXPECT_EQ(guide.result(), QDialog::Accepted);

  EXPECT_EQ(store->state().snapshot.details.firstName, "Maren");
  ASSERT_EQ(store->state().snapshot.cv.residencies.size(), 2u);
  EXPECT_EQ(store->state().snapshot.cv.residencies[1], (CVEntry{{"name", "Cité des Arts"}}));
  EXPECT_TRUE(store->state().snapshot.cv.press.empty());
  settleAll();
  const std::string printed = printedCV();
  EXPECT_NE(printed.find("Villa Lena"), std::string::npos) << printed;
  EXPECT_NE(printed.find("Cité des Arts"), std::string::npos) << printed;
}

// A second project takes the first one's CV from the CV tab: shared (an
// entry added in one is in the other) or as a copy of its own.
TEST_F(CvPageTest, AnotherProjectsCvIsTakenSharedOrAsACopyOfItsOwn) {
  CVData cv;
  cv.education.push_back({{"year", "2004"}, {"institution", "Fine Arts"}});
  store->setCV(cv);
  settleAll();
  const std::string first = store->state().project.projectName;
  ProjectChanges changes;
  changes.name = "Second";
  ASSERT_TRUE(store->createProject(changes));
  pump();
  window->showProjectTab(gui::ProjectTab::cv);
  EXPECT_FALSE(page().sharingBar()->isVisibleTo(window.get()));
  const auto cvs = store->reusableCVs();
  ASSERT_EQ(cvs.size(), 1u);

  page().reuseCv(cvs[0].id, false);
  pump();
  EXPECT_EQ(store->state().snapshot.cv, cv);
  ASSERT_TRUE(page().sharingBar()->isVisibleTo(window.get()));
  EXPECT_NE(page().sharingBar()->line()->text().indexOf(gui::qstr(first)), -1);
  QTest::mouseClick(page().addButton(CVSectionKey::education), Qt::LeftButton);
  pump();
  ASSERT_EQ(store->state().snapshot.cv.education.size(), 2u);
  type(page().field(CVSectionKey::education, 1, "institution"), "Printmaking");
  settleAll();
  EXPECT_NE(printedCV().find("Printmaking"), std::string::npos);
  EXPECT_EQ(store->reusableCVs().at(0).cv.education.size(), 2u) << "one CV for both";

  // A third project starts from a copy: its entries are its own.
  changes.name = "Third";
  ASSERT_TRUE(store->createProject(changes));
  pump();
  page().reuseCv(cvs[0].id, true);
  pump();
  EXPECT_FALSE(page().sharingBar()->isVisibleTo(window.get()));
  EXPECT_EQ(store->state().snapshot.cv.education.size(), 2u);
  QTest::mouseClick(page().addButton(CVSectionKey::education), Qt::LeftButton);
  pump();
  type(page().field(CVSectionKey::education, 2, "institution"), "Residency");
  settleAll();
  for (const ReusableCVAsset& other : store->reusableCVs()) {
    if (other.id == cvs[0].id) {
      EXPECT_EQ(other.cv.education.size(), 2u) << "the shared one";
    }
  }
}

TEST_F(DesktopTest, TheDetailsShowTheNameTheDocumentsPrintAsTheChoiceIsMade) {
  window->showProjectTab(gui::ProjectTab::details);
  pump();
  gui::DetailsPage& page = window->details();
  const auto typeInto = [&](const char* id, const char* text) {
    QLineEdit* field = page.field(id);
    ASSERT_NE(field, nullptr) << id;
    field->setFocus();
    QTest::keyClicks(field, text);
  };
  typeInto("firstName", "Maren");
  typeInto("lastName", "Aalto");
  typeInto("artistName", "M.A.");
  main.runUntilIdle();
  EXPECT_EQ(store->state().snapshot.details.firstName, "Maren");
  EXPECT_NE(page.printedNameLabel()->text().indexOf(QStringLiteral("Maren Aalto")), -1)
      << page.printedNameLabel()->text().toStdString();

  page.nameDisplayChooser()->setCurrentIndex(1);
  emit page.nameDisplayChooser()->activated(1);
  EXPECT_EQ(store->state().snapshot.details.nameDisplayMode, "artist");
  EXPECT_NE(page.printedNameLabel()->text().indexOf(QStringLiteral("M.A.")), -1)
      << page.printedNameLabel()->text().toStdString();
  settleAll();
  EXPECT_EQ(store->exportName(RenderKind::cv, "en").rfind("m-a-cv-", 0), 0u)
      << store->exportName(RenderKind::cv, "en");
}

// The details a new project took from the last one drift apart only if the
// artist wants: an edit offers to reach the project that had the same.
TEST_F(DesktopTest, AnEditOfTheDetailsOffersToReachTheProjectThatHadTheSame) {
  ArtistDetails details;
  details.firstName = "Maren";
  details.email = "maren@old.example";
  store->setDetails(details);
  settleAll();
  const std::string first = store->state().project.id;
  window->newProject();
  pump();
  window->showProjectTab(gui::ProjectTab::details);
  pump();
  gui::DetailsPage& page = window->details();
  EXPECT_FALSE(page.leftBehindBar()->isVisibleTo(window.get()));
  QLineEdit* email = page.field("email");
  email->setFocus();
  email->selectAll();
  QTest::keyClicks(email, "maren@new.example");
  pump();
  ASSERT_TRUE(page.leftBehindBar()->isVisibleTo(window.get()));
  QTest::mouseClick(page.applyToOthersButton(), Qt::LeftButton);
  pump();
  EXPECT_FALSE(page.leftBehindBar()->isVisibleTo(window.get()));
  settleAll();
  ASSERT_TRUE(openProject(*store, first));
  EXPECT_EQ(store->state().snapshot.details.email, "maren@new.example");
}

}  // namespace
}  // namespace quorvane
