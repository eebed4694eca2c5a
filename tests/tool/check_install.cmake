# Installs BUILD into STAGE and runs the installed tool on SCHEMA.
file(REMOVE_RECURSE ${STAGE})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${STAGE}
                RESULT_VARIABLE status OUTPUT_QUIET)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "cmake --install gave ${status}")
endif()
foreach(file include/rkdd/rkdd.h include/rkdd/kit.h)
  if(NOT EXISTS ${STAGE}/${file})
    message(FATAL_ERROR "${file} was not installed")
  endif()
endforeach()
execute_process(COMMAND ${STAGE}/bin/rkdd show ${SCHEMA}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_QUIET)
if(NOT status EQUAL 0 OR NOT out MATCHES "record LpLight")
  message(FATAL_ERROR "the installed rkdd gave ${status}:\n${out}")
endif()
