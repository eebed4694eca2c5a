/*
** Generator of large, valid schemas of a chosen size for the benchmarks and
** the tests: rkdd schema text, and from the same size an equivalent
** FlatBuffers schema and an equivalent .proto, with the names, labels and levels the lookups ask for.
*/
#ifndef RKDD_TESTING_SCHEMAGEN_H
#define RKDD_TESTING_SCHEMAGEN_H

#include <string>

namespace gen {

/* How large a schema is: data items, records, members per structure. */
struct Size {
  int data = 64;
  int records = 32;
  int members = 8;
};

/* What a member of record r's structure in slot j names. */
enum class Member { Data, Nested, Pointer };
struct Slot {
  Member kind;
  int index; /* data item or record number */
};
Slot slot(const Size &size, int r, int j);

/* The tag type of data item i, as an MTYPE_* number. */
int dataType(int i);

/* Names as the schema text writes them; prefix keeps sites apart. */
std::string dataName(const std::string &prefix, int i);
std::string recordName(const std::string &prefix, int r);
/* The label the store holds for data item i, its quotes included. */
std::string dataLabel(const std::string &prefix, int i);
/* The format level of record r in the site made from the prefix of number
** site: unique across ten sites. */
int recordLevel(int site, int r);

/* The three texts. site numbers the prefix "s<site>" used for all names. */
std::string rkddSchema(const Size &size, int site);
std::string fbsSchema(const Size &size, int site);
std::string protoSchema(const Size &size, int site);
std::string prefixOf(int site);

/* The rkdd text with one field changed: the first member of the last
** record's structure (a record others hold in line) becomes a pointer. */
std::string rkddSchemaOneFieldChanged(const Size &size, int site);

} // namespace gen

#endif
