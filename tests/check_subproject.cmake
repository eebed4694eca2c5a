# Builds the consumer program with rkdd taken in by add_subdirectory, the
# tool left out, and CLI11, nlohmann-json and GoogleTest made unfindable: a
# library-only build must look for none of them, nor build the tests.
# WORK is kept between runs, so that a change to one source rebuilds only
# what it touches there too; its cache is dropped, so every run configures
# afresh with the options below and finds no tests or tool folder of before.
file(REMOVE ${WORK}/CMakeCache.txt)
file(REMOVE_RECURSE ${WORK}/rkdd/tests ${WORK}/rkdd/tools)
include(${CMAKE_CURRENT_LIST_DIR}/run_step.cmake)
run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK} -G ${GENERATOR} -DRKDD_SOURCE=${SOURCE}
    -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON
    -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON)
if(EXISTS ${WORK}/rkdd/tests OR EXISTS ${WORK}/rkdd/tools)
  message(FATAL_ERROR "a library-only subproject build configured the tests or the tool")
endif()
run(${CMAKE_COMMAND} --build ${WORK} --target consumer)
run(${WORK}/consumer)
