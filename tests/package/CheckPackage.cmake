# Builds the Debian package from the built tree and checks it: its files (the
# library with its soname links, the headers, the CMake and pkg-config files,
# the tool), its dependencies, and that dpkg installs it into a scratch root.
# Arguments: -DBUILD_DIR= -DWORK_DIR=
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

function(run output)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(${output} "${out}" PARENT_SCOPE)
endfunction()

run(ignored cpack --config ${BUILD_DIR}/CPackConfig.cmake -B ${WORK_DIR})
file(GLOB packages ${WORK_DIR}/*.deb)
list(LENGTH packages count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one package, found: ${packages}")
endif()
run(contents dpkg-deb --contents ${packages})
foreach(expected
    "./usr/lib/libveskTarnhive.so.0.1.0"
    "./usr/lib/libveskTarnhive.so.0 -> libveskTarnhive.so.0.1.0"
    "./usr/lib/libveskTarnhive.so -> libveskTarnhive.so.0"
    "./usr/include/vesk/tarnhive/Tarnhive.h"
    "./usr/include/vesk/orlo/StringBase.h"
    "./usr/lib/cmake/veskTarnhive/veskTarnhiveConfig.cmake"
    "./usr/lib/cmake/veskTarnhive/veskTarnhiveConfigVersion.cmake"
    "./usr/lib/pkgconfig/veskTarnhive.pc"
    "./usr/bin/tarnhive")
  string(FIND "${contents}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the package lacks ${expected}:\n${contents}")
  endif()
endforeach()
run(depends dpkg-deb --field ${packages} Depends)
foreach(expected libssl3 libicu libstdc++6)
  string(FIND "${depends}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the package does not depend on ${expected}: ${depends}")
  endif()
endforeach()
# An install into a scratch root with a dpkg database of its own; the
# dependencies are those of the machine, not of the scratch root.
set(root ${WORK_DIR}/root)
file(MAKE_DIRECTORY ${root}/var/lib/dpkg/info ${root}/var/lib/dpkg/updates)
file(TOUCH ${root}/var/lib/dpkg/status)
run(ignored dpkg --root=${root} --force-depends --force-not-root --force-script-chrootless
    --log=${WORK_DIR}/dpkg.log -i ${packages})
if(NOT EXISTS ${root}/usr/lib/libveskTarnhive.so.0)
  message(FATAL_ERROR "dpkg did not install the library into ${root}")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
