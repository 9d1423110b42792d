// The one owner of the application's live state and its one command
// surface: the command line and the window read `state()` and change
// anything only through the commands below.
//
// Every command runs on the main executor and changes the published state
// there, at once; the change reaches the library through the save pipeline
// (debounced per section, never blocking). A command that fails changes
// nothing, shows an error toast through the one toast path and returns false
// (or nothing); `state().lastErrorMessage` holds its text.
//
// Each capability lives in a file of its own under app/store/, with the
// rules it keeps written at its top (docs/architecture.md shows the rooms).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "app/all_backups.h"
#include "app/app_state.h"
#include "app/app_store_services.h"
#include "app/backup_reminders.h"
#include "app/pdf_render_service.h"
#include "app/store_changes.h"
#include "app/store_commands.h"
#include "app/web_cv_import.h"
#include "platform/executor.h"

namespace quorvane {

class ExportJob;
class ImageIntakeJob;
class SavePipeline;
struct LoadedProject;
struct MergedPackage;
struct TextPageFill;
struct TidyReport;
enum class TextShape;
enum class ThermalState;
class FinalizationRoom;
class ThumbnailRoom;
class WebCVRoom;
class PackagesRoom;
class DocumentsRoom;
class IntakeRoom;
class UndoRoom;

class AppStore {
 public:
  using Observer = std::function<void()>;
  // Told what changed (StoreChanges), for views that update in part.
  using ChangeObserver = std::function<void(const StoreChanges&)>;
  // Called after each file of a batch: files done, files in all.
  using Progress = std::function<void(std::size_t done, std::size_t total)>;

  explicit AppStore(AppStoreServices services);
  // Writes what is still pending. Saves already handed to the save queue
  // may still be running: drain that queue before destroying the store.
  ~AppStore();
  AppStore(const AppStore&) = delete;
  AppStore& operator=(const AppStore&) = delete;

  // Reads the preferences and opens `projectId` when given (for this run
  // only: it is not remembered), else the remembered project, else the most
  // recently changed one, else a new one. False, with an error toast, when
  // `projectId` names no live project or the library can't be read.
  bool start(const std::optional<std::string>& projectId = {});
  // Writes every pending save; the program may then end.
  void quit();

  // Puts in order what runs that were killed left (library_tidy.h), in the
  // media folder and `otherFolders`. Only for a run that holds the library
  // lock, before `start`.
  TidyReport tidyAfterInterruptedRuns(const std::vector<std::string>& otherFolders);

  const AppState& state() const { return state_; }
  // `observer` is called on the main executor after each change of the
  // state; the returned number takes it off again.
  std::size_t observe(Observer observer);
  // The same, told what changed since the last notification; only called
  // when something did.
  std::size_t observeChanges(ChangeObserver observer);
  void stopObserving(std::size_t token);

  // The interface language of toasts and messages.
  std::string language() const;
  // The language documents are printed in now: the chosen export language,
  // else the open project's own.
  std::string exportLanguage() const;
  // Runs the face's executors until `finished` says so: how a face that
  // waits for an asynchronous command (app/waiting_commands.h) waits.
  // Throws std::logic_error for a face that can't wait.
  void runUntil(const std::function<bool()>& finished);
  // Data changes made through this store since it started.
  std::uint64_t changeCount() const { return changeCount_; }

  // Undo and redo (app/store/undo_room.h): the newest step of what the
  // person did through the store is taken back, or done again; the Edit
  // menu's words are in `state().undo`. False, with a toast, when there is
  // none or what it changed has changed since (the steps behind it go).
  // Cleared on Delete all data and on a backup import.
  bool undo();
  bool redo();
  // A field was left: the next edit starts a step of its own.
  void fieldLeft();

