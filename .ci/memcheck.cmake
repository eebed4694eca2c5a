# ctest -S script: the suite of an existing build under valgrind memcheck.
# Set BUILD (the build tree) and EXCLUDE (a regular expression of tests to
# leave out) with -D. The result is the number of failed tests and defects.
set(CTEST_SOURCE_DIRECTORY "${CMAKE_CURRENT_LIST_DIR}/..")
set(CTEST_BINARY_DIRECTORY "${BUILD}")
set(CTEST_MEMORYCHECK_TYPE Valgrind)
find_program(CTEST_MEMORYCHECK_COMMAND valgrind REQUIRED)
# Errors make valgrind fail the test; of leaks only definite ones count,
# since the library keeps its blocks until the process ends on purpose.
set(CTEST_MEMORYCHECK_COMMAND_OPTIONS
    "--error-exitcode=1 --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite --num-callers=30")
ctest_start(Experimental)
# A valgrind error or a definitely lost block fails the test through the exit
# code; ctest's own defect count also counts possibly lost blocks, which the
# block header of the memory layer makes of every live block, so it only
# goes to the log.
ctest_memcheck(EXCLUDE "${EXCLUDE}" PARALLEL_LEVEL ${JOBS} RETURN_VALUE failed DEFECT_COUNT defects)
message("memcheck: ctest counted ${defects} defects (possibly lost blocks included)")
if(NOT failed EQUAL 0)
  file(GLOB logs "${BUILD}/Testing/Temporary/MemoryChecker.*.log")
  foreach(log ${logs})
    file(STRINGS "${log}" errors REGEX "ERROR SUMMARY: [1-9]")
    if(errors)
      file(READ "${log}" text)
      message("${text}")
    endif()
  endforeach()
  message(FATAL_ERROR "memcheck failed: a test failed or valgrind reported errors")
endif()
