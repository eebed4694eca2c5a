/*
** rkdd doc's pages for a full site (2048/1792/255): every page, the layout
** file and the index written into a folder, from a model read once.
*/
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "doc.h"
#include "schemagen.h"

namespace {

void docPages(benchmark::State &state) {
  char name[] = "/tmp/rkdd-bench-doc-XXXXXX";
  if (mkdtemp(name) == nullptr) std::abort();
  std::string dir = name, schema = dir + "/site.schema", out = dir + "/pages";
  std::ofstream(schema) << gen::rkddSchema({2048, 1792, 255}, 0);
  std::filesystem::create_directory(out);
  int site = -1;
  kitModel *model = nullptr;
  if (ddImportSchema(schema.c_str(), &site) != 0) model = kitModelRead(site);
  if (model == nullptr) {
    state.SkipWithError("import failed");
    std::filesystem::remove_all(dir);
    return;
  }
  std::vector<DocSite> sites{{schema, model}};
  for (auto _ : state) {
    std::string error;
    auto start = std::chrono::steady_clock::now();
    if (!writeDocs(sites, out, &error)) {
      state.SkipWithError(error.c_str());
      break;
    }
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  kitModelFree(model);
  std::filesystem::remove_all(dir);
}

/* Wall-clock time, taken by hand: the pages are meant to be ready in under a
** second, the writing of the files included. */
[[maybe_unused]] benchmark::internal::Benchmark *const registered =
  benchmark::RegisterBenchmark("Doc/rkdd/2048/1792/255", docPages)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
