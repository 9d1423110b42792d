#include "gui/theme.h"

#include <QApplication>
#include <QStyleFactory>

// The window's pictures live in the library's resources, which a static
// library must bring in by name (outside any namespace).
static void loadThemeResources() { Q_INIT_RESOURCE(gui); }

namespace quorvane::gui {
namespace {

struct Colours {
  QColor window, sidebar, base, alternate, text, secondary, line, accent, accentText, card;
};

Colours colours(bool dark) {
  if (dark) {
    return {QColor(0x1e, 0x1f, 0x22), QColor(0x18, 0x19, 0x1b), QColor(0x26, 0x27, 0x2b),
            QColor(0x2c, 0x2d, 0x31), QColor(0xec, 0xec, 0xee), QColor(0x9a, 0x9b, 0xa1),
            QColor(0x3a, 0x3b, 0x40), QColor(0x7c, 0x9c, 0xff), QColor(0x10, 0x12, 0x18),
            QColor(0x26, 0x27, 0x2b)};
  }
  return {QColor(0xfa, 0xfa, 0xf9), QColor(0xf1, 0xf0, 0xee), QColor(0xff, 0xff, 0xff),
          QColor(0xf6, 0xf5, 0xf3), QColor(0x1d, 0x1d, 0x1f), QColor(0x6e, 0x6e, 0x73),
          QColor(0xe2, 0xe0, 0xdc), QColor(0x3a, 0x5c, 0xe0), QColor(0xff, 0xff, 0xff),
          QColor(0xff, 0xff, 0xff)};
}

}  // namespace

bool isDark(ThemeMode mode, const QPalette& system) {
  if (mode == ThemeMode::dark) return true;
  if (mode == ThemeMode::light) return false;
  return system.color(QPalette::Window).lightness() < 128;
}

QPalette themePalette(bool dark) {
  const Colours c = colours(dark);
  QPalette palette;
  palette.setColor(QPalette::Window, c.window);
  palette.setColor(QPalette::WindowText, c.text);
  palette.setColor(QPalette::Base, c.base);
  palette.setColor(QPalette::AlternateBase, c.alternate);
  palette.setColor(QPalette::Text, c.text);
  palette.setColor(QPalette::Button, c.base);
  palette.setColor(QPalette::ButtonText, c.text);
  palette.setColor(QPalette::Highlight, c.accent);
  palette.setColor(QPalette::HighlightedText, c.accentText);
  palette.setColor(QPalette::PlaceholderText, c.secondary);
  palette.setColor(QPalette::ToolTipBase, c.base);
  palette.setColor(QPalette::ToolTipText, c.text);
  palette.setColor(QPalette::Link, c.accent);
  palette.setColor(QPalette::Mid, c.line);
  palette.setColor(QPalette::Disabled, QPalette::Text, c.secondary);
  palette.setColor(QPalette::Disabled, QPalette::ButtonText, c.secondary);
  palette.setColor(QPalette::Disabled, QPalette::WindowText, c.secondary);
  // Fusion etches disabled text with this colour under it: white on a dark
  // menu made a disabled Redo look brighter than the Undo beside it.
  palette.setColor(QPalette::Disabled, QPalette::Light, Qt::transparent);
  return palette;
}

QString themeStyleSheet(bool dark) {
  const Colours c = colours(dark);
  QString sheet = QStringLiteral(R"(
QWidget#sidebar { background: %sidebar%; border-right: 1px solid %line%; }
QLabel#brand { font-size: 17px; font-weight: 700; letter-spacing: 0.5px; padding: 0 8px; }
QLabel#sidebarHeading { color: %secondary%; font-size: 11px; font-weight: 600; letter-spacing: 0.8px; padding: 4px 8px 2px 8px; }
QPushButton[nav="true"] { text-align: left; padding: 7px 10px; border: none; border-radius: 7px; background: transparent; }
QPushButton[nav="true"]:hover { background: %hover%; }
QPushButton[nav="true"]:checked { background: %selected%; font-weight: 600; }
QPushButton[segment="true"] { padding: 6px 12px; border: none; border-radius: 7px; background: transparent; }
QPushButton[segment="true"]:hover { background: %hover%; }
QPushButton[segment="true"]:checked { background: %selected%; }
QLabel#sidebarNote { color: %secondary%; padding: 0 8px; }
QListView#projectList { background: transparent; }
QLineEdit#projectName { font-size: 21px; font-weight: 650; background: transparent; padding: 2px 0; }
QLabel#fieldLabel { color: %secondary%; font-size: 11px; }
QLabel#saveIndicator { color: %secondary%; font-size: 12px; padding: 2px 8px; border-radius: 9px; }
QLabel#saveIndicator[saving="true"] { color: %accent%; }
QLabel#pageTitle { font-size: 24px; font-weight: 650; }
QLabel#sectionHeading { font-size: 14px; font-weight: 600; padding-top: 6px; qproperty-indent: 0; }
QLabel#secondaryText { color: %secondary%; }
QLabel#pageRoom { color: %secondary%; }
QLabel#pageRoom[level="near"] { color: #b7791f; }
QLabel#pageRoom[level="over"] { color: #d64545; font-weight: 600; }
QLabel#figureValue { font-size: 28px; font-weight: 650; }
QLabel#cardTitle { font-weight: 600; }
QFrame#card, QFrame#projectCard { background: %card%; border: 1px solid %line%; border-radius: 12px; }
QFrame#projectCard:hover, QFrame#projectCard:focus { border-color: %accent%; }
QWidget#deletedProjectRow { background: %card%; border: 1px solid %line%; border-radius: 12px; }
QLabel#cover { background: %alternate%; border-radius: 8px; }
QLabel#inspectorPreview { background: %alternate%; border-radius: 10px; }
QPushButton { padding: 6px 14px; border: 1px solid %line%; border-radius: 7px; background: %base%; }
QPushButton:hover { border-color: %accent%; }
QPushButton:disabled { color: %secondary%; }
QPushButton#primary, QPushButton#addImages { background: %accent%; color: %accentText%; border-color: %accent%; font-weight: 600; }
QPushButton#danger { color: #c93c3c; border-color: #d98a8a; }
QPushButton#danger:hover { background: rgba(214, 69, 69, 0.08); border-color: #d64545; }
QPushButton#primary:disabled { background: %line%; border-color: %line%; color: %secondary%; }
QToolButton#removeArtworks, QToolButton#replaceImage, QToolButton#toggleDetails { padding: 6px 10px; border: 1px solid %line%; border-radius: 7px; }
QToolButton#removeArtworks:disabled, QToolButton#replaceImage:disabled { color: %secondary%; }
QToolButton#toggleDetails:checked { background: %selected%; }
QLineEdit, QPlainTextEdit, QComboBox { padding: 4px 6px; border: 1px solid %line%; border-radius: 6px; background: %base%; }
QLineEdit:focus, QPlainTextEdit:focus, QComboBox:focus { border-color: %accent%; }
QComboBox { padding-right: 22px; }
QComboBox::drop-down { subcontrol-origin: padding; subcontrol-position: center right; width: 20px; border: none; }
QComboBox::down-arrow { image: url(:/quorvane/%chevron%); width: 10px; height: 6px; }
QComboBox QAbstractItemView { border: 1px solid %line%; background: %base%; padding: 4px; outline: 0; selection-background-color: %selected%; selection-color: %text%; }
QScrollBar:vertical { width: 10px; background: transparent; margin: 2px 2px 2px 0; }
QScrollBar:horizontal { height: 10px; background: transparent; margin: 0 2px 2px 2px; }
QScrollBar::handle { background: %scroll%; border-radius: 4px; }
QScrollBar::handle:vertical { min-height: 32px; }
QScrollBar::handle:horizontal { min-width: 32px; }
QScrollBar::handle:hover { background: %secondary%; }
QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; border: none; background: transparent; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QLineEdit[invalid="true"] { border-color: #d64545; }
QLabel#fieldHint { color: #c93c3c; font-size: 11px; }
QLabel#labelPlace { color: %secondary%; font-size: 11px; }
QLineEdit#projectName { border: 1px solid transparent; }
QLineEdit#projectName:focus { border-color: %accent%; }
QFrame#toast { background: %base%; border: 1px solid %line%; border-radius: 12px; }
QFrame#toast[toastStyle="error"] { border-left: 4px solid #d64545; }
QFrame#toast[toastStyle="success"] { border-left: 4px solid #2f9e63; }
QFrame#toast[toastStyle="info"] { border-left: 4px solid %accent%; }
QLabel#toastTitle { font-weight: 600; }
QWidget#reminder { background: %selected%; border-radius: 9px; }
QProgressBar { border: none; background: %line%; border-radius: 3px; }
QProgressBar::chunk { background: %accent%; border-radius: 3px; }
QCheckBox { spacing: 8px; }
QCheckBox::indicator { width: 15px; height: 15px; border: 1px solid %line%; border-radius: 4px; background: %base%; }
QCheckBox::indicator:hover { border-color: %accent%; }
QCheckBox::indicator:checked { background: %accent%; border-color: %accent%; image: url(:/quorvane/%check%); }
QRadioButton { spacing: 8px; }
QRadioButton::indicator { width: 14px; height: 14px; border: 1px solid %line%; border-radius: 8px; background: %base%; }
QRadioButton::indicator:hover { border-color: %accent%; }
QRadioButton::indicator:checked { border: 5px solid %accent%; width: 6px; height: 6px; }
QTabBar#projectTabs { background: transparent; }
QTabBar#projectTabs::tab { padding: 9px 2px 7px 2px; margin: 0 18px 0 0; border: none; border-bottom: 2px solid transparent; background: transparent; color: %secondary%; }
QTabBar#projectTabs::tab:selected { color: %text%; border-bottom-color: %accent%; font-weight: 600; }
QTabBar#projectTabs::tab:hover { color: %text%; }
QWidget#projectTabsRow { border-bottom: 1px solid %line%; }
QTreeView { border: 1px solid %line%; border-radius: 6px; background: %base%; alternate-background-color: %alternate%; }
QTreeView::item { padding: 3px 4px; }
QHeaderView::section { background: transparent; border: none; border-bottom: 1px solid %line%; padding: 4px; color: %secondary%; font-weight: 600; }
QPushButton:focus { border: 2px solid %accent%; padding: 5px 13px; }
QPushButton#primary:focus, QPushButton#addImages:focus { border: 2px solid %text%; }
QPushButton[nav="true"]:focus, QPushButton[segment="true"]:focus { border: 2px solid %accent%; padding: 5px 8px; }
QToolButton:focus { border: 2px solid %accent%; border-radius: 6px; }
QToolButton#removeArtworks:focus, QToolButton#replaceImage:focus, QToolButton#toggleDetails:focus { border: 2px solid %accent%; padding: 5px 9px; }
QCheckBox::indicator:focus, QRadioButton::indicator:focus { border: 2px solid %accent%; }
QTabBar#projectTabs::tab:focus { color: %accent%; }
QSplitter::handle { background: %line%; }
QSplitter::handle:horizontal { width: 1px; }
)");
  QColor hover = c.accent;
  hover.setAlpha(22);
  QColor selected = c.accent;
  selected.setAlpha(44);
  const auto rgba = [](const QColor& colour) {
    return QStringLiteral("rgba(%1, %2, %3, %4)")
        .arg(colour.red())
        .arg(colour.green())
        .arg(colour.blue())
        .arg(colour.alpha());
  };
  sheet.replace(QStringLiteral("%chevron%"),
                dark ? QStringLiteral("chevron-light.png") : QStringLiteral("chevron-dark.png"));
  sheet.replace(QStringLiteral("%check%"), dark ? QStringLiteral("check-on-dark-accent.png")
                                                : QStringLiteral("check-on-light-accent.png"));
  sheet.replace(QStringLiteral("%text%"), c.text.name());
  sheet.replace(QStringLiteral("%sidebar%"), c.sidebar.name());
  sheet.replace(QStringLiteral("%line%"), c.line.name());
  sheet.replace(QStringLiteral("%secondary%"), c.secondary.name());
  QColor scroll = c.text;
  scroll.setAlpha(70);
  sheet.replace(QStringLiteral("%scroll%"), rgba(scroll));
  sheet.replace(QStringLiteral("%hover%"), rgba(hover));
  sheet.replace(QStringLiteral("%selected%"), rgba(selected));
  sheet.replace(QStringLiteral("%accentText%"), c.accentText.name());
  sheet.replace(QStringLiteral("%accent%"), c.accent.name());
  sheet.replace(QStringLiteral("%card%"), c.card.name());
  sheet.replace(QStringLiteral("%alternate%"), c.alternate.name());
  sheet.replace(QStringLiteral("%base%"), c.base.name());
  return sheet;
}

void applyTheme(QApplication& application, ThemeMode mode, const QPalette& system) {
  loadThemeResources();
  const bool dark = isDark(mode, system);
  if (QStyle* fusion = QStyleFactory::create(QStringLiteral("Fusion")))
    application.setStyle(fusion);
  application.setPalette(themePalette(dark));
  application.setStyleSheet(themeStyleSheet(dark));
}

}  // namespace quorvane::gui
