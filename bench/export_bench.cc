/*
** rkdd_bench_export: the companion library beside the import it follows.
** Each row runs in a fresh child process on the generated 2048/1792/255
** schema: the import alone, the export of the imported site (reading its
** model and writing the text), and the comparison of two imported sites
** (reading both models and comparing them). Times are CPU seconds.
*/
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>

#include <rkdd/kit.h>

#include "schemagen.h"

namespace {

constexpr gen::Size kWide{2048, 1792, 255};

double cpuNow() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

/* Runs job in a child that starts with no sites, its standard output (the
** library's warnings) closed; gives what it reports, negative on failure. */
double inChild(const std::function<double()> &job) {
  int fds[2];
  if (pipe(fds) != 0) return -1;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    double value = job();
    _exit(write(fds[1], &value, sizeof value) == sizeof value ? 0 : 1);
  }
  close(fds[1]);
  double value = -1;
  if (pid < 0 || read(fds[0], &value, sizeof value) != sizeof value) value = -1;
  close(fds[0]);
  int status = 0;
  if (pid > 0) waitpid(pid, &status, 0);
  return status == 0 ? value : -1;
}

const std::string &schemaPath() {
  static const std::string path = [] {
    std::string p = "/tmp/rkdd-bench-export-" + std::to_string(getpid()) + ".schema";
    std::ofstream(p, std::ios::binary) << gen::rkddSchema(kWide, 0);
    return p;
  }();
  return path;
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
  for (auto _ : state) {
    double seconds = inChild(job);
    if (seconds < 0) {
      state.SkipWithError("failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

} // namespace

int main(int argc, char **argv) {
  const char *rows[] = {"Export/import/2048/1792/255", "Export/export/2048/1792/255",
                        "Export/compare/2048/1792/255"};
  double (*jobs[])() = {importOnly, exportSite, compareSites};
  for (int i = 0; i < 3; i++)
    benchmark::RegisterBenchmark(rows[i], run, jobs[i])->UseManualTime()->Unit(benchmark::kMillisecond);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  schemaPath();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::remove(schemaPath().c_str());
  return 0;
}
