// Record coding and file names. These run once per save, load or export, so
// what matters is that they stay a small multiple of the bare library call
// they are built on.
#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <nlohmann/json.hpp>

#include "model/record_json.h"
#include "model/slug.h"

namespace quorvane {
namespace {

const std::string kName = "Zoë Müller-Øster Ångström d'Été";

// Slug: fold, strip marks, lower-case, hyphenate. Anchor: one ICU case-fold
// pass over the same text, in and out of UTF-16.
void BM_Slug_ours(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(slug(kName, 60));
}
BENCHMARK(BM_Slug_ours)->Name("slug/ours");

void BM_Slug_anchor(benchmark::State& state) {
  for (auto _ : state) {
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(kName);
    text.foldCase();
    std::string out;
    benchmark::DoNotOptimize(text.toUTF8String(out));
  }
}
BENCHMARK(BM_Slug_anchor)->Name("slug/anchor");

std::string largeCVJson() {
  CVData cv;
  for (int i = 0; i < 200; ++i) {
    cv.soloExhibitions.push_back({{"year", std::to_string(1990 + i % 35)},
                                  {"title", "Exhibition " + std::to_string(i)},
                                  {"venue", "Galerie Nord"},
                                  {"place", "Paris"},
                                  {"country", "France"}});
  }
  return encodeCVData(cv);
}

// Decoding a stored CV of 200 entries. Anchor: parsing the same text into a
// JSON tree, which any decoder has to do first.
void BM_DecodeCV_ours(benchmark::State& state) {
  const std::string json = largeCVJson();
  for (auto _ : state) benchmark::DoNotOptimize(decodeCVData(json));
}
BENCHMARK(BM_DecodeCV_ours)->Name("decode_cv_200/ours");

void BM_DecodeCV_anchor(benchmark::State& state) {
  const std::string json = largeCVJson();
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(json));
}
BENCHMARK(BM_DecodeCV_anchor)->Name("decode_cv_200/anchor");

}  // namespace
}  // namespace quorvane
