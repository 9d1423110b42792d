// The export sheet as an artist uses it: the options they change reach the
// store and redraw the preview beside them, only the latest change being
// drawn; Export writes the file under the name of the export rule.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QPdfDocument>
#include <QRegularExpression>
#include <QSignalSpy>
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "gui/desktop_fixture.h"
#include "gui/export_sheet.h"
#include "gui/labels_dialog.h"
#include "gui/words.h"
#include "model/export_file_names.h"
#include "pdf/localization.h"
#include "pdf/pdf_reader.h"

namespace quorvane {
namespace {

using testing::DesktopTest;

class ExportSheetTest : public DesktopTest {
 protected:
  gui::ExportSheet& sheet() { return window->exportSheet(); }
  void showSheet() {
    window->showProjectTab(gui::ProjectTab::exportSheet);
    pump();
  }
  std::size_t loggedCount(const std::string& prefix) const {
    return static_cast<std::size_t>(
        std::count_if(logger.lines.begin(), logger.lines.end(),
                      [&](const std::string& line) { return line.rfind(prefix, 0) == 0; }));
  }
  static void choose(QComboBox* box, const QString& data) {
    const int index = box->findData(data);
    ASSERT_GE(index, 0) << data.toStdString();
    box->setCurrentIndex(index);
    emit box->activated(index);
  }
  // The preview's first page, in points.
  QSizeF firstPage() { return sheet().previewDocument().pagePointSize(0); }
};

TEST_F(ExportSheetTest, ShowsTheDocumentAsTheStoreRendersItAndItsPageCount) {
  dropImages({writeImage("one.jpg", 500, 400), writeImage("two.jpg", 400, 500)});
  store->setText(SaveSection::bio, "Born by the sea.");
  showSheet();
  EXPECT_EQ(loggedCount("render done kind=portfolio"), 1u);
  ASSERT_EQ(sheet().previewDocument().status(), QPdfDocument::Status::Ready);
  const int pages = sheet().previewDocument().pageCount();
  EXPECT_GE(pages, 3);  // the works and the biography at least
  EXPECT_NE(sheet().pagesLabel()->text().indexOf(QString::number(pages)), -1)
      << sheet().pagesLabel()->text().toStdString();
  // Another document is drawn at once.
  sheet().setDocument(gui::ExportDocument::biography);
  pump();
  EXPECT_EQ(loggedCount("render done kind=bio"), 1u);
  EXPECT_EQ(sheet().previewDocument().pageCount(), 1);
}

TEST_F(ExportSheetTest, AnOptionChangedRendersOnceAndAQuickSecondChangeOvertakesTheFirst) {
  dropImages({writeImage("one.jpg", 500, 400)});
  showSheet();
  ASSERT_EQ(loggedCount("render done"), 1u);
  EXPECT_NEAR(firstPage().width(), 595, 1);  // A4

  choose(sheet().paperChooser(), QStringLiteral("letter"));
  EXPECT_EQ(store->state().exportOptions.format, PdfFormat::letter);  // the store's at once
  pump();
  EXPECT_EQ(loggedCount("render done"), 2u);
  EXPECT_EQ(loggedCount("render drop"), 0u);
  EXPECT_NEAR(firstPage().width(), 612, 1);

  // Two changes before the render queue runs: only the second is drawn.
  choose(sheet().paperChooser(), QStringLiteral("a4"));
  sheet().tableOfContentsSwitch()->setChecked(!sheet().tableOfContentsSwitch()->isChecked());
  const std::size_t drawnBefore = renderer->cacheMisses() + renderer->cacheHits();
  pump();
  EXPECT_EQ(loggedCount("render drop"), 1u);
  EXPECT_EQ(loggedCount("render done"), 3u);
  EXPECT_EQ(renderer->cacheMisses() + renderer->cacheHits(), drawnBefore + 1);
  EXPECT_NEAR(firstPage().width(), 595, 1);
  // Remembered for the next export, as the command line would find them.
  EXPECT_EQ(preferences.string(preference_key::kExportFormat), "a4");
}

TEST_F(ExportSheetTest, ChangesToTheProjectWhileTheSheetIsOpenRedrawItOnceAPass) {
  showSheet();
  sheet().setDocument(gui::ExportDocument::statement);
  pump();
  const std::size_t before = loggedCount("render done");
  store->setText(SaveSection::statement, "I paint");
  store->setText(SaveSection::statement, "I paint the sea.");
  pump();
  EXPECT_EQ(loggedCount("render done"), before + 1);
  EXPECT_EQ(loggedCount("render drop"), 0u);
}

TEST_F(ExportSheetTest, AnOverlongTextIsListedAsAWarningInWords) {
  std::string longText;
  for (int i = 0; i < 900; ++i) longText += "The tide comes in over the flats and goes out again. ";
  store->setText(SaveSection::bio, longText);
  showSheet();
  sheet().setDocument(gui::ExportDocument::biography);
  pump();
  // The document says it as a statement's overflow; the sheet says it of
  // the text on screen.
  ASSERT_EQ(store->state().pdfWarnings, std::vector<PdfWarning>{PdfWarning::statementTruncated});
  EXPECT_TRUE(sheet().warningsLabel()->isVisible());
  EXPECT_NE(sheet().warningsLabel()->text().indexOf(
                gui::Words(*store)("desktop.export.warning.text_truncated")),
            -1)
      << sheet().warningsLabel()->text().toStdString();
  // In the portfolio the biography has its own words.
  sheet().setDocument(gui::ExportDocument::portfolio);
  pump();
  EXPECT_NE(sheet().warningsLabel()->text().indexOf(
                gui::Words(*store)("desktop.export.warning.biography_truncated")),
            -1)
      << sheet().warningsLabel()->text().toStdString();
}

TEST_F(ExportSheetTest, ALabelChangedBesideThePreviewRedrawsIt) {
  CVData cv;
  cv.soloExhibitions.push_back({{"year", "2025"}, {"title", "Low Tide"}});
  store->setCV(cv);
  showSheet();
  sheet().setDocument(gui::ExportDocument::cv);
  pump();
  const auto previewText = [&] {
    std::string text;
    for (const auto& page : testing::readPdf(*store->state().pdfPreviewData)) text += page.text;
    return text;
  };
  ASSERT_TRUE(store->state().pdfPreviewData);
  EXPECT_EQ(previewText().find("Solo shows"), std::string::npos);

  gui::LabelsDialog* labels = sheet().openLabels();
  ASSERT_NE(labels, nullptr);
  // Each built-in label is shown as it prints: an "&" is no shortcut mark.
  int shown = 0;
  for (const QLabel* label : labels->findChildren<QLabel*>()) {
    if (label->buddy() != labels->field("pdf.cv.section.grants_awards")) continue;
    ++shown;
    EXPECT_EQ(QKeySequence::mnemonic(label->text()), QKeySequence()) << "no shortcut";
    EXPECT_EQ(label->text().replace(QStringLiteral("&&"), QStringLiteral("&")),
              QStringLiteral("Grants & awards"));
  }
  EXPECT_EQ(shown, 1);
  QLineEdit* field = labels->field("pdf.cv.section.solo_exhibitions");
  ASSERT_NE(field, nullptr);
  // Each label says where it prints.
  EXPECT_EQ(field->accessibleDescription(), QStringLiteral("Section title in the CV"));
  EXPECT_FALSE(labels->scopeNote()->isVisibleTo(labels));
  field->setText("Solo shows");
  labels->commit("pdf.cv.section.solo_exhibitions");
  pump();
  EXPECT_NE(previewText().find("Solo shows"), std::string::npos) << previewText();
  // Emptied, the built-in label prints again.
  field->clear();
  labels->commit("pdf.cv.section.solo_exhibitions");
  pump();
  EXPECT_EQ(previewText().find("Solo shows"), std::string::npos);
  labels->close();

  // A catalogue prints the portfolio's labels, and the dialog says so.
  store->setProjectKind(ProjectKind::catalogue, CatalogueKind::price);
  gui::LabelsDialog catalogueLabels(*store, "portfolio", "en");
  EXPECT_TRUE(catalogueLabels.scopeNote()->isVisibleTo(&catalogueLabels));
}

TEST_F(ExportSheetTest, ExportWritesTheFileUnderTheNameOfTheExportRule) {
  dropImages({writeImage("one.jpg", 500, 400), writeImage("two.jpg", 400, 500)});
  ArtistDetails details;
  details.firstName = "Zoé";
  details.lastName = "Müller";
  store->setDetails(details);
  showSheet();
  choose(sheet().languageChooser(), QStringLiteral("fr"));
  QString suggested;
  sheet().chooseSavePath = [&](const QString& name) {
    suggested = name;
    return QString::fromStdString(dir.file(name.toStdString()));
  };
  QSignalSpy exported(&sheet(), &gui::ExportSheet::exported);

  sheet().exportDocument();
  EXPECT_TRUE(sheet().isExporting());
  pump();

  EXPECT_FALSE(sheet().isExporting());
  const std::string expected =
      exportFileName(ExportDocumentKind::portfolio, details, "fr", main.now());
  EXPECT_EQ(suggested.toStdString(), expected);
  ASSERT_EQ(exported.count(), 1);
  const std::string path = dir.file(expected);
  ASSERT_TRUE(std::filesystem::exists(path));
  std::ifstream file(path, std::ios::binary);
  std::string head(5, '\0');
  file.read(head.data(), 5);
  EXPECT_EQ(head, "%PDF-");
  EXPECT_EQ(store->state().completePortfolioExportCount, 1);

  // The line under the button names the file and opens it.
  QLabel* line = sheet().resultLine();
  EXPECT_TRUE(line->text().contains(QString::fromStdString(expected)));
  const QRegularExpressionMatch link =
      QRegularExpression(QStringLiteral("href=\"([^\"]*)\"")).match(line->text());
  ASSERT_TRUE(link.hasMatch()) << line->text().toStdString();
  QString opened;
  sheet().openFile = [&](const QString& file) {
    opened = file;
    return true;
  };
  emit line->linkActivated(link.captured(1));
  EXPECT_EQ(opened.toStdString(), path);
  // No viewer: said so, the file's name stays, and its folder is offered.
  sheet().openFile = [&](const QString& file) {
    opened = file;
    return false;
  };
  emit line->linkActivated(link.captured(1));
  EXPECT_TRUE(line->text().contains(gui::Words(*store)("desktop.export.open_failed")));
  EXPECT_TRUE(line->text().contains(QString::fromStdString(expected)));
  emit line->linkActivated(QStringLiteral("folder"));
  EXPECT_EQ(opened.toStdString(), dir.path().string());
  EXPECT_TRUE(line->text().contains(QString::fromStdString(dir.path().string())))
      << "no file manager either: the folder is named";
  // The line is the open project's, in the words of the interface.
  store->setUiLanguage("fr");
  pump();
  const QString french = QString::fromStdString(uiText("desktop.export.open_failed", "fr"));
  EXPECT_TRUE(line->text().contains(french)) << line->text().toStdString();
  window->newProject();
  pump();
  EXPECT_TRUE(line->text().isEmpty());

  // Said no to the save dialog: nothing is written, nothing runs.
  sheet().chooseSavePath = [](const QString&) { return QString(); };
  sheet().exportDocument();
  EXPECT_FALSE(sheet().isExporting());
}

TEST_F(ExportSheetTest, ClosingTheWindowDuringAnExportAsksWhetherToWaitOrStop) {
  dropImages({writeImage("one.jpg", 500, 400)});
  showSheet();
  std::vector<QString> questions;
  auto answer = gui::MainWindow::CloseAnswer::keepOpen;
  window->askOnClose = [&](const QString& message) {
    questions.push_back(message);
    return answer;
  };
  const auto exportTo = [&](const std::string& name) {
    sheet().chooseSavePath = [&, name](const QString&) {
      return QString::fromStdString(dir.file(name));
    };
    sheet().exportDocument();
    ASSERT_TRUE(sheet().isExporting());
  };

  // Kept open: the export goes on to its file.
  exportTo("kept.pdf");
  EXPECT_FALSE(window->close());
  ASSERT_EQ(questions.size(), 1u);
  EXPECT_TRUE(questions[0].startsWith(gui::Words(*store)("desktop.close.exporting")));
  EXPECT_TRUE(window->isVisible());
  pump();
  EXPECT_TRUE(std::filesystem::exists(dir.file("kept.pdf")));
  EXPECT_TRUE(window->isVisible());

  // Stopped: nothing is left at its path, and the window closes.
  exportTo("stopped.pdf");
  answer = gui::MainWindow::CloseAnswer::stopAndClose;
  EXPECT_TRUE(window->close());
  pump();
  EXPECT_FALSE(std::filesystem::exists(dir.file("stopped.pdf")));
  EXPECT_FALSE(window->isVisible());

  // Closed when done: the window waits for the file, then closes itself.
  window->show();
  exportTo("waited.pdf");
  answer = gui::MainWindow::CloseAnswer::closeWhenDone;
  EXPECT_FALSE(window->close());
  EXPECT_TRUE(window->isVisible());
  pump();
  EXPECT_TRUE(std::filesystem::exists(dir.file("waited.pdf")));
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(questions.size(), 3u);
}

}  // namespace
}  // namespace quorvane