  // Projects.
  std::optional<std::string> createProject(const ProjectChanges& changes);
  // Opens a live project: the pending saves are handed to the save queue,
  // the project is read there after them and opened on the main executor,
  // which takes other commands meanwhile; `done` is told whether it opened
  // (a failure is also a toast).
  void openProjectInBackground(const std::string& projectId, std::function<void(bool)> done);
  bool updateProject(const ProjectChanges& changes);
  bool renameProject(const std::string& name);
  bool setProjectKind(ProjectKind kind, std::optional<CatalogueKind> catalogueKind = {});
  std::optional<std::string> duplicateProject();
  bool deleteProject();
  // Brings a deleted project back into the list as it was (its works,
  // texts and CV with it); the open project stays open. False, with a
  // toast, when no deleted project has that id.
  bool restoreProject(const std::string& projectId);

  // Artworks of the open project. Replacing keeps the old image (its
  // original and its derivatives) until the library holds the new one.
  bool replaceImage(const std::string& artworkId, const std::string& path);
  // Adds images as works: each file is read and derived on the image queue,
  // then put in place on the main executor, files and row together, one by
  // one, so the board fills as they come; the store takes other commands
  // meanwhile. A result with an id is in the library; one whose write
  // failed leaves nothing in the media folder. `progress` and `done` run on
  // the main executor. Cancelling the returned job keeps the images already
  // in place; the others leave no file behind. Images still arriving when
  // another project has been opened are not added.
  using ImagesAdded = std::function<void(const std::vector<ImageAddResult>&)>;
  std::shared_ptr<ImageIntakeJob> addImagesInBackground(const std::vector<std::string>& paths,
                                                        Progress progress, ImagesAdded done);
  bool updateArtwork(const std::string& artworkId, const ArtworkMetadata& metadata);
  // `artworkIds` must name every artwork of the project exactly once.
  bool reorderArtworks(const std::vector<std::string>& artworkIds);
  bool removeArtwork(const std::string& artworkId);
  // Removes several works at once: one step for undo. Stops at the first
  // that is not in the project (an error toast); how many were removed.
  std::size_t removeArtworks(const std::vector<std::string>& artworkIds);
  // The works of the library the open project does not show, read on the
  // save queue after the pending saves.
  void vaultInBackground(std::function<void(std::vector<ReusableArtworkAsset>)> done);
  // The library's figures (artworks, texts and CVs written), read on the
  // save queue after the pending saves; `done` runs on the main executor.
  void libraryCountsInBackground(std::function<void(const LibraryKPIOverview&)> done);
  bool addFromVault(const std::string& artworkId);
  // Adds the works of the Vault at the end of the project, in the given
  // order, and says in a toast how many went to which project; stops at
  // the first that cannot be added (an error toast). How many were added.
  std::size_t addFromVault(const std::vector<std::string>& artworkIds);
  void setUnit(UnitSystem unit);
  void setLayoutMode(ArtworkLayoutMode mode);

  // Texts: `section` is bio, statement or projectStatement.
  bool setText(SaveSection section, const std::string& text,
               const std::optional<std::string>& title = {});
  void setCV(const CVData& cv);
  void setCVTitle(const std::string& title);
  std::vector<ReusableTextAsset> reusableTexts(TextAssetType type);
  // How much of its page the text of `section` (bio, statement or
  // projectStatement) takes on the export's paper, and whether it is all
  // printed: what a text editor warns with before the document cuts it.
  TextPageFill textPageFill(SaveSection section) const;
  std::vector<ReusableCVAsset> reusableCVs();
  // Makes the open project use another project's text (or CV) asset.
  bool reuseText(TextAssetType type, const std::string& assetId);
  // Gives the open project a copy of its own of a text (or the CV) it
  // shares with other projects: edits then reach this project only, and
  // the others keep the text as it is. Nothing to do for a text of its own.
  // One step of the Edit menu.
  bool copyText(TextAssetType type);
  // copyText for every text the open project shares: what a new project
  // that was given the latest texts does when the user wants its own.
  bool copySharedTexts();

  // The title of the open project's text (or CV) as the interface shows
  // it: a default title in the interface language ("Biographie" for the
  // stored "Biography"), any other as the user wrote it. Titles don't print.
  std::string shownTextTitle(TextAssetType type) const;

