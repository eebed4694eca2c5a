/*
** The small schema at start-up: each measurement in a process of its own,
** made by running this program again, so that the libraries are loaded,
** relocated and bound as in any tool; and name look-ups in one small site.
*/
#include "startup.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "heap.h"
#include "peers.h"
#include "rkdd/rkdd.h"
#include "schemagen.h"

namespace startup {

namespace {

namespace pb = google::protobuf;

constexpr gen::Size kSmall{64, 32, 8}, kTiny{4, 2, 2};
constexpr const char *kChildFlag = "--start-child";
/* What a child reports, in this order, over the load it measures. */
constexpr int kFigures = 5;
constexpr const char *kCounters[kFigures] = {"cpu_s", "faults", "rss_kb", "anon_kb", "heap_kb"};

/* How a child starts its measured load: as the first thing it does; the
** same with every symbol bound when the libraries load (LD_BIND_NOW), so
** that the difference is the binding the first load pays; or after a load
** of a tiny schema has made whatever any load makes once. */
struct Mode {
  const char *name;
  bool bindNow;
  bool warm;
};
constexpr Mode kModes[] = {{"first", false, false}, {"bound", true, false}, {"warm", false, true}};

const char *const kPeers[] = {"rkdd", "flatbuffers", "protobuf", "bare"};

double cpuNow() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

long minorFaults() {
  rusage u;
  getrusage(RUSAGE_SELF, &u);
  return u.ru_minflt;
}

/* Resident pages of this process, all and anonymous only, in KB. */
void resident(double *all, double *anon) {
  long size = 0, res = 0, shared = 0;
  if (FILE *f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%ld %ld %ld", &size, &res, &shared) != 3) res = shared = 0;
    std::fclose(f);
  }
  double page = static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
  *all = static_cast<double>(res) * page;
  *anon = static_cast<double>(res - shared) * page;
}

bool load(const std::string &peer, const std::string &path) {
  if (peer == "rkdd") {
    int site;
    return ddImportSchema(path.c_str(), &site) == 1;
  }
  if (peer == "flatbuffers") return peers::fbsLoad(path, *new flatbuffers::Parser);
  if (peer == "protobuf") return peers::protoLoad(path, path, *new pb::DescriptorPool) != nullptr;
  return peers::barePass(path) > 0;
}

const char *formOf(const std::string &peer) {
  return peer == "flatbuffers" ? "fbs" : peer == "protobuf" ? "proto" : "schema";
}

/* The small and the tiny schema in each form, written once. */
std::string schemaFile(const gen::Size &size, const std::string &form) {
  static const std::string dir = [] {
    char name[] = "/tmp/rkdd-start-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    std::atexit([] { std::filesystem::remove_all(dir); });
    return std::string(name);
  }();
  std::string path = dir + "/" + std::to_string(size.data) + "." + form;
  if (!std::filesystem::exists(path)) {
    std::ofstream out(path, std::ios::binary);
    out << (form == "fbs" ? gen::fbsSchema(size, 0) : form == "proto" ? gen::protoSchema(size, 0) : gen::rkddSchema(size, 0));
  }
  return path;
}

/* Runs this program as a child that measures one load of peer in mode and
** writes its figures to a pipe, which it finds as file 3. */
bool runChild(const Mode &mode, const std::string &peer, double figures[kFigures]) {
  std::string path = schemaFile(kSmall, formOf(peer)), tiny = schemaFile(kTiny, formOf(peer));
  int fds[2];
  if (pipe(fds) != 0) return false;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    dup2(fds[1], 3);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    if (mode.bindNow) setenv("LD_BIND_NOW", "1", 1);
    else unsetenv("LD_BIND_NOW");
    const char *args[] = {"rkdd_bench", kChildFlag, peer.c_str(), path.c_str(), mode.warm ? tiny.c_str() : "",
                          nullptr};
    execv("/proc/self/exe", const_cast<char **>(args));
    _exit(127);
  }
  close(fds[1]);
  bool ok = pid > 0 && read(fds[0], figures, sizeof(double) * kFigures) == sizeof(double) * kFigures;
  close(fds[0]);
  int status = 0;
  if (pid > 0) waitpid(pid, &status, 0);
  return ok && status == 0;
}

void startLoad(benchmark::State &state, Mode mode, std::string peer) {
  for (auto _ : state) {
    double figures[kFigures];
    if (!runChild(mode, peer, figures)) {
      state.SkipWithError("load failed");
      break;
    }
    state.SetIterationTime(figures[0]);
    for (int i = 1; i < kFigures; i++) state.counters[kCounters[i]] = figures[i];
  }
}

/* Name look-ups in one imported small site, and the same record names in
** the peers holding the same schema. */
struct Small {
  std::vector<std::string> names;
  flatbuffers::Parser fbs;
  pb::DescriptorPool pool;
  bool ok = true;
};

Small &small() {
  static Small *s = [] {
    auto *s = new Small;
    for (int r = 0; r < kSmall.records; r++) s->names.push_back(gen::recordName(gen::prefixOf(0), r));
    int site = -1;
    std::fflush(stdout);
    int saved = dup(1), null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    s->ok = ddImportSchema(schemaFile(kSmall, "schema").c_str(), &site) == 1;
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
    close(null);
    s->ok = s->ok && peers::fbsLoad(schemaFile(kSmall, "fbs"), s->fbs) &&
            peers::protoLoad(schemaFile(kSmall, "proto"), "small", s->pool);
    for (auto &n : s->names) s->ok = s->ok && ddNameToCode(n.c_str()) && s->fbs.LookupStruct(n) && s->pool.FindMessageTypeByName(n);
    return s;
  }();
  return *s;
}

template <typename Lookup> void smallLookup(benchmark::State &state, Lookup lookup) {
  Small &s = small();
  if (!s.ok) state.SkipWithError("setup failed");
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lookup(s, s.names[i]));
    if (++i == s.names.size()) i = 0;
  }
}

} // namespace

