# Installs BUILD into a prefix other than the one it was configured for,
# moves the tree elsewhere, then builds the consumer in SOURCE against it
# twice: through find_package(rkdd CONFIG) and through pkg-config.
file(REMOVE_RECURSE ${STAGE} ${WORK})
include(${CMAKE_CURRENT_LIST_DIR}/../run_step.cmake)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${STAGE}/installed)
file(RENAME ${STAGE}/installed ${STAGE}/moved)
set(prefix ${STAGE}/moved)
set(ENV{LD_LIBRARY_PATH} ${prefix}/lib)

run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/cmake -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${prefix}
    "-DCMAKE_C_FLAGS=${FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK}/cmake)
run(${WORK}/cmake/consumer)

# No --define-prefix: the file itself must lead to the moved tree.
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
execute_process(COMMAND pkg-config --dont-define-prefix --cflags --libs rkddkit
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know rkddkit")
endif()
string(FIND "${flags}" "-I${prefix}/" at)
if(NOT at EQUAL 0)
  message(FATAL_ERROR "pkg-config leads elsewhere than ${prefix}: ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(extra UNIX_COMMAND "${FLAGS}")
run(${CC} ${extra} ${SOURCE}/consumer.c ${flags} -o ${WORK}/consumer-pc)
run(${WORK}/consumer-pc)
