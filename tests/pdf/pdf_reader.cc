#include "pdf/pdf_reader.h"

#include <poppler.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "support/temp_dir.h"

namespace quorvane::testing {
namespace {

struct Document {
  PopplerDocument* document = nullptr;
  explicit Document(const std::vector<std::uint8_t>& pdf) {
    GBytes* bytes = g_bytes_new(pdf.data(), pdf.size());
    GError* error = nullptr;
    document = poppler_document_new_from_bytes(bytes, nullptr, &error);
    g_bytes_unref(bytes);
    if (document == nullptr) {
      const std::string message = error != nullptr ? error->message : "unknown";
      if (error != nullptr) g_error_free(error);
      throw std::runtime_error("poppler can't open the PDF: " + message);
    }
  }
  ~Document() { g_object_unref(document); }
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  // The page, from 1, that a link or an outline entry opens.
  int pageOf(const PopplerAction* action) const {
    if (action == nullptr || action->type != POPPLER_ACTION_GOTO_DEST) return 0;
    const PopplerDest* dest = action->goto_dest.dest;
    if (dest == nullptr) return 0;
    if (dest->type != POPPLER_DEST_NAMED) return dest->page_num;
    PopplerDest* named = poppler_document_find_dest(document, dest->named_dest);
    if (named == nullptr) return 0;
    const int page = named->page_num;
    poppler_dest_free(named);
    return page;
  }
};

std::string owned(gchar* text) {
  std::string copy = text != nullptr ? text : "";
  g_free(text);
  return copy;
}

std::vector<ReadOutlineEntry> outlineOf(const Document& document, PopplerIndexIter* iter) {
  std::vector<ReadOutlineEntry> entries;
  if (iter == nullptr) return entries;
  do {
    PopplerAction* action = poppler_index_iter_get_action(iter);
    ReadOutlineEntry entry;
    if (action != nullptr && action->any.title != nullptr) entry.title = action->any.title;
    entry.page = document.pageOf(action);
    PopplerIndexIter* child = poppler_index_iter_get_child(iter);
    entry.children = outlineOf(document, child);
    if (child != nullptr) poppler_index_iter_free(child);
    poppler_action_free(action);
    entries.push_back(std::move(entry));
  } while (poppler_index_iter_next(iter));
  return entries;
}

}  // namespace

ReadProperties readProperties(const std::vector<std::uint8_t>& pdf) {
  const Document document(pdf);
  ReadProperties properties;
  properties.title = owned(poppler_document_get_title(document.document));
  properties.author = owned(poppler_document_get_author(document.document));
  properties.subject = owned(poppler_document_get_subject(document.document));
  properties.keywords = owned(poppler_document_get_keywords(document.document));
  properties.creator = owned(poppler_document_get_creator(document.document));
  const time_t created = poppler_document_get_creation_date(document.document);
  properties.created = created > 0 ? static_cast<long long>(created) : 0;
  return properties;
}

std::vector<ReadOutlineEntry> readOutline(const std::vector<std::uint8_t>& pdf) {
  const Document document(pdf);
  PopplerIndexIter* iter = poppler_index_iter_new(document.document);
  std::vector<ReadOutlineEntry> outline = outlineOf(document, iter);
  if (iter != nullptr) poppler_index_iter_free(iter);
  return outline;
}

std::vector<ReadLink> readLinks(const std::vector<std::uint8_t>& pdf, int index) {
  const Document document(pdf);
  PopplerPage* page = poppler_document_get_page(document.document, index);
  if (page == nullptr) throw std::runtime_error("no such page");
  double width = 0, height = 0;
  poppler_page_get_size(page, &width, &height);
  std::vector<ReadLink> links;
  GList* mapping = poppler_page_get_link_mapping(page);
  for (GList* item = mapping; item != nullptr; item = item->next) {
    const auto* link = static_cast<const PopplerLinkMapping*>(item->data);
    // poppler's areas count from the bottom of the page.
    links.push_back(ReadLink{link->area.x1, height - link->area.y2, link->area.x2,
                             height - link->area.y1, document.pageOf(link->action)});
  }
  poppler_page_free_link_mapping(mapping);
  g_object_unref(page);
  std::sort(links.begin(), links.end(),
            [](const ReadLink& a, const ReadLink& b) { return a.top < b.top; });
  return links;
}

PagePixels rasterisePage(const std::vector<std::uint8_t>& pdf, int index, int width, int height) {
  const Document document(pdf);
  PopplerPage* page = poppler_document_get_page(document.document, index);
  double pageWidth = 0, pageHeight = 0;
  poppler_page_get_size(page, &pageWidth, &pageHeight);
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
  cairo_t* cr = cairo_create(surface);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);
  cairo_scale(cr, width / pageWidth, height / pageHeight);
  poppler_page_render(page, cr);
  cairo_destroy(cr);
  cairo_surface_flush(surface);
  PagePixels pixels{width, height, {}};
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  for (int y = 0; y < height; ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(data + y * stride);
    for (int x = 0; x < width; ++x) {
      pixels.rgb.push_back(static_cast<std::uint8_t>(row[x] >> 16));
      pixels.rgb.push_back(static_cast<std::uint8_t>(row[x] >> 8));
      pixels.rgb.push_back(static_cast<std::uint8_t>(row[x]));
    }
  }
  cairo_surface_destroy(surface);
  g_object_unref(page);
  return pixels;
}