int childMain(int argc, char **argv) {
  if (argc < 2 || std::strcmp(argv[1], kChildFlag) != 0) return -1;
  if (argc != 5) return 2;
  std::string peer = argv[2], path = argv[3], tiny = argv[4];
  if (!tiny.empty() && !load(peer, tiny)) return 1;
  double figures[kFigures], rss0, anon0, rss1, anon1;
  resident(&rss0, &anon0);
  long faults = minorFaults();
  heap::start();
  double start = cpuNow();
  bool ok = load(peer, path);
  figures[0] = cpuNow() - start;
  figures[1] = static_cast<double>(minorFaults() - faults);
  resident(&rss1, &anon1);
  figures[2] = rss1 - rss0;
  figures[3] = anon1 - anon0;
  figures[4] = static_cast<double>(heap::peak()) / 1024;
  if (!ok) return 1;
  return write(3, figures, sizeof figures) == sizeof figures ? 0 : 1;
}

void registerAll() {
  using benchmark::RegisterBenchmark;
  for (const Mode &mode : kModes)
    for (const char *peer : kPeers)
      RegisterBenchmark((std::string("Start/") + mode.name + "/" + peer).c_str(), startLoad, mode, std::string(peer))
          ->UseManualTime()
          ->Iterations(1)
          ->Repetitions(15)
          ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("Small/ddNameToCode", [](benchmark::State &st) {
    smallLookup(st, [](Small &, const std::string &n) { return ddNameToCode(n.c_str()); });
  });
  RegisterBenchmark("Small/flatbuffers_LookupStruct", [](benchmark::State &st) {
    smallLookup(st, [](Small &s, const std::string &n) { return s.fbs.LookupStruct(n); });
  });
  RegisterBenchmark("Small/protobuf_FindMessageTypeByName", [](benchmark::State &st) {
    smallLookup(st, [](Small &s, const std::string &n) { return s.pool.FindMessageTypeByName(n); });
  });
}

} // namespace startup
