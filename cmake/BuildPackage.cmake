# Builds the Debian package: a Release tree in BUILD_DIR with what the
# package holds (the library, the tool and the Python package, not the tests),
# then cpack's package in BUILD_DIR. scripts/package runs it, and so does the
# package test, so that the package is tested as users build it.
# Arguments: -DSOURCE_DIR= -DBUILD_DIR= [-DJOBS=]
if(NOT JOBS)
  cmake_host_system_information(RESULT JOBS QUERY NUMBER_OF_LOGICAL_CORES)
endif()

function(run)
  execute_process(COMMAND ${ARGV} WORKING_DIRECTORY ${BUILD_DIR} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGV}")
  endif()
endfunction()

file(MAKE_DIRECTORY ${BUILD_DIR})
file(GLOB old_packages ${BUILD_DIR}/*.deb)
if(old_packages)
  file(REMOVE ${old_packages})
endif()
# cpack installs the tree; without the skip its install step would build
# every target first.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${BUILD_DIR} -DCMAKE_BUILD_TYPE=Release
    -DTARNHIVE_BUILD_BENCH=OFF -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON)
run(${CMAKE_COMMAND} --build ${BUILD_DIR} --target tarnhive_packaged -j ${JOBS})
run(cpack -G DEB --config ${BUILD_DIR}/CPackConfig.cmake)
