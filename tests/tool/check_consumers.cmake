# Installs BUILD into STAGE, then builds the consumer in SOURCE against it
# twice: through find_package(rkdd CONFIG) and through pkg-config.
file(REMOVE_RECURSE ${STAGE} ${WORK})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN} gave ${status}:\n${out}\n${err}")
  endif()
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${STAGE})
set(ENV{LD_LIBRARY_PATH} ${STAGE}/lib)

run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/cmake -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${STAGE}
    "-DCMAKE_C_FLAGS=${FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK}/cmake)
run(${WORK}/cmake/consumer)

set(ENV{PKG_CONFIG_PATH} ${STAGE}/lib/pkgconfig)
execute_process(COMMAND pkg-config --define-prefix --cflags --libs rkddkit
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know rkddkit")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(extra UNIX_COMMAND "${FLAGS}")
run(${CC} ${extra} ${SOURCE}/consumer.c ${flags} -o ${WORK}/consumer-pc)
run(${WORK}/consumer-pc)
