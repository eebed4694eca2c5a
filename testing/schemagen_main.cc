/*
** rkdd_schemagen: writes a generated schema of a chosen size to standard
** output, as rkdd schema text, a FlatBuffers schema or a .proto.
*/
#include <cstdio>
#include <cstdlib>
#include <string>

#include "schemagen.h"

int main(int argc, char **argv) {
  if (argc < 4 || argc > 6) {
    std::fprintf(stderr, "usage: %s DATA RECORDS MEMBERS [rkdd|fbs|proto] [SITE]\n", argv[0]);
    return 2;
  }
  gen::Size size{std::atoi(argv[1]), std::atoi(argv[2]), std::atoi(argv[3])};
  if (size.data < 1 || size.records < 1 || size.members < 1 || size.members > size.data ||
      size.members > 255) {
    std::fprintf(stderr, "need 1 <= MEMBERS <= 255, MEMBERS <= DATA and RECORDS >= 1\n");
    return 2;
  }
  std::string form = argc > 4 ? argv[4] : "rkdd";
  int site = argc > 5 ? std::atoi(argv[5]) : 0;
  std::string text = form == "fbs"     ? gen::fbsSchema(size, site)
                     : form == "proto" ? gen::protoSchema(size, site)
                     : form == "rkdd"  ? gen::rkddSchema(size, site)
                                       : std::string();
  if (text.empty()) {
    std::fprintf(stderr, "unknown form: %s\n", form.c_str());
    return 2;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}
