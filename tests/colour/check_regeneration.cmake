# Runs the weighting-table generator into the build tree and compares its
# output with the committed source byte for byte.
file(REMOVE ${OUTPUT})
execute_process(COMMAND ${PYTHON} ${GENERATOR} --output ${OUTPUT} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "generator failed: ${result}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUTPUT} ${COMMITTED} RESULT_VARIABLE differs)
if(NOT differs EQUAL 0)
  message(FATAL_ERROR "${COMMITTED} differs from the generator's output ${OUTPUT}")
endif()
message(STATUS "weighting tables regenerate byte for byte")
