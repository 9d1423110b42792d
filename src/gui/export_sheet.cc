#include "gui/export_sheet.h"
#include "app/export_job.h"

#include <QApplication>
#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QPdfDocument>
#include <QPdfView>
#include <QPointer>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedLayout>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

#include "app/failure_text.h"
#include "gui/labels_dialog.h"
#include "gui/scrolling.h"
#include "gui/words.h"
#include "model/document_kind_words.h"
#include "pdf/localization.h"

namespace quorvane::gui {
namespace {

constexpr int kOptionsWidth = 360;

QCheckBox* switchBox(QWidget* parent, const char* name) {
  auto* box = new QCheckBox(parent);
  box->setObjectName(QString::fromLatin1(name));
  return box;
}

QComboBox* chooser(QWidget* parent, const char* name) {
  auto* box = new QComboBox(parent);
  box->setObjectName(QString::fromLatin1(name));
  return box;
}

// A text document (biography, statements) says its overflow as a statement's
// whichever it is: the words name the document on screen instead.
std::string warningKey(PdfWarning warning, ExportDocument document) {
  if (warning == PdfWarning::statementTruncated && document != ExportDocument::portfolio) {
    return "desktop.export.warning.text_truncated";
  }
  return "desktop.export.warning." + std::string(rawValue(warning));
}

// Whether the desktop names an application for files of `mimeType`; true
// when it cannot tell (then opening is tried and may fail on its own).
bool hasApplicationFor(const QString& mimeType) {
  QProcess query;
  query.start(QStringLiteral("xdg-mime"),
              {QStringLiteral("query"), QStringLiteral("default"), mimeType});
  if (!query.waitForFinished(3000) || query.exitStatus() != QProcess::NormalExit ||
      query.exitCode() != 0) {
    return true;
  }
  return !query.readAllStandardOutput().trimmed().isEmpty();
}

}  // namespace

RenderRequest renderRequestFor(ExportDocument document) {
  switch (document) {
    case ExportDocument::portfolio:
      return {RenderKind::portfolio, std::nullopt};
    case ExportDocument::cv:
      return {RenderKind::cv, std::nullopt};
    case ExportDocument::biography:
      return {RenderKind::bio, std::nullopt};
    case ExportDocument::statement:
      return {RenderKind::statement, std::nullopt};
    case ExportDocument::projectStatement:
      return {RenderKind::projectStatement, std::nullopt};
  }
  return {};
}

ExportSheet::ExportSheet(DesktopContext context, QWidget* parent)
    : QWidget(parent),
      context_(context),
      document_chooser_(chooser(this, "exportDocument")),
      language_(chooser(this, "exportLanguage")),
      paper_(chooser(this, "exportPaper")),
      quality_(chooser(this, "exportQuality")),
      heading_(new QLabel(this)),
      documentLabel_(new QLabel(this)),
      languageLabel_(new QLabel(this)),
      paperLabel_(new QLabel(this)),
      qualityLabel_(new QLabel(this)),
      includeHeading_(new QLabel(this)),
      includeToc_(switchBox(this, "includeTableOfContents")),
      includeCover_(switchBox(this, "includeCoverImage")),
      includeProjectStatement_(switchBox(this, "includeProjectStatement")),
      includeStatement_(switchBox(this, "includeStatement")),
      includeBiography_(switchBox(this, "includeBiography")),
      includeCV_(switchBox(this, "includeCV")),
      titlesHeading_(new QLabel(this)),
      showProjectStatementTitle_(switchBox(this, "showProjectStatementTitle")),
      showStatementTitle_(switchBox(this, "showStatementTitle")),
      showBiographyTitle_(switchBox(this, "showBiographyTitle")),
      includeGroup_(new QWidget(this)),
      warnings_(new QLabel(this)),
      pages_(new QLabel(this)),
      export_(new QPushButton(this)),
      labels_(new QPushButton(this)),
      progress_(new QProgressBar(this)),
      cancel_(new QPushButton(this)),
      result_(new QLabel(this)),
      previewState_(new QLabel(this)),
      view_(new QPdfView(this)),
      preview_document_(new QPdfDocument(this)),
      buffer_(new QBuffer(this)),
      contentChanged_(new QTimer(this)),
      subscription_(context.store, [this](const StoreChanges& changes) { storeChanged(changes); }) {
  setObjectName(QStringLiteral("exportSheet"));
  heading_->setObjectName(QStringLiteral("pageTitle"));
  for (QLabel* label : {includeHeading_, titlesHeading_}) {
    label->setObjectName(QStringLiteral("sectionHeading"));
  }
  warnings_->setObjectName(QStringLiteral("exportWarnings"));
  warnings_->setWordWrap(true);
  pages_->setObjectName(QStringLiteral("secondaryText"));
  result_->setObjectName(QStringLiteral("secondaryText"));
  result_->setWordWrap(true);
  result_->setTextFormat(Qt::RichText);
  result_->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
  connect(result_, &QLabel::linkActivated, this, &ExportSheet::resultLinkActivated);
  export_->setObjectName(QStringLiteral("primary"));
  progress_->setTextVisible(false);
  progress_->hide();
  cancel_->hide();
  previewState_->setObjectName(QStringLiteral("secondaryText"));
  previewState_->setAlignment(Qt::AlignCenter);
  documentLabel_->setBuddy(document_chooser_);
  languageLabel_->setBuddy(language_);
  paperLabel_->setBuddy(paper_);
  qualityLabel_->setBuddy(quality_);

  auto* form = new QFormLayout;
  form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  form->setVerticalSpacing(8);
  form->addRow(documentLabel_, document_chooser_);
  form->addRow(languageLabel_, language_);
  form->addRow(paperLabel_, paper_);
  form->addRow(qualityLabel_, quality_);

  auto* includeLayout = new QVBoxLayout(includeGroup_);
  includeLayout->setContentsMargins(0, 0, 0, 0);
  includeLayout->setSpacing(4);
  includeLayout->addWidget(includeHeading_);
  for (QCheckBox* box : {includeToc_, includeCover_, includeProjectStatement_, includeStatement_,
                         includeBiography_, includeCV_}) {
    includeLayout->addWidget(box);
  }

  auto* exportRow = new QHBoxLayout;
  exportRow->setSpacing(8);
  exportRow->addWidget(progress_, 1);
  exportRow->addWidget(cancel_);

  auto* options = new QWidget(this);
  options->setObjectName(QStringLiteral("exportOptions"));
  auto* optionsLayout = new QVBoxLayout(options);
  optionsLayout->setContentsMargins(24, 20, 20, 20);
  optionsLayout->setSpacing(6);
  optionsLayout->addWidget(heading_);
  optionsLayout->addSpacing(10);
  optionsLayout->addLayout(form);
  auto* labelsRow = new QHBoxLayout;
  labelsRow->addStretch(1);
  labelsRow->addWidget(labels_);
  optionsLayout->addLayout(labelsRow);
  optionsLayout->addSpacing(10);
  optionsLayout->addWidget(includeGroup_);
  optionsLayout->addSpacing(16);
  optionsLayout->addWidget(titlesHeading_);
  for (QCheckBox* box : {showProjectStatementTitle_, showStatementTitle_, showBiographyTitle_}) {
    optionsLayout->addWidget(box);
  }
  optionsLayout->addSpacing(16);
  optionsLayout->addWidget(warnings_);
  optionsLayout->addWidget(pages_);
  optionsLayout->addStretch(1);

  QScrollArea* scroll = framelessScroll(options, this);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  // The button, the progress and what was saved stay in sight below the
  // options, however far they scroll on a short screen.
  auto* footer = new QWidget(this);
  footer->setObjectName(QStringLiteral("exportFooter"));
  auto* footerLayout = new QVBoxLayout(footer);
  footerLayout->setContentsMargins(24, 8, 20, 16);
  footerLayout->setSpacing(6);
  footerLayout->addWidget(result_);
  footerLayout->addLayout(exportRow);
  footerLayout->addWidget(export_);
  auto* optionsColumn = new QWidget(this);
  optionsColumn->setFixedWidth(kOptionsWidth);
  auto* column = new QVBoxLayout(optionsColumn);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(scroll, 1);
  column->addWidget(footer);

  view_->setObjectName(QStringLiteral("exportPreview"));
  view_->setDocument(preview_document_);
  view_->setPageMode(QPdfView::PageMode::MultiPage);
  view_->setZoomMode(QPdfView::ZoomMode::FitInView);
  view_->setPageSpacing(16);
  view_->setDocumentMargins(QMargins(28, 24, 28, 24));
  auto* previewArea = new QWidget(this);
  auto* stack = new QStackedLayout(previewArea);
  stack->setStackingMode(QStackedLayout::StackAll);
  stack->addWidget(previewState_);
  stack->addWidget(view_);
  stack->setCurrentWidget(previewState_);

  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(optionsColumn);
  layout->addWidget(previewArea, 1);

  contentChanged_->setSingleShot(true);
  contentChanged_->setInterval(0);
  connect(contentChanged_, &QTimer::timeout, this, &ExportSheet::refreshPreview);
  connect(document_chooser_, &QComboBox::activated, this, [this] {
    setDocument(static_cast<ExportDocument>(document_chooser_->currentData().toInt()));
  });
  for (QComboBox* box : {language_, paper_, quality_}) {
    connect(box, &QComboBox::activated, this, &ExportSheet::optionsEdited);
  }
  for (QCheckBox* box : {includeToc_, includeCover_, includeProjectStatement_, includeStatement_,
                         includeBiography_, includeCV_}) {
    connect(box, &QCheckBox::toggled, this, &ExportSheet::optionsEdited);
  }
  for (const auto& [box, section] :
       {std::pair{showProjectStatementTitle_, SaveSection::projectStatement},
        std::pair{showStatementTitle_, SaveSection::statement},
        std::pair{showBiographyTitle_, SaveSection::bio}}) {
    connect(box, &QCheckBox::clicked, this, [this, section = section](bool shown) {
      if (filling_ || !context_.store.setTitleShown(section, shown)) return;
      result_->clear();
      refreshPreview();
    });
  }
  connect(export_, &QPushButton::clicked, this, &ExportSheet::exportDocument);
  connect(labels_, &QPushButton::clicked, this, &ExportSheet::openLabels);
  connect(cancel_, &QPushButton::clicked, this, &ExportSheet::cancelExport);
  paintPreviewBackground();
  connect(preview_document_, &QPdfDocument::statusChanged, this, [this] { updateStatus(); });

  chooseSavePath = [this](const QString& suggested) {
    // Documents first, where people look for what they made.
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QDir folder = QDir(documents).exists() ? QDir(documents) : QDir::home();
    return QFileDialog::getSaveFileName(this, Words(context_.store)("desktop.export.save_title"),
                                        folder.filePath(suggested), QStringLiteral("PDF (*.pdf)"));
  };
  openFile = [](const QString& path) {
    // xdg-open starts happily and then finds nothing for a PDF: ask first
    // whether the desktop has an application for it.
    if (!QFileInfo(path).isDir() && !hasApplicationFor(QStringLiteral("application/pdf"))) {
      return false;
    }
    return QDesktopServices::openUrl(QUrl::fromLocalFile(path));
  };
  retranslate();
}

void ExportSheet::cancelExport() {
  if (job_) job_->cancel();
}

ExportSheet::~ExportSheet() {
  // An export still running goes on to its end unwatched would be a file
  // the user never chose to keep: it is called off.
  if (job_) job_->cancel();
}

void ExportSheet::showResult() {
  if (!written_) {
    result_->clear();
    return;
  }
  const Words words(context_.store);
  const auto link = [](const char* target, const QString& text) {
    return QStringLiteral("<a href=\"%1\">%2</a>").arg(QLatin1String(target), text.toHtmlEscaped());
  };
  QString line = words.format("desktop.export.done", {utf8(QFileInfo(written_->path).fileName())})
                     .toHtmlEscaped();
  if (!written_->openFailed) {
    line += QStringLiteral(" · ") + link("open", words("desktop.export.open"));
  } else {
    line += QStringLiteral("<br>") + words("desktop.export.open_failed").toHtmlEscaped();
    // Without a file manager either, the folder is named for the user to go to.
    line +=
        written_->folderFailed
            ? QStringLiteral("<br>") +
                  QDir::toNativeSeparators(QFileInfo(written_->path).absolutePath()).toHtmlEscaped()
            : QStringLiteral("<br>") + link("folder", words("desktop.export.show_in_folder"));
  }
  if (written_->originalMissing) {
    const AppStore& store = context_.store;
    line += QStringLiteral("<br>⚠  ") +
            words
                .format("export.warning.original_missing",
                        {missingOriginalsText(store.missingOriginals(), store.language())})
                .toHtmlEscaped();
  }
  result_->setText(line);
}

void ExportSheet::resultLinkActivated(const QString& link) {
  if (!written_) return;
  if (link == QStringLiteral("open")) {
    written_->openFailed = !openFile(written_->path);
  } else if (link == QStringLiteral("folder")) {
    written_->folderFailed = !openFile(QFileInfo(written_->path).absolutePath());
  }
  showResult();
}

void ExportSheet::retranslate() {
  const Words words(context_.store);
  showResult();
  heading_->setText(words("desktop.export.heading"));
  documentLabel_->setText(words("desktop.export.document"));
  languageLabel_->setText(words("desktop.export.language"));
  paperLabel_->setText(words("desktop.export.paper"));
  qualityLabel_->setText(words("desktop.export.quality"));
  quality_->setToolTip(words("desktop.export.quality.hint"));
  includeHeading_->setText(words("desktop.export.include").toUpper());
  titlesHeading_->setText(words("desktop.export.titles").toUpper());
  includeToc_->setText(words("desktop.export.include.toc"));
  includeCover_->setText(words("desktop.export.include.cover_image"));
  includeProjectStatement_->setText(words("document.kind.project_statement"));
  includeStatement_->setText(words("document.kind.statement"));
  includeBiography_->setText(words("document.kind.biography"));
  includeCV_->setText(words("document.kind.cv"));
  showProjectStatementTitle_->setText(words("desktop.export.title.project_statement"));
  showStatementTitle_->setText(words("desktop.export.title.statement"));
  showBiographyTitle_->setText(words("desktop.export.title.biography"));
  export_->setText(words("desktop.export.button"));
  labels_->setText(words("desktop.labels.open"));
  labels_->setAccessibleName(words("desktop.labels.open"));
  cancel_->setText(words("common.cancel"));
  for (QCheckBox* box :
       {includeToc_, includeCover_, includeProjectStatement_, includeStatement_, includeBiography_,
        includeCV_, showProjectStatementTitle_, showStatementTitle_, showBiographyTitle_}) {
    box->setAccessibleName(box->text());
  }
  export_->setAccessibleName(export_->text());
  cancel_->setAccessibleName(cancel_->text());
  document_chooser_->setAccessibleName(words("desktop.export.document"));
  language_->setAccessibleName(words("desktop.export.language"));
  paper_->setAccessibleName(words("desktop.export.paper"));
  quality_->setAccessibleName(words("desktop.export.quality"));
  progress_->setAccessibleName(words("desktop.export.progress_name"));
  view_->setAccessibleName(words("desktop.export.preview_name"));
  rebuildItems();
}

// The choosers' items follow the language and the project (its kind names
// the first document, its language the default one).
void ExportSheet::rebuildItems() {
  filling_ = true;
  const Words words(context_.store);
  const AppState& state = context_.store.state();
  document_chooser_->clear();
  const std::pair<ExportDocument, std::string_view> documents[] = {
      {ExportDocument::portfolio, projectKindKey(state.project.kind, state.project.catalogueKind)},
      {ExportDocument::cv, "document.kind.cv"},
      {ExportDocument::biography, "document.kind.biography"},
      {ExportDocument::statement, "document.kind.statement"},
      {ExportDocument::projectStatement, "document.kind.project_statement"},
  };
  for (const auto& [document, key] : documents) {
    document_chooser_->addItem(words(key), static_cast<int>(document));
  }
  language_->clear();
  language_->addItem(
      words.format("desktop.export.language.project", {utf8(languageName(state.project.locale))}),
      QString());
  for (const auto code : kInterfaceLanguages) language_->addItem(languageName(code), qstr(code));
  paper_->clear();
  paper_->addItem(words("desktop.export.paper.a4"), QStringLiteral("a4"));
  paper_->addItem(words("desktop.export.paper.letter"), QStringLiteral("letter"));
  quality_->clear();
  quality_->addItem(words("desktop.export.quality.web"), QStringLiteral("web"));
  quality_->addItem(words("desktop.export.quality.print"), QStringLiteral("print"));
  filling_ = false;
  fill();
}

// The choices as the store's options have them.
void ExportSheet::fill() {
  filling_ = true;
  const ExportOptions& options = context_.store.state().exportOptions;
  document_chooser_->setCurrentIndex(document_chooser_->findData(static_cast<int>(document_)));
  language_->setCurrentIndex(std::max(0, language_->findData(qstr(options.exportLocale))));
  paper_->setCurrentIndex(std::max(0, paper_->findData(qstr(rawValue(options.format)))));
  quality_->setCurrentIndex(std::max(0, quality_->findData(qstr(rawValue(options.imageQuality)))));
  includeToc_->setChecked(options.includeTableOfContents);
  includeCover_->setChecked(options.includeCoverImage);
  includeProjectStatement_->setChecked(options.includeProjectStatement);
  includeStatement_->setChecked(options.includeStatement);
  includeBiography_->setChecked(options.includeBiography);
  includeCV_->setChecked(options.includeCV);
  // No choice made yet: the documents print the titles.
  showProjectStatementTitle_->setChecked(options.showProjectStatementTitle.value_or(true));
  showStatementTitle_->setChecked(options.showStatementTitle.value_or(true));
  showBiographyTitle_->setChecked(options.showBiographyTitle.value_or(true));
  updateRows();
  updateStatus();
  filling_ = false;
}

// Only what the chosen document prints is offered.
void ExportSheet::updateRows() {
  const bool portfolio = document_ == ExportDocument::portfolio;
  includeGroup_->setVisible(portfolio);
  quality_->setEnabled(portfolio);
  showProjectStatementTitle_->setVisible(portfolio ||
                                         document_ == ExportDocument::projectStatement);
  showStatementTitle_->setVisible(portfolio || document_ == ExportDocument::statement);
  showBiographyTitle_->setVisible(portfolio || document_ == ExportDocument::biography);
  titlesHeading_->setVisible(document_ != ExportDocument::cv);
}

void ExportSheet::setDocument(ExportDocument document) {
  document_ = document;
  document_chooser_->setCurrentIndex(document_chooser_->findData(static_cast<int>(document)));
  updateRows();
  result_->clear();
  refreshPreview();
}

void ExportSheet::optionsEdited() {
  if (filling_) return;
  ExportOptions options = context_.store.state().exportOptions;
  options.exportLocale = utf8(language_->currentData().toString());
  options.format =
      fromRawValue<PdfFormat>(utf8(paper_->currentData().toString())).value_or(PdfFormat::a4);
  options.imageQuality = fromRawValue<ExportImageQuality>(utf8(quality_->currentData().toString()))
                             .value_or(ExportImageQuality::printQuality);
  options.includeTableOfContents = includeToc_->isChecked();
  options.includeCoverImage = includeCover_->isChecked();
  options.includeProjectStatement = includeProjectStatement_->isChecked();
  options.includeStatement = includeStatement_->isChecked();
  options.includeBiography = includeBiography_->isChecked();
  options.includeCV = includeCV_->isChecked();
  if (options == context_.store.state().exportOptions) return;
  context_.store.setExportOptions(options);
  result_->clear();
  refreshPreview();
}

LabelsDialog* ExportSheet::openLabels() {
  auto* dialog =
      new LabelsDialog(context_.store, std::string(labelScopeOf(renderRequestFor(document_).kind)),
                       context_.store.exportLanguage(), this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(dialog, &LabelsDialog::labelsChanged, this, &ExportSheet::refreshPreview);
  dialog->open();
  return dialog;
}

void ExportSheet::refreshPreview() {
  contentChanged_->stop();
  context_.store.requestPreview(renderRequestFor(document_));
}

// The desk the pages lie on: a shade off the window, quieter than the
// viewer's own dark grey, so that the white pages stand out in either theme.
void ExportSheet::paintPreviewBackground() {
  const QColor window = QApplication::palette().color(QPalette::Window);
  const bool dark = window.lightness() < 128;
  QPalette desk = view_->palette();
  desk.setColor(QPalette::Dark, dark ? window.darker(130) : window.darker(108));
  view_->setPalette(desk);
}

void ExportSheet::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  refreshPreview();
}

void ExportSheet::storeChanged(const StoreChanges& changes) {
  // The options as the store now has them; the words follow the language
  // when the window retranslates.
  if (changes.has(StoreArea::project)) {
    if (written_ && written_->projectId != context_.store.state().project.id) {
      written_.reset();
      showResult();
    }
    rebuildItems();
  } else if (changes.has(StoreArea::settings)) {
    fill();
  }
  if (changes.has(StoreArea::preview)) showPreview();
  const bool contentChanged = changes.has(StoreArea::project) || changes.has(StoreArea::artworks) ||
                              changes.has(StoreArea::texts) || changes.has(StoreArea::cv) ||
                              changes.has(StoreArea::details);
  if (contentChanged && isVisible()) contentChanged_->start();
}

void ExportSheet::showPreview() {
  const auto& data = context_.store.state().pdfPreviewData;
  if (!data) {
    if (!shown_.isEmpty()) {
      preview_document_->close();
      shown_.clear();
    }
    updateStatus();
    return;
  }
  const QByteArray bytes(reinterpret_cast<const char*>(data->data()),
                         static_cast<qsizetype>(data->size()));
  if (bytes != shown_) {
    // The viewer reads from the buffer while the document is open: it is
    // closed before its bytes change.
    preview_document_->close();
    buffer_->close();
    shown_ = bytes;
    buffer_->setData(shown_);
    buffer_->open(QIODevice::ReadOnly);
    preview_document_->load(buffer_);
  }
  updateStatus();
}

void ExportSheet::updateStatus() {
  const Words words(context_.store);
  const AppState& state = context_.store.state();
  QStringList lines;
  for (const PdfWarning warning : state.pdfWarnings) {
    lines << QStringLiteral("⚠  ") + words(warningKey(warning, document_));
  }
  warnings_->setText(lines.join(QStringLiteral("\n")));
  warnings_->setVisible(!lines.isEmpty());
  const bool ready = preview_document_->status() == QPdfDocument::Status::Ready;
  const int pageCount = ready ? preview_document_->pageCount() : 0;
  pages_->setText(pageCount > 0 ? words.count("desktop.export.pages", pageCount) : QString());
  auto* stack = qobject_cast<QStackedLayout*>(view_->parentWidget()->layout());
  if (state.isPdfRendering && !ready) {
    previewState_->setText(words("desktop.export.rendering"));
    stack->setCurrentWidget(previewState_);
  } else if (!ready) {
    previewState_->setText(words("desktop.export.nothing"));
    stack->setCurrentWidget(previewState_);
  } else {
    stack->setCurrentWidget(view_);
  }
  view_->setVisible(ready);
  previewState_->setVisible(!ready);
  export_->setEnabled(job_ == nullptr);
}

void ExportSheet::exportDocument() {
  if (job_) return;
  const AppState& state = context_.store.state();
  const std::string language = context_.store.exportLanguage();
  const QString path =
      chooseSavePath(qstr(context_.store.exportName(renderRequestFor(document_).kind, language)));
  if (path.isEmpty()) return;
  ExportOptions options = state.exportOptions;
  if (options.exportLocale.empty()) options.exportLocale = language;
  progress_->setRange(0, 0);
  progress_->show();
  cancel_->show();
  export_->setEnabled(false);
  written_.reset();
  result_->clear();
  QPointer<ExportSheet> sheet(this);
  // The save dialog asked before replacing a file: the choice is made.
  job_ = context_.store.exportPDFInBackground(
      renderRequestFor(document_), options, utf8(path),
      [sheet](std::size_t done, std::size_t total) {
        if (!sheet) return;
        sheet->progress_->setRange(0, static_cast<int>(total));
        sheet->progress_->setValue(static_cast<int>(done));
      },
      [sheet, path](const std::optional<std::vector<PdfWarning>>& warnings) {
        if (!sheet) return;
        sheet->job_.reset();
        sheet->progress_->hide();
        sheet->cancel_->hide();
        sheet->export_->setEnabled(true);
        emit sheet->exportEnded();
        if (!warnings) return;  // the store said why, or it was called off
        Written written;
        written.projectId = sheet->context_.store.state().project.id;
        written.path = path;
        written.originalMissing = std::find(warnings->begin(), warnings->end(),
                                            PdfWarning::originalMissing) != warnings->end();
        sheet->written_ = written;
        sheet->showResult();
        emit sheet->exported(path);
      },
      true);
}

}  // namespace quorvane::gui
