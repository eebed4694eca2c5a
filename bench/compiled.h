/*
** A generated schema laid out the way a library with its schema compiled in
** holds it: record and data tables with local codes, field tables, name lists
** and code maps, ready to be written into a site and handed to ddSetCode.
*/
#ifndef RKDD_BENCH_COMPILED_H
#define RKDD_BENCH_COMPILED_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "rkdd/rkdd.h"
#include "schemagen.h"

class Compiled {
public:
  explicit Compiled(const gen::Size &size);
  /* Writes the table, count, bound, base and map fields of the site. Since
  ** ddSetCode rewrites the tables, each object serves one site. */
  void fill(ddSite *site);

private:
  const char *keep(std::string text);
  const char **list(std::vector<std::string> names);

  std::deque<std::string> texts_;
  std::deque<std::vector<const char *>> lists_;
  std::vector<std::vector<ddField>> fields_;
  std::vector<ddRSchema> records_;
  std::vector<ddDSchema> data_;
  std::vector<int32_t> recordMap_, dataMap_;
};

#endif
