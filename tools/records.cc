/*
** The decode and encode commands: packed records read as their fields'
** values (text or JSON) and JSON turned into packed records, by the layout
** of a schema's record, through the companion library's record types.
*/
#include "tool.h"
#include "words.h"

#include <rkdd/kit.h>

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <unistd.h>

namespace {

struct Options {
  std::string schema, record, input = STDIN_ARG, output;
  bool json = false, bigEndian = false;
  long long count = 1, offset = 0;
  CLI::App *decode = nullptr, *encode = nullptr;
  CLI::Option *countOption = nullptr;
} opt;

using Type = std::unique_ptr<kitRecordType, decltype(&kitRecordTypeFree)>;

/* The schema imported and the record made ready, or the exit status. */
struct Prepared {
  Model model{nullptr, kitModelFree};
  Type type{nullptr, kitRecordTypeFree};
  std::string name;
  int status = EXIT_OK;
};

Prepared prepare() {
  Prepared p;
  p.status = EXIT_USAGE;
  if (opt.schema == STDIN_ARG && opt.input == STDIN_ARG) {
    std::cerr << "rkdd: standard input (-) may be named only once; give the "
              << (opt.decode->parsed() ? "data" : "JSON") << " file\n";
    return p;
  }
  if (!openAll({opt.schema})) return p;
  Loaded loaded = loadSchema(opt.schema);
  relayDiagnostics(loaded);
  if (loaded.site < 0 || failed(loaded)) {
    std::cerr << "rkdd: " << loaded.path << " has errors; no record read by it\n";
    return p;
  }
  p.model = readModel(loaded.site);
  const kitModel *m = p.model.get();
  int code = 0;
  for (int i = 0; m && i < m->recordCount && code == 0; i++)
    if (nameOf(m->records[i].code) == opt.record || std::to_string(m->records[i].code) == opt.record)
      code = m->records[i].code;
  if (code == 0) {
    std::cerr << "rkdd: " << loaded.path << " has no record " << opt.record << "\n";
    return p;
  }
  kitRecordError err{};
  p.type = Type(kitRecordTypeMake(m, code, opt.bigEndian ? KIT_BIG_ENDIAN : 0, &err), kitRecordTypeFree);
  if (!p.type) {
    std::cerr << "rkdd: " << err.message << "\n";
    return p;
  }
  p.name = nameOf(code);
  p.status = EXIT_OK;
  return p;
}

/* Reads up to limit bytes of the input into out; false when it does not open. */
bool readInput(const std::string &path, size_t limit, std::string &out) {
  std::FILE *f = path == STDIN_ARG ? stdin : std::fopen(path.c_str(), "rb");
  if (f == nullptr) {
    std::cerr << "rkdd: cannot open " << path << ": " << std::strerror(errno) << "\n";
    return false;
  }
  char chunk[65536];
  while (out.size() < limit) {
    size_t n = std::fread(chunk, 1, std::min(sizeof chunk, limit - out.size()), f);
    if (n == 0) break;
    out.append(chunk, n);
  }
  bool ok = !std::ferror(f);
  if (!ok) std::cerr << "rkdd: cannot read " << path << ": " << std::strerror(errno) << "\n";
  if (f != stdin) std::fclose(f);
  return ok;
}

/* The text listing of one record: a line per value, nested records indented. */
struct Lister {
  const kitRecordType *type;
  const kitModel *model;
  std::string values; /* the elements of an array of values so far */

  static std::string column(long long offset, int depth, const std::string &type) {
    char head[32];
    std::snprintf(head, sizeof head, "%6lld  ", offset);
    std::string line = head + std::string(2 * static_cast<size_t>(depth), ' ') + type;
    return line + std::string(line.size() < 30 ? 30 - line.size() : 1, ' ');
  }

  std::string typeOf(const kitField &f) const {
    return f.kind == DD_KIND_POINTER ? "pointer" : f.inLine ? "struct" : fieldTypeWords(f);
  }

