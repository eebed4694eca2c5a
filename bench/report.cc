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

} // namespace

int main(int argc, char **argv) {
  std::vector<std::string> files;
  for (int i = 1; i < argc; i++) {
    if (std::filesystem::is_directory(argv[i])) {
      for (const auto &e : std::filesystem::directory_iterator(argv[i]))
        if (e.path().extension() == ".json") files.push_back(e.path());
    } else {
      files.push_back(argv[i]);
    }
  }
  auto v = readResults(files);

  /* A row: the rkdd measure, and the measure of each column it is set beside. */
  struct Row {
    std::string label, rkdd, flatbuffers, protobuf, bare;
  };
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

  std::printf("%-40s %12s %14s %14s %14s\n", "rkdd measure", "rkdd", "/ flatbuffers", "/ protobuf", "/ bare pass");
  auto ratio = [&](const std::string &num, const std::string &den) -> std::string {
    if (den.empty() || !v.count(num) || !v.count(den) || v[den] <= 0) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", v[num] / v[den]);
    return text;
  };
  for (const Row &r : rows) {
    bool memory = r.rkdd.rfind("Memory/", 0) == 0;
    std::string own = v.count(r.rkdd) ? amount(v[r.rkdd], memory) : "missing";
    std::printf("%-40s %12s %14s %14s %14s\n", r.label.c_str(), own.c_str(), ratio(r.rkdd, r.flatbuffers).c_str(),
                ratio(r.rkdd, r.protobuf).c_str(), ratio(r.rkdd, r.bare).c_str());
  }
  std::printf("\nEach ratio is rkdd's time (or peak memory) over the column's; below 1 means rkdd is faster.\n");

  /* Start-up at the small size: each figure of each loader as it is, and
  ** rkdd's over FlatBuffers'. */
  struct StartRow {
    const char *label, *mode, *counter;
  };
  const StartRow startRows[] = {
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
  const char *loaders[] = {"rkdd", "flatbuffers", "protobuf", "bare"};
  auto figure = [&](const StartRow &r, const char *loader) -> double {
    std::string base = std::string("Start/") + r.mode + "/" + loader;
    if (r.mode[0] == 0) {
      std::string first = std::string("Start/first/") + loader, warm = std::string("Start/warm/") + loader;
      return v.count(first) && v.count(warm) && v[warm] > 0 ? v[first] / v[warm] : -1;
    }
    std::string key = r.counter[0] ? base + "#" + r.counter : base;
    return v.count(key) ? v[key] : -1;
  };
  if (v.count("Start/first/rkdd")) {
    std::printf("\n%-40s %12s %14s %14s %14s %14s\n", "start-up, 64/32/8, a process each", "rkdd", "flatbuffers",
                "protobuf", "bare pass", "rkdd / fb");
    for (const StartRow &r : startRows) {
      std::printf("%-40s", r.label);
      for (const char *loader : loaders) {
        double x = figure(r, loader);
        char text[32] = "-";
        if (x >= 0 && r.mode[0] == 0) std::snprintf(text, sizeof text, "%.2f", x);
        else if (x >= 0 && std::string(r.counter) == "faults") std::snprintf(text, sizeof text, "%.0f", x);
        else if (x >= 0) std::snprintf(text, sizeof text, "%s", amount(x, r.counter[0] != 0).c_str());
        std::printf(" %*s", loader == loaders[0] ? 12 : 14, text);
      }
      double own = figure(r, "rkdd"), fb = figure(r, "flatbuffers");
      char ratio[32] = "-";
      if (own >= 0 && fb > 0) std::snprintf(ratio, sizeof ratio, "%.3g", own / fb);
      std::printf(" %14s\n", ratio);
    }
  }
  for (const char *f : {"Small/ddNameToCode", "Small/flatbuffers_LookupStruct", "Small/protobuf_FindMessageTypeByName"})
    if (v.count(f)) std::printf("%-40s %12s\n", (std::string("name look-up, 64/32/8: ") + (f + 6)).c_str(),
                                amount(v[f], false).c_str());
  /* Look-ups per second of wall time on one thread and on two (the Threads
  ** group), and the CPU time of one look-up on two threads over one: near 1
  ** when the threads do not hold each other up, whatever else the cores run. */
  if (v.count("Threads/ddNameToCode/threads:1#items")) {
    std::printf("\n%-40s %12s %14s %14s %14s\n", "look-ups per second, 10 full sites", "1 thread", "2 threads", "2 / 1",
                "CPU each 2 / 1");
    for (const char *f : {"ddNameToCode", "ddGetFieldOffset"}) {
      std::string one = std::string("Threads/") + f + "/threads:1", two = std::string("Threads/") + f + "/threads:2";
      auto rate = [&](const std::string &key) {
        char text[32] = "missing";
        if (v.count(key)) std::snprintf(text, sizeof text, "%.1f M", v[key] / 1e6);
        return std::string(text);
      };
      std::printf("%-40s %12s %14s %14s %14s\n", f, rate(one + "#items").c_str(), rate(two + "#items").c_str(),
                  ratio(two + "#items", one + "#items").c_str(), ratio(two, one).c_str());
    }
  }
  /* The companion library (the Export group), beside the import of the same site. */
  const std::string wide = "2048/1792/255", import = "Export/import/" + wide;
  if (v.count(import)) {
    std::string title = "rkddkit measure, " + wide;
    std::printf("\n%-40s %12s %14s\n", title.c_str(), "time", "/ import");
    for (const char *what : {"import", "export", "compare"}) {
      std::string key = std::string("Export/") + what + "/" + wide;
      std::printf("%-40s %12s %14s\n", what, v.count(key) ? amount(v[key], false).c_str() : "missing",
                  ratio(key, import).c_str());
    }
  }

  /* The diff of two versions one field apart, beside one import of a version. */
  const std::string diffImport = "Diff/import/" + wide;
  if (v.count(diffImport)) {
    std::printf("\n%-40s %12s %14s\n", "rkdd diff, 2048/1792/255, one field", "rkdd", "/ one import");
    const char *diffs[][2] = {{"models and rules", "Diff/diff/"}, {"with both imports", "Diff/command/"}};
    for (const auto &d : diffs) {
      std::string key = d[1] + wide;
      std::printf("  %-38s %12s %14s\n", d[0], v.count(key) ? amount(v[key], false).c_str() : "missing",
                  ratio(key, diffImport).c_str());
    }
  }
  return 0;
}
