/*
** rkdd doc's pages for a full site (2048/1792/255): every page, the layout
** file and the index written into a folder, from a model read once.
*/
#include <benchmark/benchmark.h>

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
    if (!writeDocs(sites, out, &error)) {
      state.SkipWithError(error.c_str());
      break;
    }
  }
  kitModelFree(model);
  std::filesystem::remove_all(dir);
}

/* Wall-clock time: the pages are meant to be ready in under a second, file
** writing included. */
[[maybe_unused]] benchmark::internal::Benchmark *const registered =
  benchmark::RegisterBenchmark("Doc/rkdd/2048/1792/255", docPages)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
