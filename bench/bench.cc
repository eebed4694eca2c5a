/*
** rkdd_bench: imports at four sizes beside FlatBuffers, protobuf and a bare pass,
** with peak memory; ddSetCode of a compiled site; lookups over ten full sites and
** field lookups on 255-field records beside the peers'; a fix-up pass.
*/
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "child.h"
#include "compiled.h"
#include "heap.h"
#include "peers.h"
#include "rkdd/rkdd.h"
#include "schemagen.h"
#include "startup.h"

namespace {

namespace pb = google::protobuf;
using bench::cpuNow;
using bench::inChild;

constexpr gen::Size kSizes[] = {{64, 32, 8}, {512, 256, 24}, {2048, 1792, 32}, {2048, 1792, 255}};
constexpr gen::Size kTiny{4, 2, 2}, kFull{2048, 1792, 32}, kWide{2048, 1792, 255};
constexpr int kSites = 10;

std::string sizeName(const gen::Size &s) {
  return std::to_string(s.data) + "/" + std::to_string(s.records) + "/" + std::to_string(s.members);
}

/* A directory of this process for the generated files; removed at exit. */
struct TempDir {
  std::string path;
  TempDir() {
    char name[] = "/tmp/rkdd-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    path = name;
  }
  ~TempDir() { std::filesystem::remove_all(path); }
};

/* The generated schema of this size for this site, as a file of the form
** "schema", "fbs" or "proto"; written when first asked for. */
std::string schemaFile(const gen::Size &size, int site, const std::string &form) {
  static TempDir dir;
  std::string path = dir.path + "/" + std::to_string(size.data) + "_" + std::to_string(size.records) + "_" +
                     std::to_string(size.members) + "_" + std::to_string(site) + "." + form;
  /* Written by a child, so that this process, whose children load the
  ** files, keeps the heap of a fresh one: texts of many megabytes made and
  ** freed here would leave its allocator serving every child's large blocks
  ** from memory shared with this process, each page copied on first write. */
  if (!std::filesystem::exists(path))
    inChild([&] {
      std::ofstream out(path, std::ios::binary);
      out << (form == "fbs"     ? gen::fbsSchema(size, site)
              : form == "proto" ? gen::protoSchema(size, site)
                                : gen::rkddSchema(size, site));
      return out.good() ? 1.0 : -1.0;
    });
  return path;
}

/* Standard output, where the library prints its warnings, goes to /dev/null
** while this lives. */
struct Muted {
  int saved;
  Muted() {
    std::fflush(stdout);
    saved = dup(1);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    close(null);
  }
  ~Muted() {
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
  }
};

/* The loaders, each timing itself in CPU seconds, or -1 on failure. What they load
** stays in the child process, which exits without freeing it. */
enum class Peer { Rkdd, FlatBuffers, Protobuf, Bare };
constexpr Peer kPeers[] = {Peer::Rkdd, Peer::FlatBuffers, Peer::Protobuf, Peer::Bare};
const char *peerName(Peer p) {
  return p == Peer::Rkdd ? "rkdd" : p == Peer::FlatBuffers ? "flatbuffers" : p == Peer::Protobuf ? "protobuf" : "bare";
}
const char *formOf(Peer p) { return p == Peer::FlatBuffers ? "fbs" : p == Peer::Protobuf ? "proto" : "schema"; }

double load(Peer peer, const std::string &path) {
  double start = cpuNow();
  bool ok = false;
  switch (peer) {
  case Peer::Rkdd: {
    int site;
    ok = ddImportSchema(path.c_str(), &site) == 1;
    break;
  }
  case Peer::FlatBuffers: ok = peers::fbsLoad(path, *new flatbuffers::Parser); break;
  case Peer::Protobuf: ok = peers::protoLoad(path, path, *new pb::DescriptorPool) != nullptr; break;
  case Peer::Bare: ok = peers::barePass(path) > 0; break;
  }
  double seconds = cpuNow() - start;
  return ok ? seconds : -1;
}

/* Peak heap growth over one load, in kilobytes, after a load of a tiny schema
** has made the first blocks that any load needs. */
double peakKb(Peer peer, const std::string &path, const std::string &tiny) {
  if (load(peer, tiny) < 0) return -1;
  heap::start();
  if (load(peer, path) < 0) return -1;
  return static_cast<double>(heap::peak()) / 1024;
}

void importTime(benchmark::State &state, Peer peer, gen::Size size) {
  std::string path = schemaFile(size, 0, formOf(peer));
  for (auto _ : state) {
    double seconds = inChild([&] { return load(peer, path); });
    if (seconds < 0) {
      state.SkipWithError("load failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

void importMemory(benchmark::State &state, Peer peer, gen::Size size) {
  std::string path = schemaFile(size, 0, formOf(peer)), tiny = schemaFile(kTiny, 0, formOf(peer));
  for (auto _ : state) {
    double kb = inChild([&] { return peakKb(peer, path, tiny); });
    if (kb < 0) {
      state.SkipWithError("load failed");
      break;
    }
    state.counters["peak_kb"] = kb;
    state.SetIterationTime(1e-9);
  }
}

/* ddSetCode of a compiled site of the largest size, made live as site 1 of
** a child process; the tables are laid out before the clock starts. */
void setCode(benchmark::State &state) {
  for (auto _ : state) {
    double seconds = inChild([] {
      Compiled tables(kWide);
      int n;
      ddNewSite("core", "core schema", &n);
      ddSite *site = ddNewSite("bench", "compiled schema", &n);
      tables.fill(site);
      double start = cpuNow();
      ddSetCode(site);
      double t = cpuNow() - start;
      return ddNameToCode(gen::recordName(gen::prefixOf(1), kWide.records - 1).c_str()) != 0 ? t : -1;
    });
    if (seconds < 0) {
      state.SkipWithError("ddSetCode failed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

/* What the lookups ask for: names of records and data items, data labels and
** record levels, spread evenly over ten sites; and the record names alone,
** which are what the peers' schemas hold. */
struct Keys {
  std::vector<std::string> names, labels, recordNames;
  std::vector<int> levels;
};

const Keys &keys() {
  static const Keys k = [] {
    Keys k;
    for (int s = 0; s < kSites; s++) {
      std::string p = gen::prefixOf(s);
      for (int n = 0; n < 64; n++) {
        int r = (n * 29 + s * 7) % kFull.records, i = (n * 31 + s * 5) % kFull.data;
        k.recordNames.push_back(gen::recordName(p, r));
        k.names.push_back(gen::recordName(p, r));
        k.names.push_back(gen::dataName(p, i));
        k.labels.push_back(gen::dataLabel(p, i));
        k.levels.push_back(gen::recordLevel(s, r));
      }
    }
    return k;
  }();
  return k;
}

/* Ten full sites in this process; true when every lookup finds a definition
** of its own site. */
bool tenSites() {
  static const bool ok = [] {
    bool ok = true;
    Muted muted;
    for (int s = 0; s < kSites; s++) {
      int site = -1;
      ok = ok && ddImportSchema(schemaFile(kFull, s, "schema").c_str(), &site) == 1 && site == s;
    }
    const Keys &k = keys();
    for (size_t n = 0; n < k.labels.size(); n++) {
      int s = static_cast<int>(n / 64);
      ok = ok && ddGetSiteNo(ddNameToCode(k.names[2 * n].c_str())) == s &&
           ddGetSiteNo(ddNameToCode(k.names[2 * n + 1].c_str())) == s &&
           ddGetSiteNo(ddLabelToCode(k.labels[n].c_str())) == s && ddGetSiteNo(ddIlevel2Code(k.levels[n])) == s;
    }
    return ok;
  }();
  return ok;
}

template <typename Key, typename Lookup> void lookups(benchmark::State &state, const std::vector<Key> &keys, bool ok,
                                                      Lookup lookup) {
  if (!ok) state.SkipWithError("setup failed");
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lookup(keys[i]));
    if (++i == keys.size()) i = 0;
  }
}

void sitesLookup(benchmark::State &state, int which) {
  bool ok = tenSites();
  const Keys &k = keys();
  if (which == 0) lookups(state, k.names, ok, [](const std::string &n) { return ddNameToCode(n.c_str()); });
  if (which == 1) lookups(state, k.labels, ok, [](const std::string &l) { return ddLabelToCode(l.c_str()); });
  if (which == 2) lookups(state, k.levels, ok, [](int level) { return ddIlevel2Code(level); });
}

/* One fix-up pass over ten full sites, made pending by a change of type. */
void sitesFixup(benchmark::State &state) {
  if (!tenSites()) state.SkipWithError("setup failed");
  ddCacheFixups(1);
  int code = ddNameToCode(gen::dataName(gen::prefixOf(0), 0).c_str()); /* an MTYPE_INT item */
  bool flip = false;
  for (auto _ : state) {
    ddSetTagType(code, (flip = !flip) ? MTYPE_UINT : MTYPE_INT);
    ddFixup();
  }
}

/* The peers holding the same ten schemas. */
struct TenPeers {
  flatbuffers::Parser fbs;
  pb::DescriptorPool pool;
  bool ok = true;
};

TenPeers &tenPeers() {
  static TenPeers *t = [] {
    auto *t = new TenPeers;
    for (int s = 0; s < kSites; s++) {
      t->ok = t->ok && peers::fbsLoad(schemaFile(kFull, s, "fbs"), t->fbs);
      t->ok = t->ok && peers::protoLoad(schemaFile(kFull, s, "proto"), "site" + std::to_string(s), t->pool);
    }
    return t;
  }();
  return *t;
}

void peersLookup(benchmark::State &state, int which) {
  TenPeers &p = tenPeers();
  const std::vector<std::string> &names = keys().recordNames;
  bool ok = p.ok;
  for (auto &n : names) ok = ok && p.fbs.LookupStruct(n) && p.pool.FindMessageTypeByName(n);
  if (which == 0) lookups(state, names, ok, [&](const std::string &n) { return p.fbs.LookupStruct(n); });
  if (which == 1) lookups(state, names, ok, [&](const std::string &n) { return p.pool.FindMessageTypeByName(n); });
}

/* Sixteen records of 255 fields, in rkdd and in the peers: every pair of a
** record and one of its fields. */
struct Wide {
  std::vector<std::pair<int, int>> codes;
  std::vector<std::pair<const flatbuffers::StructDef *, std::string>> fbsFields;
  std::vector<std::pair<const pb::Descriptor *, std::string>> protoFields;
  flatbuffers::Parser fbs;
  pb::DescriptorPool pool;
  bool ok = true;
};

Wide &wide() {
  static Wide *w = [] {
    auto *w = new Wide;
    std::string p = gen::prefixOf(0);
    int site;
    {
      Muted muted;
      w->ok = ddImportSchema(schemaFile(kWide, 0, "schema").c_str(), &site) == 1;
    }
    w->ok = w->ok && peers::fbsLoad(schemaFile(kWide, 0, "fbs"), w->fbs) &&
            peers::protoLoad(schemaFile(kWide, 0, "proto"), "wide", w->pool);
    for (int r = 0; w->ok && r < 16; r++) {
      std::string name = gen::recordName(p, r);
      int code = ddNameToCode(name.c_str());
      const flatbuffers::StructDef *sd = w->fbs.LookupStruct(name);
      const pb::Descriptor *md = w->pool.FindMessageTypeByName(name);
      w->ok = code != 0 && ddGetFieldCount(code) == kWide.members && sd && md;
      for (int j = 0; w->ok && j < kWide.members; j++) {
        w->codes.emplace_back(code, ddGetFieldNth(code, static_cast<unsigned>(j)));
        std::string field = md->field(j)->name();
        w->fbsFields.emplace_back(sd, field);
        w->protoFields.emplace_back(md, field);
        w->ok = ddIsField(code, w->codes.back().second) && sd->fields.Lookup(field);
      }
    }
    return w;
  }();
  return *w;
}

void wideLookup(benchmark::State &state, int which) {
  Wide &w = wide();
  using Code = std::pair<int, int>;
  if (which == 0)
    lookups(state, w.codes, w.ok, [](const Code &c) {
      int offset, bit, kind;
      return ddGetFieldOffset(c.first, c.second, &offset, &bit, &kind) + offset;
    });
  if (which == 1) lookups(state, w.codes, w.ok, [](const Code &c) { return ddGetSchema(c.second); });
  if (which == 2) lookups(state, w.codes, w.ok, [](const Code &c) { return ddIsField(c.first, c.second); });
  if (which == 3)
    lookups(state, w.fbsFields, w.ok, [](const auto &f) { return f.first->fields.Lookup(f.second); });
  if (which == 4)
    lookups(state, w.protoFields, w.ok, [](const auto &f) { return f.first->FindFieldByName(f.second); });
}

/* Look-ups on one thread and on two at once over the ten full sites: names,
** and the offset of every field of the records those names give. Counted
** per second of wall time, so that two threads on two free cores should
** count about twice what one does; each thread starts at its own key. */
const std::vector<std::pair<int, int>> &fieldPairs() {
  static const auto pairs = [] {
    std::vector<std::pair<int, int>> out;
    for (const std::string &name : keys().recordNames) {
      int code = ddNameToCode(name.c_str());
      for (int j = 0; j < ddGetFieldCount(code); j++) out.emplace_back(code, ddGetFieldNth(code, static_cast<unsigned>(j)));
    }
    return out;
  }();
  return pairs;
}

void threadedLookup(benchmark::State &state, int which) {
  bool ok = tenSites();
  const std::vector<std::string> &names = keys().names;
  const auto &pairs = fieldPairs();
  if (!ok || pairs.empty()) state.SkipWithError("setup failed");
  size_t n = which == 0 ? names.size() : pairs.size(), i = static_cast<size_t>(state.thread_index()) * n / 2;
  for (auto _ : state) {
    if (which == 0) {
      benchmark::DoNotOptimize(ddNameToCode(names[i].c_str()));
    } else {
      int offset = 0;
      benchmark::DoNotOptimize(ddGetFieldOffset(pairs[i].first, pairs[i].second, &offset, nullptr, nullptr) + offset);
    }
    if (++i == n) i = 0;
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void registerAll() {
  using benchmark::RegisterBenchmark;
  for (const gen::Size &size : kSizes)
    for (Peer peer : kPeers) {
      std::string tail = std::string(peerName(peer)) + "/" + sizeName(size);
      RegisterBenchmark(("Import/" + tail).c_str(), importTime, peer, size)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
      RegisterBenchmark(("Memory/" + tail).c_str(), importMemory, peer, size)
          ->UseManualTime()
          ->Iterations(1)
          ->Repetitions(1);
    }
  RegisterBenchmark(("SetCode/rkdd/" + sizeName(kWide)).c_str(), setCode)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
  const char *sites[] = {"ddNameToCode", "ddLabelToCode", "ddIlevel2Code"};
  for (int i = 0; i < 3; i++)
    RegisterBenchmark((std::string("Sites10/") + sites[i]).c_str(), sitesLookup, i)->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("Sites10/ddFixup", sitesFixup)->Unit(benchmark::kMillisecond);
  RegisterBenchmark("Peers10/flatbuffers_LookupStruct", peersLookup, 0);
  RegisterBenchmark("Peers10/protobuf_FindMessageTypeByName", peersLookup, 1);
  const char *fields[] = {"ddGetFieldOffset", "ddGetSchema", "ddIsField", "flatbuffers_fields.Lookup",
                          "protobuf_FindFieldByName"};
  for (int i = 0; i < 5; i++) RegisterBenchmark((std::string("Fields255/") + fields[i]).c_str(), wideLookup, i);
  const char *threaded[] = {"ddNameToCode", "ddGetFieldOffset"};
  for (int i = 0; i < 2; i++)
    RegisterBenchmark((std::string("Threads/") + threaded[i]).c_str(), threadedLookup, i)
        ->Threads(1)
        ->Threads(2)
        ->UseRealTime();
}

} // namespace

int main(int argc, char **argv) {
  if (int status = startup::childMain(argc, argv); status >= 0) return status;
  registerAll();
  startup::registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
