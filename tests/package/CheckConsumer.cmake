# Installs the built tree into a scratch prefix, then configures, builds and
# runs the consumer project against it twice: found with find_package, and
# with pkg-config. Arguments: -DBUILD_DIR= -DSOURCE_DIR= -DWORK_DIR=
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGV}\n${out}\n${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(mode OFF ON)
  set(build ${WORK_DIR}/consumer-${mode})
  set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/package/consumer -B ${build}
      -DUSE_PKG_CONFIG=${mode} -DCMAKE_PREFIX_PATH=${prefix} -DHEADER_ROOT=${prefix}/include
      -DEXAMPLE=${SOURCE_DIR}/examples/QuickStart.cpp)
  run(${CMAKE_COMMAND} --build ${build})
  set(ENV{LD_LIBRARY_PATH} ${prefix}/lib)
  set(ENV{VESK_TARNHIVE_LOCK_DIR} ${WORK_DIR})
  file(MAKE_DIRECTORY ${WORK_DIR}/registry-${mode})
  run(${build}/consumer ${WORK_DIR}/registry-${mode})
endforeach()
file(REMOVE_RECURSE ${WORK_DIR})
