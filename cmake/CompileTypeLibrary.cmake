# Compiles DEFINITION into the type library OUTPUT for programs of 32 or 64 BITS. Any output of the compiler counts as
# an error.
# The time of the build would be in it, and this one in local time.
set(ENV{WIDL_TIME_OVERRIDE} 1)
set(ENV{TZ} UTC)
execute_process(
  COMMAND ${COMPILER} -m${BITS} -I${INCLUDES} -L${LIBRARIES} -t -o ${OUTPUT} ${DEFINITION}
  RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(NOT result EQUAL 0 OR NOT said STREQUAL "")
  file(REMOVE ${OUTPUT})
  message(FATAL_ERROR "the type library was not compiled without complaint (${result}):\n${said}")
endif()
