# run(COMMAND...): runs a command of a packaging test; a non-zero exit fails
# the test with the command's output. Its standard output is left in ${out}.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()
