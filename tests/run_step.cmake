# run(COMMAND...): runs one step of a cmake -P test script and fails the test
# with the step's output when it gives a status other than 0.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN} gave ${status}:\n${out}\n${err}")
  endif()
endfunction()
