// quorvane-desktop: the window over the artist's library.
//   quorvane-desktop [--verbose] [FILE.quorvane]
//   quorvane-desktop --help | --version
//   quorvane-desktop --screenshots FOLDER   (scripts/screenshots)
#include <unistd.h>
#include <QApplication>
#include <QFileInfo>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QTimer>
#include <csignal>
#include <cstring>
#include <functional>
#include <iostream>

#include "gui/desktop_session.h"
#include "gui/main_window.h"
#include "gui/screenshot_tour.h"
#include "gui/theme.h"
#include "gui/window_hand_over.h"
#include "gui/words.h"
#include "platform/clock.h"
#include "quorvane_version.h"

namespace {

// A desktop ending its session (or a `kill`) sends SIGTERM: the window
// closes as if the user had quit, so the edits still in their debounce are
// written. The handler only writes a byte; the event loop does the rest.
int signalPipe[2] = {-1, -1};

void onTerminate(int) {
  const char byte = 1;
  [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

void quitOnTerminate(QObject& context) {
  if (::pipe(signalPipe) != 0) return;
  auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &context);
  QObject::connect(notifier, &QSocketNotifier::activated, &context, [notifier] {
    char byte = 0;
    [[maybe_unused]] const auto read = ::read(signalPipe[0], &byte, 1);
    notifier->setEnabled(false);
    // A second signal ends the program at once, should quitting hang.
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGHUP, SIG_DFL);
    // Not quit(): that asks each window, and a window with work under way
    // would wait for an answer nobody is there to give.
    QCoreApplication::exit(0);
  });
  struct sigaction action {};
  action.sa_handler = onTerminate;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
}

constexpr const char* kUsage =
    "Usage: quorvane-desktop [--verbose] [FILE.quorvane]\n"
    "Opens the Quorvane window over your library of works and texts.\n"
    "\n"
    "  FILE.quorvane  a project backup to import (the window asks first when the\n"
    "                 project is already in your library); when the window is\n"
    "                 open already, it is handed the file\n"
    "  --verbose      print diagnostics (key=value lines) on standard error\n"
    "  --help         print this and end\n"
    "  --version      print the version and end\n"
    "\n"
    "The command line, 'quorvane', works on the same library: see 'quorvane --help'\n"
    "and 'man quorvane'.\n";

}  // namespace

int main(int argc, char** argv) {
  bool verbose = false;
  QString screenshots;  // a picture of each screen, then quit
  QStringList files;    // backups to import
  // Read before the application exists: --help and --version need no display.
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
      std::cout << kUsage;
      return 0;
    }
    if (std::strcmp(argv[i], "--version") == 0) {
      std::cout << "quorvane-desktop " << kQuorvaneVersion << '\n';
      return 0;
    }
    verbose = verbose || std::strcmp(argv[i], "--verbose") == 0;
    if (std::strcmp(argv[i], "--screenshots") == 0 && i + 1 < argc) {
      screenshots = QString::fromLocal8Bit(argv[++i]);
    } else if (argv[i][0] != '-') {
      files << QFileInfo(QString::fromLocal8Bit(argv[i])).absoluteFilePath();
    }
  }
  QApplication application(argc, argv);
  // A window already open over this library takes the files (or just comes
  // to the front): one window per library.
  const QString handOver =
      quorvane::gui::WindowHandOver::socketName(quorvane::gui::libraryDirectory());
  if (screenshots.isEmpty() && quorvane::gui::WindowHandOver::handTo(handOver, files)) return 0;
  QApplication::setApplicationName(QStringLiteral("Quorvane"));
  QApplication::setApplicationVersion(QString::fromLatin1(kQuorvaneVersion));
  QApplication::setDesktopFileName(QStringLiteral("app.quorvane.Quorvane"));
  const QPalette systemPalette = QApplication::palette();

  quorvane::StreamLogger diagnostics(std::cerr);
  quorvane::Logger& logger =
      verbose ? static_cast<quorvane::Logger&>(diagnostics) : quorvane::nullLogger();
  // The tour changes the library it is shown (it moves works to the Vault,
  // makes a project): only on one made for it, as scripts/screenshots does.
  if (!screenshots.isEmpty() && qEnvironmentVariable("QUORVANE_SCREENSHOT_LIBRARY") != "1") {
    std::cerr << "quorvane-desktop: --screenshots changes the library it opens; run it through "
                 "scripts/screenshots (make screenshots), which makes a demo library for it\n";
    return 2;
  }
  QObject mainContext;
  std::unique_ptr<quorvane::gui::DesktopSession> session;
  try {
    session = std::make_unique<quorvane::gui::DesktopSession>(mainContext, logger);
  } catch (const std::exception& error) {
    // Nothing to write yet: a SIGTERM ends the program at once, as it
    // would any program (the message may wait a long time for a reader).
    QMessageBox::critical(nullptr, QStringLiteral("Quorvane"), QString::fromUtf8(error.what()));
    return 1;
  }
  // From here on there may be edits to write first.
  quitOnTerminate(mainContext);
  quorvane::AppStore& store = session->store();
  quorvane::gui::applyTheme(application, store.state().themeMode, systemPalette);
  int status = 0;
  {
    quorvane::gui::MainWindow window(
        quorvane::gui::DesktopContext{store, session->preferences(), quorvane::systemClock()});
    window.show();
    // Launches after this one hand their files here.
    std::function<void(const QStringList&)> importFiles;
    importFiles = [&window, &importFiles](const QStringList& given) {
      window.showNormal();
      window.raise();
      window.activateWindow();
      if (given.isEmpty()) return;
      // Not in the middle of a question or of another import: the file
      // waits its turn.
      if (QApplication::activeModalWidget() != nullptr || window.isBackupRunning()) {
        QTimer::singleShot(500, &window, [&importFiles, given] { importFiles(given); });
        return;
      }
      // One import at a time: the first backup given.
      window.importBackup(given.front());
    };
    quorvane::gui::WindowHandOver listener(handOver, importFiles);
    if (!files.isEmpty()) {
      QTimer::singleShot(0, &window, [importFiles, files] { importFiles(files); });
    }
    for (const std::string& notice : session->notices()) {
      QTimer::singleShot(0, &window, [&window, notice] {
        QMessageBox::information(&window, QStringLiteral("Quorvane"), quorvane::gui::qstr(notice));
      });
    }
    if (!screenshots.isEmpty()) {
      QTimer::singleShot(0, &window, [&window, screenshots] {
        const int written = quorvane::gui::takeScreenshots(window, screenshots);
        QCoreApplication::exit(written > 0 ? 0 : 1);
      });
    }
    status = QApplication::exec();
  }
  session.reset();
  return status;
}
