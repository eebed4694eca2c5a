# Runs the example host on a schema with a mistyped option and checks that it
# heard the error and its hint at line 2, column 26, with nothing on
# standard output.
execute_process(COMMAND ${PROGRAM} ${SCHEMA}
  OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status)
if(NOT status EQUAL 1)
  message(FATAL_ERROR "exit status ${status}, wanted 1\n${err}")
endif()
if(NOT out STREQUAL "")
  message(FATAL_ERROR "standard output is not empty:\n${out}")
endif()
foreach(want ":2:26: error: UNRECOGNIZED OPTION! \"LABLE\" [unknown-option]"
             ":2:26: note: did you mean `LABEL`? [did-you-mean]")
  string(FIND "${err}" "${want}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "missing: ${want}\nin:\n${err}")
  endif()
endforeach()
