/*
** Compiled tables of a generated size: the same records, members, links and
** levels as the generated schema text, with the codes a compiled library uses.
*/
#include "compiled.h"

namespace {

constexpr int kRecordBase = 256, kDataBase = 2048;

int lengthOf(int type) {
  switch (type) {
  case MTYPE_DOUBLE: return 8;
  case MTYPE_SHORT: case MTYPE_USHORT: return 2;
  case MTYPE_CHAR: case MTYPE_UCHAR: case MTYPE_FLAG: return 1;
  case MTYPE_TEXT: return 16;
  default: return 4;
  }
}

} // namespace

const char *Compiled::keep(std::string text) { return texts_.emplace_back(std::move(text)).c_str(); }

const char **Compiled::list(std::vector<std::string> names) {
  auto &slots = lists_.emplace_back();
  for (auto &name : names) slots.push_back(keep(std::move(name)));
  return slots.data();
}

Compiled::Compiled(const gen::Size &size)
    : fields_(size.records), records_(size.records), data_(size.data), recordMap_(size.records),
      dataMap_(size.data) {
  const std::string p = gen::prefixOf(1);
  for (int i = 0; i < size.data; i++) {
    ddDSchema &d = data_[i];
    d.head.code = kDataBase + i;
    d.head.tagType = gen::dataType(i);
    d.head.flags = DD_FLAG_IS_PACKED | DD_FLAG_IS_DISPLAY | DD_FLAG_IS_EDIT | DD_FLAG_IS_SEARCH;
    d.head.name = keep(gen::dataName(p, i));
    d.head.label = keep(gen::dataLabel(p, i));
    d.head.arrayCount = 1;
    d.head.length = lengthOf(d.head.tagType);
  }
  for (int r = 0; r < size.records; r++) {
    for (int j = 0; j < size.members; j++) {
      gen::Slot s = gen::slot(size, r, j);
      uint32_t kind = s.kind == gen::Member::Pointer ? DD_KIND_POINTER
                      : s.kind == gen::Member::Nested ? DD_KIND_STRUCTURE
                                                      : DD_KIND_DC;
      int code = s.kind == gen::Member::Data ? kDataBase + s.index : kRecordBase + s.index;
      fields_[r].push_back({code, kind << DD_FIELD_KIND_SHIFT, 0});
    }
    ddRSchema &e = records_[r];
    e.head.code = kRecordBase + r;
    e.head.tagType = r == 0 ? MTYPE_ROOT : r % 4 == 0 ? MTYPE_BEAD : MTYPE_REC;
    e.head.flags = DD_FLAG_IS_PACKED | DD_FLAG_IS_DISPLAY | DD_FLAG_IS_EDIT | DD_FLAG_IS_SEARCH;
    e.head.name = keep(gen::recordName(p, r));
    e.head.label = keep(gen::dataLabel(p, r));
    e.head.arrayCount = 1;
    if (r % 16 == 15) e.head.xcodeName = keep(gen::recordName(p, r - 1));
    e.ilevel = gen::recordLevel(1, r);
    e.fields = fields_[r].data();
    e.fieldCount = static_cast<uint8_t>(size.members);
    if (r > 0) {
      std::vector<std::string> up{gen::recordName(p, (r - 1) / 2)};
      if (r > 2 && r / 3 != (r - 1) / 2) up.push_back(gen::recordName(p, r / 3));
      e.parentNameCount = static_cast<uint8_t>(up.size());
      e.parentNames = list(std::move(up));
    }
    if (2 * r + 1 < size.records) {
      std::vector<std::string> down{gen::recordName(p, 2 * r + 1)};
      if (2 * r + 2 < size.records) down.push_back(gen::recordName(p, 2 * r + 2));
      e.childNameCount = static_cast<uint8_t>(down.size());
      e.childNames = list(std::move(down));
    }
    if (r % 8 == 7 && r + 1 < size.records) {
      e.aliasNameCount = 1;
      e.aliasNames = list({gen::recordName(p, r + 1)});
    }
  }
}

void Compiled::fill(ddSite *site) {
  site->recordTable = records_.data();
  site->recordCount = static_cast<int32_t>(records_.size());
  site->firstRecord = site->recordBase = kRecordBase;
  site->lastRecord = kRecordBase + site->recordCount - 1;
  site->recordMap = recordMap_.data();
  site->dataTable = data_.data();
  site->dataCount = static_cast<int32_t>(data_.size());
  site->firstData = site->dataBase = kDataBase;
  site->lastData = kDataBase + site->dataCount - 1;
  site->dataMap = dataMap_.data();
}