std::vector<ReadPage> readPdf(const std::vector<std::uint8_t>& pdf) {
  const Document document(pdf);
  std::vector<ReadPage> pages;
  for (int i = 0; i < poppler_document_get_n_pages(document.document); ++i) {
    PopplerPage* page = poppler_document_get_page(document.document, i);
    ReadPage read;
    poppler_page_get_size(page, &read.width, &read.height);
    char* text = poppler_page_get_text(page);
    read.text = text != nullptr ? text : "";
    g_free(text);
    PopplerRectangle* boxes = nullptr;
    guint count = 0;
    if (poppler_page_get_text_layout(page, &boxes, &count) && count > 0) {
      read.ink = {boxes[0].x1, boxes[0].y1, boxes[0].x2, boxes[0].y2};
      for (guint i = 1; i < count; ++i) {
        read.ink.left = std::min(read.ink.left, boxes[i].x1);
        read.ink.top = std::min(read.ink.top, boxes[i].y1);
        read.ink.right = std::max(read.ink.right, boxes[i].x2);
        read.ink.bottom = std::max(read.ink.bottom, boxes[i].y2);
      }
    }
    g_free(boxes);
    g_object_unref(page);
    pages.push_back(std::move(read));
  }
  return pages;
}

namespace {

// What `command` prints; its exit status in `status` when asked for.
std::string commandOutput(const std::string& command, int* status = nullptr) {
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  if (!pipe) {
    if (status != nullptr) *status = -1;
    return {};
  }
  std::string output;
  std::array<char, 4096> buffer{};
  while (const std::size_t n = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
    output.append(buffer.data(), n);
  }
  const int exitStatus = ::pclose(pipe.release());
  if (status != nullptr) *status = exitStatus;
  return output;
}

// `pdf` written to `name` in `dir`; its path.
std::string written(const TempDir& dir, const std::string& name,
                    const std::vector<std::uint8_t>& pdf) {
  const std::string path = dir.file(name);
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(pdf.data()), static_cast<std::streamsize>(pdf.size()));
  return path;
}

std::vector<std::uint8_t> fileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::vector<EmbeddedImage> embeddedImages(const std::vector<std::uint8_t>& pdf) {
  TempDir dir;
  const std::string path = written(dir, "images.pdf", pdf);
  std::istringstream list(commandOutput("pdfimages -list '" + path + "'"));
  std::vector<EmbeddedImage> images;
  std::string line;
  std::getline(list, line);  // the header
  std::getline(list, line);  // its rule
  while (std::getline(list, line)) {
    std::istringstream fields(line);
    EmbeddedImage image;
    std::string num, type, color, comp, bpc;
    fields >> image.page >> num >> type >> image.width >> image.height >> color >> comp >> bpc >>
        image.encoding;
    images.push_back(image);
  }
  // pdfimages -j writes each JPEG as the PDF holds it, in the same order.
  commandOutput("pdfimages -j '" + path + "' '" + dir.file("img") + "'");
  for (std::size_t i = 0; i < images.size(); ++i) {
    if (images[i].encoding != "jpeg") continue;
    char name[32];
    std::snprintf(name, sizeof name, "img-%03zu.jpg", i);
    images[i].data = fileBytes(dir.file(name));
  }
  return images;
}

std::string qpdfProblems(const std::vector<std::uint8_t>& pdf) {
  TempDir dir;
  const std::string path = written(dir, "checked.pdf", pdf);
  int status = 0;
  const std::string output = commandOutput("qpdf --check '" + path + "' 2>&1", &status);
  if (status != 0 || output.find("WARNING") != std::string::npos) {
    return output.empty() ? "qpdf --check failed without a word" : output;
  }
  const std::string json = commandOutput("qpdf --json '" + path + "' 2>&1");
  if (json.find("file is damaged") != std::string::npos) return "qpdf --json: file is damaged";
  return {};
}

}  // namespace quorvane::testing

namespace quorvane::testing {

ReadStructure readStructure(const std::vector<std::uint8_t>& pdf) {
  TempDir dir;
  const std::string path = written(dir, "tagged.pdf", pdf);
  ReadStructure read;
  read.info = commandOutput("pdfinfo '" + path + "' 2>&1");
  read.tree = commandOutput("pdfinfo -struct-text '" + path + "' 2>&1");
  read.uncompressed =
      commandOutput("qpdf --qdf --object-streams=disable '" + path + "' - 2>/dev/null");
  return read;
}

}  // namespace quorvane::testing
