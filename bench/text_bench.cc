// Text layout that follows the room, not the text: a biography of one
// unbreakable word of 4 MB (the most `quorvane text set` accepts) exports as
// a page of ordinary text does. Anchor: the same document with a biography
// that just fills its page — the least work any export of a full page does.
#include <benchmark/benchmark.h>

#include <string>

#include "pdf/pdf_labels.h"
#include "pdf/statement_pdf_renderer.h"

namespace quorvane {
namespace {

PdfRenderResult renderBiography(const std::string& text) {
  ExportOptions options;
  options.exportLocale = "en";
  const StatementPdfRenderer renderer(PDFStyle{}, PdfStrings("en", "bio", {}));
  return renderer.render(text, kBiographyTitleKey, "Maren Aalto", options);
}

void BM_OneWordBiography_ours(benchmark::State& state) {
  const std::string word(4 << 20, 'x');
  for (auto _ : state) benchmark::DoNotOptimize(renderBiography(word));
  state.counters["target_ms"] = 1000;
}
BENCHMARK(BM_OneWordBiography_ours)
    ->Name("export_biography_one_4MB_word/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_OneWordBiography_anchor(benchmark::State& state) {
  std::string page;
  while (page.size() < 4'500) page += "She paints the sea, the tides and the light of the north. ";
  for (auto _ : state) benchmark::DoNotOptimize(renderBiography(page));
}
BENCHMARK(BM_OneWordBiography_anchor)
    ->Name("export_biography_one_4MB_word/anchor")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace quorvane