  void setDetails(const ArtistDetails& details);
  // Gives the projects of `state().detailsLeftBehind` the open project's
  // details as they now are (the artist moved, changed e-mail…); the open
  // project's own edit is written first. Not a step of the Edit menu: the
  // other projects are not open. False, with a toast, when writing failed.
  bool applyDetailsToOtherProjects();

  // PDF labels. Clearing stores an empty override, which prints the
  // built-in label again.
  bool setLabelOverride(const LabelOverrideEntry& entry);
  bool clearLabelOverride(const std::string& scope, const std::string& locale,
                          const std::string& key);
  std::vector<LabelOverrideEntry> labelOverrides();

  // Settings, remembered in the preferences. An empty export language
  // means each project's own. False, with an error toast, when the
  // preferences could not be written (the setting holds for this run).
  bool setExportOptions(const ExportOptions& options);
  // The title above the text of `section` (bio, statement or
  // projectStatement) shown or not, as the user decided; a title never
  // decided prints as each document has it by default.
  bool setTitleShown(SaveSection section, bool shown);
  bool setUiLanguage(const std::optional<std::string>& language);
  bool setThemeMode(ThemeMode mode);
  bool setEditTitlesEnabled(bool enabled);
  // Backup reminders; each publishes the reminder state. `evaluate…`
  // shows the reminder due now, if any; dismissing closes it (a snooze
  // keeps reminders away for 7 days, 14 after a strong one). The settings
  // return false, with an error toast, when the preferences could not be
  // written (the setting holds for this run).
  void evaluateBackupReminder();
  void dismissBackupReminder(BackupReminderLevel level, bool snooze);
  bool setBackupRemindersEnabled(bool enabled);
  bool setBackupReminderFrequency(BackupReminderFrequency frequency);
  bool setRemindBeforeLargeEdits(bool enabled);
  // A project package was written (or read) at `at`.
  void markProjectDataExported(Date at);
  void markProjectDataImported(Date at);
  // Why the latest write of the preferences failed, when one did.
  std::optional<std::string> preferencesWriteFailure() const;

  // Documents. `renderPDF` renders now, for an export (a complete portfolio
  // is counted); nothing, with an error toast, when it fails.
  std::optional<PdfRenderResult> renderPDF(const RenderRequest& request,
                                           const ExportOptions& options);
  // One page of the open project as the export would lay it out with
  // `options` — an artwork's page, or the first page of a text or the CV —
  // drawn as pixels `longEdge` on its longer side; nothing, with the error
  // shown, when it can't be drawn.
  std::optional<RgbPixels> renderPageImage(const RenderRequest& request,
                                           const ExportOptions& options, int longEdge);
  // Writes the document to `path` on the render queue as it is made,
  // atomically (the file appears whole, or not at all; a file it replaces
  // keeps its permissions). A path in the library's folder is refused: an
  // export must never take the place of the library. Without
  // `replaceExisting`, a file already at `path` is never replaced (checked
  // in the same step that puts the export there). Progress and `done` (the
  // warnings, or nothing after a failure, shown as a toast, or a cancel) run
  // on the main executor. Cancelling the returned job leaves nothing at
  // `path`.
  using Exported = std::function<void(const std::optional<std::vector<PdfWarning>>&)>;
  std::shared_ptr<ExportJob> exportPDFInBackground(const RenderRequest& request,
                                                   const ExportOptions& options,
                                                   const std::string& path, Progress progress,
                                                   Exported done, bool replaceExisting = true);

  // The file name an export of `kind` is given today: the export rule's
  // (model/export_file_names.h) in `exportLocale`, the project's language
  // when empty. A catalogue project's portfolio is named as a catalogue,
  // after the project's printed title. Not for a single artwork.
  std::string exportName(RenderKind kind, const std::string& exportLocale = {}) const;

  // Renders a preview on the render queue and publishes it on the main
  // executor, unless a newer preview was asked for meanwhile: the latest
  // request wins.
  void requestPreview(const RenderRequest& request);

