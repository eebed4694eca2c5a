/*
** The Record group of rkdd_bench: one packed record of 255 fields (and the
** records it holds in line) decoded to JSON, encoded back and walked value by
** value by rkddkit, beside FlatBuffers' reflection reading every field of the
** same struct, in one process.
*/
#include <benchmark/benchmark.h>
#include <flatbuffers/idl.h>
#include <flatbuffers/reflection.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "rkdd/kit.h"
#include "rkdd/rkdd.h"
#include "schemagen.h"

namespace {

constexpr gen::Size kSize{64, 32, 255};

struct Setup {
  kitModel *model = nullptr;
  kitRecordType *type = nullptr;
  std::vector<unsigned char> bytes;
  std::string json;
  flatbuffers::Parser fbs;
  const reflection::Schema *schema = nullptr;
  const reflection::Object *object = nullptr;
  std::vector<uint8_t> fbsBytes;
  bool ok = false;
};

void silent(const ddMessage *, void *) {}

const reflection::Object *fbsObject(const reflection::Schema &schema, const std::string &name) {
  for (const reflection::Object *o : *schema.objects()) {
    std::string full = o->name()->str();
    if (full == name || full.ends_with("." + name)) return o;
  }
  return nullptr;
}

Setup &setup() {
  static Setup *s = [] {
    auto *s = new Setup;
    std::string path = "/tmp/rkdd_bench_record_" + std::to_string(getpid()) + ".schema";
    std::ofstream(path) << gen::rkddSchema(kSize, 0);
    int site = -1;
    ddSetMessageHandler(silent, nullptr);
    bool imported = ddImportSchema(path.c_str(), &site) == 1;
    std::remove(path.c_str());
    std::string name = gen::recordName(gen::prefixOf(0), 0);
    s->model = imported ? kitModelRead(site) : nullptr;
    const kitDef *d = kitFindName(s->model, name.c_str());
    s->type = d ? kitRecordTypeMake(s->model, d->code, 0, nullptr) : nullptr;
    if (s->type == nullptr || d->fieldCount != kSize.members) return s;
    s->bytes.resize(static_cast<size_t>(kitRecordLength(s->type)));
    for (size_t i = 0; i < s->bytes.size(); i++) s->bytes[i] = static_cast<unsigned char>(i * 37 % 101);
    char *json = kitRecordToJson(s->type, s->bytes.data(), s->bytes.size(), 0, nullptr);
    s->json = json ? json : "";
    std::free(json);
    if (!s->fbs.Parse(gen::fbsSchema(kSize, 0).c_str())) return s;
    s->fbs.Serialize();
    s->schema = reflection::GetSchema(s->fbs.builder_.GetBufferPointer());
    s->object = fbsObject(*s->schema, name);
    if (s->object == nullptr) return s;
    s->fbsBytes.assign(static_cast<size_t>(s->object->bytesize()), 0);
    for (size_t i = 0; i < s->fbsBytes.size(); i++) s->fbsBytes[i] = static_cast<uint8_t>(i * 37 % 101);
    s->ok = !s->json.empty();
    return s;
  }();
  return *s;
}

/* Every field of a struct read through reflection, nested structs and
** fixed arrays element by element; gives the number of values read. */
long fbsRead(const reflection::Schema &schema, const reflection::Object &object, const uint8_t *p,
             double *sum) {
  long values = 0;
  for (const reflection::Field *f : *object.fields()) {
    const reflection::Type *type = f->type();
    const uint8_t *at = p + f->offset();
    if (type->base_type() == reflection::Obj) {
      values += fbsRead(schema, *schema.objects()->Get(static_cast<flatbuffers::uoffset_t>(type->index())), at, sum);
    } else if (type->base_type() == reflection::Array) {
      size_t step = flatbuffers::GetTypeSize(type->element());
      for (int i = 0; i < type->fixed_length(); i++, values++)
        *sum += flatbuffers::GetAnyValueF(type->element(), at + static_cast<size_t>(i) * step);
    } else {
      *sum += flatbuffers::GetAnyValueF(type->base_type(), at);
      values++;
    }
  }
  return values;
}

int countValue(const kitItem *item, void *context) {
  auto *sum = static_cast<double *>(context);
  if (item->event == KIT_ITEM_VALUE) *sum += static_cast<double>(item->value.u) + item->value.real;
  return 0;
}

void run(benchmark::State &state, int which) {
  Setup &s = setup();
  if (!s.ok) {
    state.SkipWithError("setup failed");
    return;
  }
  std::vector<unsigned char> out(s.bytes.size());
  double sum = 0;
  long values = 0;
  for (auto _ : state) {
    if (which == 0) {
      char *json = kitRecordToJson(s.type, s.bytes.data(), s.bytes.size(), 0, nullptr);
      benchmark::DoNotOptimize(json);
      std::free(json);
    } else if (which == 1) {
      benchmark::DoNotOptimize(kitRecordFromJson(s.type, s.json.data(), s.json.size(), out.data(), out.size(), nullptr));
    } else if (which == 2) {
      kitRecordWalk(s.type, s.bytes.data(), s.bytes.size(), countValue, &sum, nullptr);
    } else {
      values = fbsRead(*s.schema, *s.object, s.fbsBytes.data(), &sum);
    }
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  if (which == 3) state.counters["values"] = static_cast<double>(values);
  if (which == 1 && out != s.bytes) state.SkipWithError("encode did not give the bytes back");
}

const int registered = [] {
  const char *names[] = {"Record/rkdd_kitRecordToJson/255", "Record/rkdd_kitRecordFromJson/255",
                         "Record/rkdd_kitRecordWalk/255", "Record/flatbuffers_reflection_read/255"};
  for (int i = 0; i < 4; i++) benchmark::RegisterBenchmark(names[i], run, i)->Unit(benchmark::kMicrosecond);
  return 0;
}();

} // namespace
