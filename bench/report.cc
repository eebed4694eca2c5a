/*
** rkdd_bench_report: reads the JSON files that rkdd_bench wrote and prints one
** table: each rkdd measure over the same measure of each peer and of the bare pass.
*/
#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

/* CPU seconds (or kilobytes, for Memory/) of each benchmark by its plain
** name: the median when there are repetitions, else the one run. */
std::map<std::string, double> readResults(const std::vector<std::string> &files) {
  std::map<std::string, double> values;
  for (const auto &file : files) {
    std::ifstream in(file);
    nlohmann::json doc = nlohmann::json::parse(in, nullptr, false);
    if (doc.is_discarded()) continue;
    for (const auto &b : doc.value("benchmarks", nlohmann::json::array())) {
      if (b.value("error_occurred", false)) continue;
      std::string aggregate = b.value("aggregate_name", "");
      if (!aggregate.empty() && aggregate != "median") continue;
      std::string name = b.value("run_name", b.value("name", ""));
      /* "/real_time" stands before a thread count, which stays. */
      if (auto at = name.find("/real_time"); at != std::string::npos) name.erase(at, 10);
      for (const char *cut : {"/manual_time", "/iterations:", "/repeats:", "/min_time:"})
        if (auto at = name.find(cut); at != std::string::npos) name.erase(at);
      if (b.contains("peak_kb")) {
        values[name] = b["peak_kb"].get<double>();
        continue;
      }
      /* The start-up children's counts, each under the name and its own. */
      for (const char *counter : {"faults", "rss_kb", "anon_kb", "heap_kb"})
        if (b.contains(counter)) values[name + "#" + counter] = b[counter].get<double>();
      if (b.contains("items_per_second")) values[name + "#items"] = b["items_per_second"].get<double>();
      /* A manual time is the child's own CPU time; otherwise take this process's. */
      bool manual = b.value("run_name", b.value("name", "")).find("/manual_time") != std::string::npos;
      static const std::map<std::string, double> unit = {{"ns", 1e-9}, {"us", 1e-6}, {"ms", 1e-3}, {"s", 1}};
      values[name] = b.value(manual ? "real_time" : "cpu_time", 0.0) * unit.at(b.value("time_unit", "ns"));
    }
  }
  return values;
}

std::string amount(double v, bool memory) {
  char text[32];
  if (memory) std::snprintf(text, sizeof text, "%.0f KB", v);
  else if (v >= 1) std::snprintf(text, sizeof text, "%.2f s", v);
  else if (v >= 1e-3) std::snprintf(text, sizeof text, "%.2f ms", v * 1e3);
  else if (v >= 1e-6) std::snprintf(text, sizeof text, "%.2f us", v * 1e6);
  else std::snprintf(text, sizeof text, "%.1f ns", v * 1e9);
  return text;
}


using Results = std::map<std::string, double>;

/* The JSON files named, and those of the folders named. */
std::vector<std::string> inputFiles(int argc, char **argv) {
  std::vector<std::string> files;
  for (int i = 1; i < argc; i++) {
    if (std::filesystem::is_directory(argv[i])) {
      for (const auto &e : std::filesystem::directory_iterator(argv[i]))
        if (e.path().extension() == ".json") files.push_back(e.path());
    } else {
      files.push_back(argv[i]);
    }
  }
  return files;
}