  std::string bits(const kitField &f) const {
    int low = 0, width = 0;
    if (!kitFieldBits(model, &f, &low, &width)) return "";
    if (width == 1) return "  (bit " + std::to_string(low) + ")";
    return "  (bits " + std::to_string(low) + ".." + std::to_string(low + width - 1) + ")";
  }

  std::string json(const kitItem &item) const {
    std::string text(kitItemJson(type, &item, nullptr, 0) + 1, '\0');
    kitItemJson(type, &item, text.data(), text.size());
    text.pop_back();
    return text;
  }

  void visit(const kitItem &item) {
    const kitField &f = *item.field;
    bool inArray = item.index >= 0 && !f.inLine;
    if (item.event == KIT_ITEM_VALUE && inArray) {
      values += (values.empty() ? "" : ", ") + json(item);
    } else if (item.event == KIT_ITEM_VALUE) {
      std::cout << column(item.offset, item.depth, typeOf(f)) << item.key << " = " << json(item)
                << bits(f) << "\n";
    } else if (item.event == KIT_ITEM_ARRAY && !f.inLine) {
      values.clear();
    } else if (item.event == KIT_ITEM_END && item.index < 0 && !f.inLine) {
      std::cout << column(item.offset, item.depth, typeOf(f)) << item.key << " = [" << values << "]"
                << bits(f) << "\n";
    } else if (item.event == KIT_ITEM_RECORD) {
      std::string index = item.index >= 0 ? "[" + std::to_string(item.index) + "]" : "";
      std::cout << column(item.offset, item.depth, "struct") << item.key << index << "\n";
    }
  }
};

int listRecord(const Prepared &p, const std::string &bytes, long long at) {
  Lister lister{p.type.get(), p.model.get(), ""};
  std::cout << p.name << ": " << kitRecordLength(p.type.get()) << " bytes from byte " << at << "\n";
  kitRecordError err{};
  auto visit = [](const kitItem *item, void *self) {
    static_cast<Lister *>(self)->visit(*item);
    return 0;
  };
  kitRecordWalk(p.type.get(), bytes.data() + at, bytes.size() - static_cast<size_t>(at), visit,
                &lister, &err);
  return EXIT_OK;
}

/* Each line of text with indent spaces in front. */
std::string indented(const std::string &text, int indent) {
  std::string out(static_cast<size_t>(indent), ' ');
  for (char c : text) {
    out += c;
    if (c == '\n') out.append(static_cast<size_t>(indent), ' ');
  }
  return out;
}

int decode() {
  Prepared p = prepare();
  if (p.status != EXIT_OK) return p.status;
  long long length = kitRecordLength(p.type.get());
  if (length > 0 && opt.count > ((1LL << 62) - opt.offset) / length) {
    std::cerr << "rkdd: " << opt.count << " records of " << length << " bytes are more than a file holds\n";
    return EXIT_USAGE;
  }
  long long need = opt.offset + opt.count * length;
  std::string bytes;
  if (!readInput(opt.input, static_cast<size_t>(need), bytes)) return EXIT_USAGE;
  if (static_cast<long long>(bytes.size()) < need) {
    std::cerr << "rkdd: " << (opt.input == STDIN_ARG ? STDIN_NAME : opt.input) << " holds "
              << bytes.size() << " bytes; " << opt.count << " record(s) of " << length
              << " bytes from byte " << opt.offset << " need " << need << "\n";
    return EXIT_FAILED;
  }
  bool array = opt.countOption->count() > 0;
  if (opt.json && array) std::cout << "[";
  for (long long i = 0; i < opt.count; i++) {
    long long at = opt.offset + i * length;
    if (!opt.json) {
      listRecord(p, bytes, at);
      continue;
    }
    kitRecordError err{};
    char *text = kitRecordToJson(p.type.get(), bytes.data() + at, static_cast<size_t>(length), 2, &err);
    if (text == nullptr) {
      std::cerr << "rkdd: " << err.message << "\n";
      return EXIT_FAILED;
    }
    std::cout << (array ? (i ? ",\n" : "\n") + indented(text, 2) : std::string(text));
    std::free(text);
  }
  if (opt.json) std::cout << (array ? "\n]\n" : "\n");
  return EXIT_OK;
}

/* Writes bytes to path through a file beside it that is renamed at the end,
** so that a failed run leaves no output file. */
bool writeFile(const std::string &path, const void *data, size_t size) {
  std::string temp = path + ".rkdd_" + std::to_string(getpid()) + ".tmp";
  std::FILE *f = std::fopen(temp.c_str(), "wb");
  bool ok = f && std::fwrite(data, 1, size, f) == size;
  ok = f && std::fclose(f) == 0 && ok;
  if (ok && std::rename(temp.c_str(), path.c_str()) == 0) return true;
  std::cerr << "rkdd: cannot write " << path << ": " << std::strerror(errno) << "\n";
  std::remove(temp.c_str());
  return false;
}

int encode() {
  Prepared p = prepare();
  if (p.status != EXIT_OK) return p.status;
  if (opt.output.empty() && isatty(STDOUT_FILENO)) {
    std::cerr << "rkdd: the records are binary; give -o OUT or send them to a pipe or file\n";
    return EXIT_USAGE;
  }
  std::string json;
  if (!readInput(opt.input, SIZE_MAX, json)) return EXIT_USAGE;
  kitRecordError err{};
  size_t count = 0;
  void *records = kitRecordsFromJson(p.type.get(), json.data(), json.size(), &count, &err);
  if (records == nullptr) {
    std::cerr << "rkdd: " << (opt.input == STDIN_ARG ? STDIN_NAME : opt.input) << ": byte " << err.at
              << ": " << err.path << ": " << err.message << "\n";
    return err.code == KIT_RECORD_NO_MEMORY ? EXIT_USAGE : EXIT_FAILED;
  }
  size_t size = count * static_cast<size_t>(kitRecordLength(p.type.get()));
  bool ok = opt.output.empty() || opt.output == "-"
              ? std::fwrite(records, 1, size, stdout) == size && std::fflush(stdout) == 0
              : writeFile(opt.output, records, size);
  std::free(records);
  return ok ? EXIT_OK : EXIT_USAGE;
}

void addCommon(CLI::App *c, const char *input) {
  c->add_option("SCHEMA", opt.schema, "Schema file; - reads standard input")->required();
  c->add_option("RECORD", opt.record, "Record name or code")->required();
  c->add_option(input[0] == 'D' ? "DATA" : "JSON", opt.input,
                std::string(input) + " (standard input when left out or -)");
  c->add_flag("--big-endian", opt.bigEndian, "Values are big-endian (little-endian by default)");
  CLI::Option *quiet = c->add_flag("-q,--quiet", reporting.quiet, "Leave out the schema's warnings and notes");
  c->add_flag("-v,--verbose", reporting.verbose, "Show the schema's notes too")->excludes(quiet);
  c->footer("Exit status: 1 when the input does not hold what the record asks for; 2 for a usage "
            "error, a file that does not open and a schema with errors; 0 otherwise.");
}

} // namespace

void addRecordCommands(CLI::App &app) {
  opt.decode = app.add_subcommand(
    "decode", "Print the fields and values of packed records of a schema's record, one per line "
              "with offset and type, or as JSON");
  addCommon(opt.decode, "DATA: the packed records");
  opt.decode->add_flag("--json", opt.json, "Print one JSON object (an array with --count)");
  opt.countOption = opt.decode->add_option("--count", opt.count, "Read N records one after another")
                      ->check(CLI::Range(1LL, 1LL << 40));
  opt.decode->add_option("--offset", opt.offset, "Start this many bytes into the data")
    ->check(CLI::Range(0LL, 1LL << 40));
  opt.encode = app.add_subcommand(
    "encode", "Write the packed bytes of a JSON object (or an array of them) by a schema's record; "
              "fields left out get their defaults");
  addCommon(opt.encode, "JSON: the record's values");
  opt.encode->add_option("-o,--output", opt.output,
                         "Write the bytes to this file (none is written on error), not standard output");
}

int runRecordCommands() {
  if (opt.decode->parsed()) return decode();
  if (opt.encode->parsed()) return encode();
  return -1;
}