  // Project packages (backups). A package export writes the open project
  // (its pending edits first) at `path`, whole or not at all (an
  // older file replaced only with `options.replaceExisting`), and reads it
  // back before it takes its name (packages/transfer_service.h); what was
  // written, or nothing with an error toast. Every work with an image goes
  // in with its original: one whose original can't be used
  // (app/original_check.h) refuses the backup, naming it (and listed in
  // `lastBackupMissingOriginals`), unless `allowMissingOriginals`, when the
  // result names the works written without their image. The export is
  // recorded: the backup reminders start afresh. `progress` is told as the
  // originals go in, then as they are checked. The originals are looked at
  // and copied into the package on the save queue (after the pending
  // writes), with `progress` and `done` (what was written, or nothing after
  // a failure, shown as a toast) told on the main executor.
  using PackageWritten = std::function<void(const std::optional<WrittenPackage>&)>;
  void exportProjectPackageInBackground(const std::string& path, PackageExportOptions options,
                                        TransferProgressFn progress, PackageWritten done);
  // Every live project backed up into `folder`, each under its export name
  // (app/all_backups.h): what was written, what was not and why (also
  // said in a toast), and the works only the Vault holds. Recorded as a
  // backup when every project was written. Nothing, with a toast, when it
  // can't start. The packages are written on the save queue (after the
  // pending edits); `progress` and `done` are told on the main executor.
  using AllBackupsWritten = std::function<void(const std::optional<AllBackups>&)>;
  void exportAllProjectPackagesInBackground(const std::string& folder, PackageExportOptions options,
                                            AllBackupsProgress progress, AllBackupsWritten done);
  // Gathers the works no live project shows (only in the Vault, which no
  // project's backup holds) into a new project, "From the Vault", and
  // opens it; its id, or nothing when there are none.
  std::optional<std::string> gatherVaultOnlyArtworks();
  // The works of the open project whose image has no original a backup or
  // a print could use, and why.
  std::vector<MissingOriginal> missingOriginals() const;
  // The works that kept the last package export from being written.
  const std::vector<MissingOriginal>& lastBackupMissingOriginals() const;
  // The file name a package of the open project is given.
  std::string projectPackageFileName() const;
  // The name of the live project the package at `path` already is (the
  // same name and the same works), if any — asked before an import makes
  // a second copy of it. Nothing too when the package can't be read (the
  // import says why).
  std::optional<std::string> projectAlreadyInLibrary(const std::string& path);
  // Reads a package into the library as a new project (see
  // app/package_import.h): read and merged on the save queue (the
  // library's one writer, after the pending saves) while the main executor
  // takes other commands; each step is shown as a toast and told to
  // `request.step`, the progress and the end (the new project's id, or
  // nothing with an error toast, "This file could not be imported…", the
  // reason in `lastImportFailure`) on the main executor. One import at a
  // time: false at once, with the reason shown, when one is running.
  bool importProjectPackageInBackground(PackageImportRequest request);
  // Exports the open project into a package in `folder` and reads it back
  // (nothing recorded, nothing imported): "Round-trip OK. Artworks: 3 -> 3.
  // Images restored: 2/2." or why not.
  using RoundTripReport = quorvane::RoundTripReport;
  RoundTripReport roundTripProjectPackage(const std::string& folder);
  // Finishes the images of imported packages still pending (see
  // app/import_finalization.h), one by one on `imageQueue`, each written
  // into its artwork as it is done, and publishes `importFinalizationStatus`.
  // Ids whose artworks are gone (or have no original) are dropped; an image
  // that can't be finished is reported and dropped. A run for a window waits
  // while the application is in the background or the machine is hot (see
  // app/finalization_pause.h), saying why in the status, and goes on by
  // itself when that passes; when it ends, images of an import made
  // meanwhile get a run of their own. One run at a time.
  void startImportFinalization(FinalizationRequest request = {});
  // How many imported images wait to be finished (or to be looked at).
  std::size_t importImagesAwaiting() const;
  bool isImportFinalizationRunning() const;
  // Why the last import failed: the package's fault (its case name) or the
  // disk's, in words.
  const std::optional<std::string>& lastImportFailure() const;

  // Empties the library and the media folder, then starts a new project.
  bool deleteAllUserData();
  // How many artworks the library holds, the Vault's and those of deleted
  // projects included: what deleting everything would take.
  std::size_t libraryArtworkCount();