/* num over den, or "-" where either is missing. */
std::string ratio(const Results &v, const std::string &num, const std::string &den) {
  if (den.empty() || !v.count(num) || !v.count(den) || v.at(den) <= 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", v.at(num) / v.at(den));
  return text;
}

/* A row: the rkdd measure, and the measure of each column it is set beside. */
struct Row {
  std::string label, rkdd, flatbuffers, protobuf, bare;
};

std::vector<Row> peerRows() {
  std::vector<Row> rows;
  const char *sizes[] = {"64/32/8", "512/256/24", "2048/1792/32", "2048/1792/255"};
  for (const char *s : sizes) {
    std::string z = s;
    rows.push_back({"ddImportSchema " + z, "Import/rkdd/" + z, "Import/flatbuffers/" + z, "Import/protobuf/" + z,
                    "Import/bare/" + z});
  }
  for (const char *s : sizes) {
    std::string z = s;
    rows.push_back({"peak memory, import " + z, "Memory/rkdd/" + z, "Memory/flatbuffers/" + z,
                    "Memory/protobuf/" + z, "Memory/bare/" + z});
  }
  for (const char *f : {"ddNameToCode", "ddLabelToCode", "ddIlevel2Code"})
    rows.push_back({std::string(f) + ", 10 full sites", std::string("Sites10/") + f,
                    "Peers10/flatbuffers_LookupStruct", "Peers10/protobuf_FindMessageTypeByName", ""});
  for (const char *f : {"ddGetFieldOffset", "ddGetSchema", "ddIsField"})
    rows.push_back({std::string(f) + ", 255-field records", std::string("Fields255/") + f,
                    "Fields255/flatbuffers_fields.Lookup", "Fields255/protobuf_FindFieldByName", ""});
  rows.push_back({"ddFixup, 10 full sites (2048/1792/32)", "Sites10/ddFixup", "", "", "Import/bare/2048/1792/32"});
  rows.push_back({"ddSetCode, compiled 2048/1792/255", "SetCode/rkdd/2048/1792/255", "", "", "Import/bare/2048/1792/255"});
  rows.push_back({"rkdd doc pages, 2048/1792/255 (wall)", "Doc/rkdd/2048/1792/255", "", "", "Import/bare/2048/1792/255"});
  return rows;
}

void printPeers(const Results &v) {
  std::printf("%-40s %12s %14s %14s %14s\n", "rkdd measure", "rkdd", "/ flatbuffers", "/ protobuf", "/ bare pass");
  for (const Row &r : peerRows()) {
    bool memory = r.rkdd.rfind("Memory/", 0) == 0;
    std::string own = v.count(r.rkdd) ? amount(v.at(r.rkdd), memory) : "missing";
    std::printf("%-40s %12s %14s %14s %14s\n", r.label.c_str(), own.c_str(), ratio(v, r.rkdd, r.flatbuffers).c_str(),
                ratio(v, r.rkdd, r.protobuf).c_str(), ratio(v, r.rkdd, r.bare).c_str());
  }
  std::printf("\nEach ratio is rkdd's time (or peak memory) over the column's; below 1 means rkdd is faster.\n");
}

/* Start-up at the small size: each figure of each loader as it is, and
** rkdd's over FlatBuffers'. */
struct StartRow {
  const char *label, *mode, *counter;
};
const StartRow kStartRows[] = {
    {"first load of a process", "first", ""},
    {"first load, bound at start", "bound", ""},
    {"warm load (after 4/2/2)", "warm", ""},
    {"first load over warm load", "", ""},
    {"page faults, first load", "first", "faults"},
    {"page faults, warm load", "warm", "faults"},
    {"resident growth, first load", "first", "rss_kb"},
    {"  of it anonymous", "first", "anon_kb"},
    {"resident growth, warm load", "warm", "rss_kb"},
    {"  of it anonymous", "warm", "anon_kb"},
    {"heap growth, first load", "first", "heap_kb"},
    {"heap growth, warm load", "warm", "heap_kb"},
};
const char *const kLoaders[] = {"rkdd", "flatbuffers", "protobuf", "bare"};

double startFigure(const Results &v, const StartRow &r, const char *loader) {
  std::string base = std::string("Start/") + r.mode + "/" + loader;
  if (r.mode[0] == 0) {
    std::string first = std::string("Start/first/") + loader, warm = std::string("Start/warm/") + loader;
    return v.count(first) && v.count(warm) && v.at(warm) > 0 ? v.at(first) / v.at(warm) : -1;
  }
  std::string key = r.counter[0] ? base + "#" + r.counter : base;
  return v.count(key) ? v.at(key) : -1;
}

void printStartup(const Results &v) {
  if (!v.count("Start/first/rkdd")) return;
  std::printf("\n%-40s %12s %14s %14s %14s %14s\n", "start-up, 64/32/8, a process each", "rkdd", "flatbuffers",
              "protobuf", "bare pass", "rkdd / fb");
  for (const StartRow &r : kStartRows) {
    std::printf("%-40s", r.label);
    for (const char *loader : kLoaders) {
      double x = startFigure(v, r, loader);
      char text[32] = "-";
      if (x >= 0 && r.mode[0] == 0) std::snprintf(text, sizeof text, "%.2f", x);
      else if (x >= 0 && std::string(r.counter) == "faults") std::snprintf(text, sizeof text, "%.0f", x);
      else if (x >= 0) std::snprintf(text, sizeof text, "%s", amount(x, r.counter[0] != 0).c_str());
      std::printf(" %*s", loader == kLoaders[0] ? 12 : 14, text);
    }
    double own = startFigure(v, r, "rkdd"), fb = startFigure(v, r, "flatbuffers");
    char text[32] = "-";
    if (own >= 0 && fb > 0) std::snprintf(text, sizeof text, "%.3g", own / fb);
    std::printf(" %14s\n", text);
  }
}

/* Look-ups per second of wall time on one thread and on two (the Threads
** group), and the CPU time of one look-up on two threads over one: near 1
** when the threads do not hold each other up, whatever else the cores run. */
void printThreads(const Results &v) {
  if (!v.count("Threads/ddNameToCode/threads:1#items")) return;
  std::printf("\n%-40s %12s %14s %14s %14s\n", "look-ups per second, 10 full sites", "1 thread", "2 threads", "2 / 1",
              "CPU each 2 / 1");
  auto rate = [&](const std::string &key) {
    char text[32] = "missing";
    if (v.count(key)) std::snprintf(text, sizeof text, "%.1f M", v.at(key) / 1e6);
    return std::string(text);
  };
  for (const char *f : {"ddNameToCode", "ddGetFieldOffset"}) {
    std::string one = std::string("Threads/") + f + "/threads:1", two = std::string("Threads/") + f + "/threads:2";
    std::printf("%-40s %12s %14s %14s %14s\n", f, rate(one + "#items").c_str(), rate(two + "#items").c_str(),
                ratio(v, two + "#items", one + "#items").c_str(), ratio(v, two, one).c_str());
  }
}

/* A table of measures, each beside the one named by base: the companion
** library's beside the import of the same site, diff's beside one import. */
void printBeside(const Results &v, const char *title, const char *column, const char *over,
                 const std::string &base, const std::vector<std::pair<std::string, std::string>> &rows,
                 const char *format) {
  if (!v.count(base)) return;
  std::printf("\n%-40s %12s %14s\n", title, column, over);
  for (const auto &[label, key] : rows)
    std::printf(format, label.c_str(), v.count(key) ? amount(v.at(key), false).c_str() : "missing",
                ratio(v, key, base).c_str());
}

} // namespace

int main(int argc, char **argv) {
  Results v = readResults(inputFiles(argc, argv));
  printPeers(v);
  printStartup(v);
  for (const char *f : {"Small/ddNameToCode", "Small/flatbuffers_LookupStruct", "Small/protobuf_FindMessageTypeByName"})
    if (v.count(f)) std::printf("%-40s %12s\n", (std::string("name look-up, 64/32/8: ") + (f + 6)).c_str(),
                                amount(v.at(f), false).c_str());
  printThreads(v);
  const std::string wide = "2048/1792/255";
  printBeside(v, "rkddkit measure, 2048/1792/255", "time", "/ import", "Export/import/" + wide,
              {{"import", "Export/import/" + wide}, {"export", "Export/export/" + wide},
               {"compare", "Export/compare/" + wide}},
              "%-40s %12s %14s\n");
  printBeside(v, "rkdd diff, 2048/1792/255, one field", "rkdd", "/ one import", "Diff/import/" + wide,
              {{"models and rules", "Diff/diff/" + wide}, {"with both imports", "Diff/command/" + wide}},
              "  %-38s %12s %14s\n");
  return 0;
}
