# Writes the header of SCHEMA with TOOL and compiles it with CC as strict C11.
# STATUS is the exit status the schema's diagnostics give (1 when it has errors).
execute_process(COMMAND ${TOOL} header ${SCHEMA} -o ${HEADER} RESULT_VARIABLE status
                ERROR_VARIABLE diagnostics)
if(NOT status EQUAL STATUS)
  message(FATAL_ERROR "rkdd header gave ${status}:\n${diagnostics}")
endif()
execute_process(COMMAND ${CC} -std=c11 -fsyntax-only -Wall -Wextra -Wpedantic -Werror
                        -x c ${HEADER}
                RESULT_VARIABLE status ERROR_VARIABLE errors)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${HEADER} does not compile:\n${errors}")
endif()
