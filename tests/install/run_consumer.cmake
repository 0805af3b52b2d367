# Script mode: install, build the consumer, run it. Any failing step fails
# the test with that step's output.
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

function(step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "step failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  message("${out}")
endfunction()

if(CONFIG)
  step(${CMAKE_COMMAND} --install ${KMATH_BUILD_DIR} --prefix ${prefix} --config ${CONFIG})
else()
  step(${CMAKE_COMMAND} --install ${KMATH_BUILD_DIR} --prefix ${prefix})
endif()
step(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE_DIR} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${prefix}
     -DCMAKE_BUILD_TYPE=Release)
step(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
step(${WORK_DIR}/build/consumer)

# The pkg-config file must name the installed library and headers.
file(READ ${prefix}/lib/pkgconfig/kmath.pc pc)
if(NOT pc MATCHES "-lkmath" OR NOT pc MATCHES "Cflags: -I")
  message(FATAL_ERROR "kmath.pc is incomplete:\n${pc}")
endif()