  // Web CV import. Preparing writes what is pending, reads the generator's
  // export at `path` and plans it against the open project; nothing when it
  // can't ("cv.import.error.…" in the toast, the code in
  // `lastWebCVImportError`). Applying writes the groups `selection`
  // replaces in one transaction, then puts them in the open project and
  // releases the saves held back meanwhile; false, with the project as it
  // was, when it fails (`stale` when the project changed since preparing,
  // `busy` while another import runs). Replacing nothing changes nothing.
  // The file is read and planned on the save queue, after the writes
  // pending now; `done` is told on the main executor, with nothing when it
  // failed (said as above). False at once when it can't start.
  bool prepareWebCVImportInBackground(const std::string& path,
                                      std::function<void(std::optional<PreparedWebCVImport>)> done);
  // The groups are written on the save queue; `done` is told on the main
  // executor. False at once (and `done` never told) when it can't start.
  bool applyWebCVImportInBackground(const PreparedWebCVImport& prepared,
                                    const WebCVImportSelection& selection,
                                    std::function<void(bool)> done);
  const std::optional<WebCVImportErrorCode>& lastWebCVImportError() const;

  void dismissToast();

  // Page thumbnails (app/page_thumbnails.h). Every change that alters a
  // page schedules its thumbnail by itself; these are for a window that
  // wants one now, or reads one. Nothing happens without a thumbnail queue.
  void enqueueArtworkPdfThumb(const std::string& artworkId, std::string_view reason);
  void enqueueDocumentPdfThumb(SaveSection section, std::string_view reason);
  using ThumbLoaded = std::function<void(const std::optional<std::vector<std::uint8_t>>&)>;
  void loadArtworkPdfThumb(const std::string& artworkId, ThumbLoaded done);
  void loadDocumentPdfThumb(SaveSection section, ThumbLoaded done);
  // The artwork open in the works inspector: its thumbnail jumps the queue.
  void setWorksInspectorArtwork(const std::optional<std::string>& artworkId);
  // A picture of an artwork of the library for a board's cell (or a
  // project's cover), at most `longEdge` pixels on its longer side: its
  // page thumbnail when there is one, else its web image (and, for the
  // open project's, the missing page is scheduled). Decoded on the picture
  // queue; `done` runs on the main executor, with nothing when the artwork
  // has neither (or is gone).
  using BoardPicture = quorvane::BoardPicture;
  using PictureLoaded = std::function<void(const std::optional<BoardPicture>&)>;
  void loadBoardPicture(const std::string& artworkId, int longEdge, PictureLoaded done);
  // Draws, here and now, every thumbnail of the open project that is
  // missing or stale (the command line's `thumbnails`); `progress` is told
  // after each page.
  using ThumbnailReport = quorvane::ThumbnailReport;
  ThumbnailReport buildThumbnails(const Progress& progress = {});

  // What the platform tells a window. Leaving the application hands every
  // pending save to the save queue at once (the user may be about to shut
  // the machine); a change of the system's language speaks it from now on
  // (unless a language was chosen); memory pressure empties the render
  // cache.
  void applicationBecameActive();
  void applicationBecameInactive();
  void systemLocaleChanged();
  void memoryPressure();
  // What the machine says of its heat and its power profile
  // (platform/system_conditions.h); a hot machine holds back the
  // finalisation of imported images.
  // The user asked to save (Ctrl+S): every change waiting for its
  // debounce is written now, on the save queue.
  void saveNow();
  void thermalStateChanged(ThermalState state);
  void lowPowerModeChanged(bool lowPower);

