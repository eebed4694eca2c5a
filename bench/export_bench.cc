/*
** The Export group of rkdd_bench: the companion library beside the import it follows.
** Each row runs in a fresh child process on the generated 2048/1792/255
** schema: the import alone, the export of the imported site (reading its
** model and writing the text), and the comparison of two imported sites
** (reading both models and comparing them). Times are CPU seconds.
*/
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <rkdd/kit.h>

#include "child.h"
#include "schemagen.h"

namespace {

constexpr gen::Size kWide{2048, 1792, 255};

using bench::cpuNow;
using bench::inChild;

/* The schema file, written by a child so that this process keeps a fresh
** heap for the children that load it; removed at exit. */
struct SchemaFile {
  std::string path = "/tmp/rkdd-bench-export-" + std::to_string(getpid()) + ".schema";
  SchemaFile() {
    inChild([this] {
      std::ofstream(path, std::ios::binary) << gen::rkddSchema(kWide, 0);
      return 1.0;
    });
  }
  ~SchemaFile() { std::remove(path.c_str()); }
};

const std::string &schemaPath() {
  static const SchemaFile file;
  return file.path;
}

int importSite() {
  int site = -1;
  return ddImportSchema(schemaPath().c_str(), &site) ? site : -1;
}

double importOnly() {
  double start = cpuNow();
  int site = importSite();
  return site >= 0 ? cpuNow() - start : -1;
}

double exportSite() {
  int site = importSite();
  if (site < 0) return -1;
  double start = cpuNow();
  kitModel *model = kitModelRead(site);
  int lost = -1;
  char *text = kitSchemaText(model, nullptr, &lost);
  double t = cpuNow() - start;
  bool ok = text != nullptr && lost == 0;
  std::free(text);
  kitModelFree(model);
  return ok ? t : -1;
}

double compareSites() {
  int a = importSite(), b = importSite();
  if (a < 0 || b < 0) return -1;
  double start = cpuNow();
  kitModel *ma = kitModelRead(a), *mb = kitModelRead(b);
  kitChanges *changes = kitCompare(ma, mb);
  double t = cpuNow() - start;
  bool ok = changes != nullptr && changes->count == 0;
  kitChangesFree(changes);
  kitModelFree(ma);
  kitModelFree(mb);
  return ok ? t : -1;
}

void run(benchmark::State &state, double (*job)()) {
  schemaPath(); /* written here, not in each child */
  for (auto _ : state) {
    double seconds = inChild(job);
    if (seconds < 0) {
      state.SkipWithError("failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

const int registered = [] {
  const char *rows[] = {"Export/import/2048/1792/255", "Export/export/2048/1792/255",
                        "Export/compare/2048/1792/255"};
  double (*jobs[])() = {importOnly, exportSite, compareSites};
  for (int i = 0; i < 3; i++)
    benchmark::RegisterBenchmark(rows[i], run, jobs[i])->UseManualTime()->Unit(benchmark::kMillisecond);
  return 0;
}();

} // namespace
