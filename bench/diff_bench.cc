/*
** The Diff group of rkdd_bench: the diff of two 2048/1792/255 schema files
** that differ in one field, beside one import of such a file. Each
** measurement runs in a child process of its own, which starts with no sites.
*/
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "rkdd/kit.h"
#include "rkdd/rkdd.h"
#include "child.h"
#include "schemagen.h"

namespace {

constexpr gen::Size kWide{2048, 1792, 255};

using bench::cpuNow;
using bench::inChild;

/* The two files, written by a child so that this process keeps a fresh
** heap for the children that load them; removed at exit. */
struct Files {
  std::string dir, before, after;
  Files() {
    char name[] = "/tmp/rkdd-bench-diff-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    dir = name;
    before = dir + "/old.schema";
    after = dir + "/new.schema";
    inChild([this] {
      std::ofstream(before, std::ios::binary) << gen::rkddSchema(kWide, 0);
      std::ofstream(after, std::ios::binary) << gen::rkddSchemaOneFieldChanged(kWide, 0);
      return 1.0;
    });
  }
  ~Files() { std::filesystem::remove_all(dir); }
};

const Files &files() {
  static const Files f;
  return f;
}

int import(const std::string &path) {
  int site = -1;
  return ddImportSchema(path.c_str(), &site) == 1 ? site : -1;
}

/* Reads both sites and rules on their differences; -1 unless exactly the
** changed field and the records holding its record in line are found. */
double diffSites(int a, int b) {
  double start = cpuNow();
  kitModel *before = kitModelRead(a), *after = kitModelRead(b);
  kitDiff *diff = kitDiffModels(before, after);
  double seconds = cpuNow() - start;
  bool ok = diff != nullptr && diff->count > 1 && diff->breakingCount == diff->count;
  kitDiffFree(diff);
  kitModelFree(before);
  kitModelFree(after);
  return ok ? seconds : -1;
}

enum class What { Import, Diff, Command };

void run(benchmark::State &state, What what) {
  const Files &f = files();
  for (auto _ : state) {
    double seconds = inChild([&]() -> double {
      if (what == What::Import) {
        double start = cpuNow();
        return import(f.before) >= 0 ? cpuNow() - start : -1;
      }
      double start = cpuNow();
      int a = import(f.before), b = import(f.after);
      if (a < 0 || b < 0) return -1;
      double imports = cpuNow() - start, diff = diffSites(a, b);
      return diff < 0 ? -1 : what == What::Diff ? diff : imports + diff;
    });
    if (seconds < 0) {
      state.SkipWithError("import or diff failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

const int registered = [] {
  const char *names[] = {"Diff/import/2048/1792/255", "Diff/diff/2048/1792/255",
                         "Diff/command/2048/1792/255"};
  const What whats[] = {What::Import, What::Diff, What::Command};
  for (int i = 0; i < 3; i++)
    benchmark::RegisterBenchmark(names[i], run, whats[i])
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  return 0;
}();

} // namespace