 private:
  // Tells the observers. Throws std::logic_error off the main thread: the
  // published state belongs to it.
  void publish();
  void checkMainThread() const;
  // Writes what is pending and waits for writes in flight.
  void settleSaves();
  // Stamps the section's times (created at its first change, updated at
  // each) and schedules its save.
  void scheduleSave(SaveSection section);
  void stampSection(SaveSection section);
  // The content of each section as it now is, against which the next edits
  // are told from saves that change nothing.
  void rememberStampedContent();
  void countChanges(std::int64_t count);
  Artwork* artwork(const std::string& artworkId);
  bool failWithKey(std::string_view key, std::initializer_list<std::string> arguments = {});
  bool fail(const std::string& text);
  // The failure in the user's words; its domain and codes in a diagnostic.
  bool failWith(const std::exception& error);
  void showToast(ToastStyle style, const std::string& text, std::optional<ToastAction> action = {});
  std::string text(std::string_view key, std::initializer_list<std::string> arguments = {}) const;
  void reloadSummaries();
  // Which other projects use the open project's texts, read again.
  void refreshSharedTexts();
  // Links the new open project to the latest biography, statement and CV.
  void shareLatestTexts();
  void noticeSharedEdit(TextAssetType type);
  // A title as written to the library: the shown default is stored as the
  // default (see shownTextTitle).
  std::string titleToStore(TextAssetType type, const std::string& title) const;
  void loadPreferences();
  // Copies the reminder state into the published state and tells observers.
  void publishBackupReminderState();
  UnitSystem initialUnit();
  void adopt(LoadedProject loaded);
  bool openLoaded(const std::string& projectId, bool remember);
  // A project made for the user (at a first start, after deleting the
  // last one) is written only once something is put in it, so it never
  // lingers empty beside the project the user creates next.
  std::optional<std::string> startNewProject(const ProjectChanges& changes, bool persist,
                                             const std::optional<std::string>& id = {});
  void ensurePersisted();
  // Leaving a project never written: it goes from the list.
  void forgetIfUnsaved();
  bool rememberCurrentProject();
  // What the user wrote, without control characters (see inputNotice).
  std::string cleaned(std::string_view text, TextShape shape);
  ProjectChanges cleaned(const ProjectChanges& changes);
  ArtworkMetadata cleaned(const ArtworkMetadata& metadata);
  // A currency that is no code is refused, with a toast; true then.
  bool refuseUnknownCurrency(const std::optional<std::string>& currency);
  bool failSettingsWrite();

  AppStoreServices services_;
  AppState state_;
  BackupReminders reminders_;
  std::unique_ptr<SavePipeline> pipeline_;
  std::map<std::size_t, ChangeObserver> observers_;
  PublishedDigest published_;
  bool publishing_ = false;    // observers are being told
  bool publishAgain_ = false;  // the state changed while they were
  std::thread::id mainThread_ = std::this_thread::get_id();
  std::size_t nextObserver_ = 1;
  std::uint64_t changeCount_ = 0;
  std::size_t removedCharacters_ = 0;
  // The shared texts whose first edit of this run has been told of.
  std::set<TextAssetType> sharedEditsNoticed_;
  // The open project's details as opened or last applied elsewhere, and
  // the other projects that had exactly these (see detailsLeftBehind).
  ArtistDetails detailsAsOpened_;
  std::vector<ProjectRef> detailsTwins_;
  bool isUnsaved_ = false;                           // the open project is not in the library yet
  std::map<std::string, std::size_t> silentWrites_;  // project id → writes not counted
  std::map<SaveSection, std::uint64_t> stampedContent_;  // content at its last stamp
  // Each capability's own state and helpers (app/store/*_room.h); they
  // reach the shared state above through the store.
  friend class DocumentsRoom;
  friend class FinalizationRoom;
  friend class IntakeRoom;
  friend class PackagesRoom;
  friend class ThumbnailRoom;
  friend class UndoRoom;
  friend class WebCVRoom;
  std::unique_ptr<DocumentsRoom> documents_;
  std::unique_ptr<FinalizationRoom> finalization_;
  std::unique_ptr<IntakeRoom> intake_;
  std::unique_ptr<PackagesRoom> packages_;
  std::unique_ptr<ThumbnailRoom> thumbnails_;
  std::unique_ptr<WebCVRoom> webCVImport_;
  std::unique_ptr<UndoRoom> undo_;
  std::shared_ptr<AppStore*> self_;  // render results reach the store through it while it lives
};

}  // namespace quorvane
