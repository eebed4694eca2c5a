/*
** The bounds of the executable's coverage counters. This file is built
** without the fuzzer's instrumentation on purpose: in an instrumented file a
** declaration of the linker's section names clashes with the ones the
** instrumentation makes itself, and the counters then never reach the fuzzer.
*/
#include <cstddef>
#include <cstdint>

extern "C" {
extern uint8_t __start___sancov_cntrs[] __attribute__((weak));
extern uint8_t __stop___sancov_cntrs[] __attribute__((weak));

uint8_t *fuzzCounters(size_t *size) {
  *size = __start___sancov_cntrs
              ? static_cast<size_t>(__stop___sancov_cntrs - __start___sancov_cntrs)
              : 0;
  return __start___sancov_cntrs;
}
}
