# Writes the header of SCHEMA with TOOL and compiles it with CC as strict C11
# and with CXX as strict C++17, so that its assertions hold in both.
# STATUS is the exit status the schema's diagnostics give (1 when it has errors).
execute_process(COMMAND ${TOOL} header ${SCHEMA} -o ${HEADER} RESULT_VARIABLE status
                ERROR_VARIABLE diagnostics)
if(NOT status EQUAL STATUS)
  message(FATAL_ERROR "rkdd header gave ${status}:\n${diagnostics}")
endif()
foreach(language "${CC};-std=c11;-x;c" "${CXX};-std=c++17;-x;c++")
  execute_process(COMMAND ${language} -fsyntax-only -Wall -Wextra -Wpedantic -Werror ${HEADER}
                  RESULT_VARIABLE status ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${HEADER} does not compile (${language}):\n${errors}")
  endif()
endforeach()
