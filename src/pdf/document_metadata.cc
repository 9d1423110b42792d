#include "pdf/document_metadata.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>

namespace quorvane {
namespace {

std::string xmlEscaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        // XML 1.0 has no place for the other control characters.
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n') out += c;
    }
  }
  return out;
}

}  // namespace

std::string pdfTextString(std::string_view utf8) {
  const bool plain = std::all_of(utf8.begin(), utf8.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7f;
  });
  if (plain) {
    std::string literal = "(";
    for (const char c : utf8) {
      if (c == '(' || c == ')' || c == '\\') literal += '\\';
      literal += c;
    }
    return literal + ")";
  }
  char* valid = g_utf8_make_valid(utf8.data(), static_cast<gssize>(utf8.size()));
  glong units = 0;
  gunichar2* utf16 = g_utf8_to_utf16(valid, -1, nullptr, &units, nullptr);
  g_free(valid);
  std::string hex = "<FEFF";
  char digits[5];
  for (glong i = 0; utf16 != nullptr && i < units; ++i) {
    std::snprintf(digits, sizeof digits, "%04X", static_cast<unsigned>(utf16[i]));
    hex += digits;
  }
  g_free(utf16);
  return hex + ">";
}

std::string xmpPacket(const DocumentProperties& properties, std::string_view created,
                      std::string_view producer) {
  const auto valid = [](std::string_view text) {
    char* made = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string copy = xmlEscaped(made);
    g_free(made);
    return copy;
  };
  std::string xmp =
      "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
      " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
      "  <rdf:Description rdf:about=\"\"\n"
      "    xmlns:dc=\"http://purl.org/dc/elements/1.1/\"\n"
      "    xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\"\n"
      "    xmlns:pdf=\"http://ns.adobe.com/pdf/1.3/\">\n";
  xmp += "   <dc:format>application/pdf</dc:format>\n";
  if (!properties.title.empty()) {
    xmp += "   <dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">" + valid(properties.title) +
           "</rdf:li></rdf:Alt></dc:title>\n";
  }
  if (!properties.author.empty()) {
    xmp += "   <dc:creator><rdf:Seq><rdf:li>" + valid(properties.author) +
           "</rdf:li></rdf:Seq></dc:creator>\n";
  }
  if (!properties.subject.empty()) {
    xmp += "   <dc:description><rdf:Alt><rdf:li xml:lang=\"x-default\">" +
           valid(properties.subject) + "</rdf:li></rdf:Alt></dc:description>\n";
  }
  if (!properties.language.empty()) {
    xmp += "   <dc:language><rdf:Bag><rdf:li>" + valid(properties.language) +
           "</rdf:li></rdf:Bag></dc:language>\n";
  }
  if (!properties.keywords.empty()) {
    xmp += "   <pdf:Keywords>" + valid(properties.keywords) + "</pdf:Keywords>\n";
  }
  if (!properties.creator.empty()) {
    xmp += "   <xmp:CreatorTool>" + valid(properties.creator) + "</xmp:CreatorTool>\n";
  }
  xmp += "   <xmp:CreateDate>" + valid(created) + "</xmp:CreateDate>\n";
  xmp += "   <xmp:ModifyDate>" + valid(created) + "</xmp:ModifyDate>\n";
  xmp += "   <pdf:Producer>" + valid(producer) + "</pdf:Producer>\n";
  xmp +=
      "  </rdf:Description>\n"
      " </rdf:RDF>\n"
      "</x:xmpmeta>\n"
      "<?xpacket end=\"w\"?>";
  return xmp;
}

}  // namespace quorvane
