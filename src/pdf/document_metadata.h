// What a PDF says about itself beyond its information dictionary: the XMP
// packet a print shop's preflight and an archive read, which must agree
// with the information dictionary word for word, and the strings both are
// written in.
#pragma once

#include <string>
#include <string_view>

#include "pdf/pdf_canvas.h"

namespace quorvane {

// `utf8` as a PDF text string: "(…)" when it is printable ASCII, else
// UTF-16BE with its byte order mark, in hexadecimal ("<FEFF…>").
std::string pdfTextString(std::string_view utf8);

// The XMP packet of a document with `properties`, made at `created` (ISO
// 8601, "2026-11-26T16:20:00Z"), written by `producer`. It claims no
// conformance level.
std::string xmpPacket(const DocumentProperties& properties, std::string_view created,
                      std::string_view producer);

}  // namespace quorvane
