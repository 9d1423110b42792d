#include "pdf/pdf_labels.h"

#include <algorithm>

namespace quorvane {
namespace {

struct PdfLabel {
  std::string_view key;
  // en, fr, it, de, es; empty where a language has no text of its own.
  std::array<std::string_view, 5> texts;
};

constexpr std::array<std::string_view, 5> kLanguages{"en", "fr", "it", "de", "es"};

// Deliberate, and kept so that every document printed so far reads the same
// when printed again: outside English the CV intro prints the bare year and
// the bare place, with no word for "born" (the shortest line in languages
// whose word for it changes with gender); only English says "Selected …" in the CV section
// titles, as English-speaking galleries print them; Italian, German and
// Spanish have no cover texts of their own and print the English ones, which
// a label override can change per language.
constexpr std::array<PdfLabel, 48> kPdfLabels{{
    {"pdf.cover.portfolio_title", {"Portfolio", "Portfolio", "", "", ""}},
    {"pdf.cover.artist_name_fallback", {"Artist Name", "Nom de l'artiste", "", "", ""}},
    {"pdf.statement.title",
     {"Artist Statement", "Démarche artistique", "Dichiarazione artistica",
      "Künstlerisches Statement", "Declaración artística"}},
    {"pdf.project_statement.title",
     {"Project Statement", "Démarche de projet", "Dichiarazione di progetto", "Projektstatement",
      "Declaración de proyecto"}},
    {"pdf.biography.title", {"Biography", "Biographie", "Biografia", "Biografie", "Biografía"}},
    {"pdf.portfolio.section.statement_title",
     {"Artist Statement", "Démarche artistique", "Dichiarazione artistica",
      "Künstlerisches Statement", "Declaración artística"}},
    {"pdf.portfolio.section.project_statement_title",
     {"Project Statement", "Démarche de projet", "Dichiarazione di progetto", "Projektstatement",
      "Declaración de proyecto"}},
    {"pdf.portfolio.section.biography_title",
     {"Biography", "Biographie", "Biografia", "Biografie", "Biografía"}},
    {"pdf.toc.title",
     {"Table of Contents", "Table des matières", "Indice", "Inhaltsverzeichnis", "Índice"}},
    {"pdf.toc.project_statement",
     {"Project Statement", "Démarche de projet", "Dichiarazione di progetto", "Projektstatement",
      "Declaración de proyecto"}},
    {"pdf.toc.statement",
     {"Artist Statement", "Démarche artistique", "Dichiarazione artistica",
      "Künstlerisches Statement", "Declaración artística"}},
    {"pdf.toc.biography", {"Biography", "Biographie", "Biografia", "Biografie", "Biografía"}},
    {"pdf.toc.cv",
     {"Curriculum Vitae", "Curriculum Vitae", "Curriculum Vitae", "Lebenslauf", "Currículum"}},
    {"pdf.toc.artworks",
     {"Selected Works", "Œuvres sélectionnées", "Opere selezionate", "Ausgewählte Werke",
      "Obras seleccionadas"}},
    {"pdf.toc.contact", {"Contact", "Contact", "Contatti", "Kontakt", "Contacto"}},
    {"pdf.cv.intro.born", {"b. {year}", "{year}", "{year}", "{year}", "{year}"}},
    {"pdf.cv.intro.born_in", {"Born in {place}", "{place}", "{place}", "{place}", "{place}"}},
    {"pdf.cv.intro.born_year_dash_location",
     {"b. {year} — {location}", "{year} — {location}", "{year} — {location}", "{year} — {location}",
      "{year} — {location}"}},
    {"pdf.cv.intro.lives_and_works_in",
     {"Lives and works in {location}", "Vit et travaille à {location}",
      "Vive e lavora a {location}", "Lebt und arbeitet in {location}",
      "Vive y trabaja en {location}"}},
    {"pdf.cv.section.education",
     {"Education", "Formation", "Istruzione", "Ausbildung", "Educación"}},
    {"pdf.cv.section.solo_exhibitions",
     {"Selected solo exhibitions", "Expositions personnelles", "Mostre personali",
      "Einzelausstellungen", "Exposiciones individuales"}},
    {"pdf.cv.section.group_exhibitions",
     {"Selected group exhibitions", "Expositions collectives", "Mostre collettive",
      "Gruppenausstellungen", "Exposiciones colectivas"}},
    {"pdf.cv.section.art_fairs",
     {"Art fairs", "Foires d'art", "Fiere d'arte", "Kunstmessen", "Ferias de arte"}},
    {"pdf.cv.section.commissions",
     {"Commissions", "Commandes", "Commissioni", "Aufträge", "Comisiones"}},
    {"pdf.cv.section.work_experience",
     {"Work experience", "Expérience professionnelle", "Esperienza professionale",
      "Berufserfahrung", "Experiencia profesional"}},
    {"pdf.cv.section.collections",
     {"Selected collections", "Collections", "Collezioni", "Sammlungen", "Colecciones"}},
    {"pdf.cv.section.grants_awards",
     {"Grants & awards", "Bourses et prix", "Borse e premi", "Stipendien und Preise",
      "Becas y premios"}},
    {"pdf.cv.section.residencies",
     {"Residencies", "Résidences", "Residenze", "Residenzen", "Residencias"}},
    {"pdf.cv.section.press", {"Selected press", "Presse", "Stampa", "Presse", "Prensa"}},
    {"pdf.cv.section.bibliography",
     {"Bibliography", "Bibliographie", "Bibliografia", "Bibliografie", "Bibliografía"}},
    {"pdf.cv.section.representation",
     {"Representation", "Représentation", "Rappresentanza", "Vertretung", "Representación"}},
    {"pdf.artwork.status.available",
     {"Available", "Disponible", "Disponibile", "Verfügbar", "Disponible"}},
    {"pdf.artwork.status.sold", {"Sold", "Vendu", "Venduto", "Verkauft", "Vendido"}},
    {"pdf.artwork.status.in_progress",
     {"In progress", "En cours", "In corso", "In Arbeit", "En curso"}},
    {"pdf.raisonne.number",
     {"No. {number}", "N° {number}", "N. {number}", "Nr. {number}", "N.º {number}"}},
    {"pdf.artwork.untitled",
     {"Untitled", "Sans titre", "Senza titolo", "Ohne Titel", "Sin título"}},
    {"pdf.press.in_outlet",
     {"in {outlet}", "dans {outlet}", "in {outlet}", "in {outlet}", "en {outlet}"}},
    // The lists at the end of catalogues, and their columns.
    {"pdf.toc.price_list",
     {"Price list", "Liste de prix", "Listino prezzi", "Preisliste", "Lista de precios"}},
    {"pdf.toc.checklist",
     {"List of works", "Liste des œuvres", "Elenco delle opere", "Werkliste", "Lista de obras"}},
    {"pdf.toc.index",
     {"Index by year", "Index par année", "Indice per anno", "Register nach Jahren",
      "Índice por año"}},
    {"pdf.list.number", {"No.", "N°", "N.", "Nr.", "N.º"}},
    {"pdf.list.title", {"Title", "Titre", "Titolo", "Titel", "Título"}},
    {"pdf.list.year", {"Year", "Année", "Anno", "Jahr", "Año"}},
    {"pdf.list.medium", {"Medium", "Technique", "Tecnica", "Technik", "Técnica"}},
    {"pdf.list.dimensions", {"Dimensions", "Dimensions", "Dimensioni", "Maße", "Dimensiones"}},
    {"pdf.list.price", {"Price", "Prix", "Prezzo", "Preis", "Precio"}},
    {"pdf.list.status", {"Status", "Statut", "Stato", "Status", "Estado"}},
    {"pdf.list.page", {"Page", "Page", "Pagina", "Seite", "Página"}},
}};

}  // namespace

std::optional<std::string_view> builtInPdfLabel(std::string_view language, std::string_view key) {
  const auto column = std::find(kLanguages.begin(), kLanguages.end(), language);
  if (column == kLanguages.end()) return std::nullopt;
  const auto label = std::find_if(kPdfLabels.begin(), kPdfLabels.end(),
                                  [&](const PdfLabel& entry) { return entry.key == key; });
  if (label == kPdfLabels.end()) return std::nullopt;
  const std::string_view text = label->texts[static_cast<std::size_t>(column - kLanguages.begin())];
  if (text.empty()) return std::nullopt;
  return text;
}

std::string PdfStrings::label(std::string_view key) const {
  if (const auto found = overrides_.find(std::string(key));
      found != overrides_.end() && !found->second.empty()) {
    return found->second;
  }
  if (const auto text = builtInPdfLabel(locale_, key)) return std::string(*text);
  if (const auto text = builtInPdfLabel(std::string_view(locale_).substr(0, 2), key)) {
    return std::string(*text);
  }
  if (const auto text = builtInPdfLabel("en", key)) return std::string(*text);
  return std::string(key);
}

std::string PdfStrings::format(std::string_view key,
                               const std::map<std::string, std::string>& values) const {
  std::string text = label(key);
  for (const auto& [name, value] : values) {
    const std::string placeholder = "{" + name + "}";
    for (std::size_t at = text.find(placeholder); at != std::string::npos;
         at = text.find(placeholder, at + value.size())) {
      text.replace(at, placeholder.size(), value);
    }
  }
  return text;
}

std::vector<std::string_view> pdfLabelKeys() {
  std::vector<std::string_view> keys;
  for (const PdfLabel& label : kPdfLabels) keys.push_back(label.key);
  return keys;
}

}  // namespace quorvane
