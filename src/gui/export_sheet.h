// The export of the open project: which document, in which language, on
// which paper, with which parts — starting from the remembered options —
// and beside them the document itself as the store renders it, redrawn
// as the options change (the store's latest request wins, so quick changes
// never wait behind stale renders). Export asks where to save, under the
// name the export rule gives, and shows its progress.
#pragma once

#include <QByteArray>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "app/app_store.h"
#include "gui/desktop_context.h"
#include "gui/store_subscription.h"

class QBuffer;
class QCheckBox;
class QComboBox;
class QLabel;
class QPdfDocument;
class QPdfView;
class QProgressBar;
class QPushButton;
class QTimer;

namespace quorvane::gui {
class LabelsDialog;
}

namespace quorvane::gui {

enum class ExportDocument { portfolio, cv, biography, statement, projectStatement };

// What the store renders for `document`.
RenderRequest renderRequestFor(ExportDocument document);

class ExportSheet final : public QWidget {
  Q_OBJECT

 public:
  explicit ExportSheet(DesktopContext context, QWidget* parent = nullptr);
  ~ExportSheet() override;

  // Where to write, asked of the user (tests answer themselves).
  std::function<QString(const QString& suggestedName)> chooseSavePath;
  // Opens a written document in the desktop's PDF viewer; false when there
  // is none (tests look instead).
  std::function<bool(const QString& path)> openFile;

  ExportDocument document() const { return document_; }
  void setDocument(ExportDocument document);
  // Asks for a fresh preview (the sheet does so itself when shown and when
  // what it shows changes).
  void refreshPreview();
  // Asks where, then writes the document in the background.
  void exportDocument();
  bool isExporting() const { return job_ != nullptr; }
  // Calls off the export under way: nothing is left at its path.
  void cancelExport();
  // The line under Export PDF… once a document of the open project is
  // written: its name and a link that opens it (or, with no PDF viewer,
  // shows its folder). Another project opened takes it away.
  QLabel* resultLine() const { return result_; }
  // Opens the printed labels of the document in its language over the
  // sheet; the preview redraws as they change.
  LabelsDialog* openLabels();
  void retranslate();
  // The desk under the pages, a shade off the window's colour of the theme.
  void paintPreviewBackground();

  QComboBox* documentChooser() const { return document_chooser_; }
  QComboBox* languageChooser() const { return language_; }
  QComboBox* paperChooser() const { return paper_; }
  QComboBox* qualityChooser() const { return quality_; }
  QCheckBox* tableOfContentsSwitch() const { return includeToc_; }
  QCheckBox* coverImageSwitch() const { return includeCover_; }
  QLabel* warningsLabel() const { return warnings_; }
  QLabel* pagesLabel() const { return pages_; }
  QPdfDocument& previewDocument() const { return *preview_document_; }

 signals:
  void exported(const QString& path);
  // The export under way ended: written, failed or called off.
  void exportEnded();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void storeChanged(const StoreChanges& changes);
  void rebuildItems();
  void fill();
  void optionsEdited();
  void showPreview();
  void updateStatus();
  void updateRows();
  void showResult();
  void resultLinkActivated(const QString& link);

  // The document last written, for the line under the button.
  struct Written {
    std::string projectId;
    QString path;
    bool originalMissing = false;
    bool openFailed = false;    // no application opened it
    bool folderFailed = false;  // nor its folder
  };
  std::optional<Written> written_;

  DesktopContext context_;
  ExportDocument document_ = ExportDocument::portfolio;
  bool filling_ = false;
  QByteArray shown_;  // the bytes in the viewer
  QComboBox* document_chooser_;
  QComboBox* language_;
  QComboBox* paper_;
  QComboBox* quality_;
  QLabel* heading_;
  QLabel* documentLabel_;
  QLabel* languageLabel_;
  QLabel* paperLabel_;
  QLabel* qualityLabel_;
  QLabel* includeHeading_;
  QCheckBox* includeToc_;
  QCheckBox* includeCover_;
  QCheckBox* includeProjectStatement_;
  QCheckBox* includeStatement_;
  QCheckBox* includeBiography_;
  QCheckBox* includeCV_;
  QLabel* titlesHeading_;
  QCheckBox* showProjectStatementTitle_;
  QCheckBox* showStatementTitle_;
  QCheckBox* showBiographyTitle_;
  QWidget* includeGroup_;
  QLabel* warnings_;
  QLabel* pages_;
  QPushButton* export_;
  QPushButton* labels_;
  QProgressBar* progress_;
  QPushButton* cancel_;
  QLabel* result_;
  QLabel* previewState_;
  QPdfView* view_;
  QPdfDocument* preview_document_;
  QBuffer* buffer_;
  QTimer* contentChanged_;  // gathers the store's changes of one pass into one request
  std::shared_ptr<ExportJob> job_;
  StoreSubscription subscription_;
};

}  // namespace quorvane::gui
