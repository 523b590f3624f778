# Builds the Debian package as scripts/package does (cmake/BuildPackage.cmake)
# and checks it: its files (the library with its soname links, the headers,
# the CMake and pkg-config files, the tool, the Python package), its
# dependencies, and that dpkg installs it into a scratch root, where the
# Python package works.
# Arguments: -DSOURCE_DIR= -DPACKAGE_BUILD_DIR= -DWORK_DIR= [-DPYTHON= -DPYTHON_DIR=]
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

function(run output)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(${output} "${out}" PARENT_SCOPE)
endfunction()

run(ignored ${CMAKE_COMMAND} -DSOURCE_DIR=${SOURCE_DIR} -DBUILD_DIR=${PACKAGE_BUILD_DIR}
    -P ${SOURCE_DIR}/cmake/BuildPackage.cmake)
file(GLOB packages ${PACKAGE_BUILD_DIR}/*.deb)
list(LENGTH packages count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one package, found: ${packages}")
endif()
run(contents dpkg-deb --contents ${packages})
set(python_files)
if(PYTHON)
  set(python_files "./usr/${PYTHON_DIR}/tarnhive/__init__.py"
                   "./usr/${PYTHON_DIR}/tarnhive/_tarnhive.cpython-")
endif()
foreach(expected
    "./usr/lib/libveskTarnhive.so.0.1.0"
    "./usr/lib/libveskTarnhive.so.0 -> libveskTarnhive.so.0.1.0"
    "./usr/lib/libveskTarnhive.so -> libveskTarnhive.so.0"
    "./usr/include/vesk/tarnhive/Tarnhive.h"
    "./usr/include/vesk/orlo/StringBase.h"
    "./usr/lib/cmake/veskTarnhive/veskTarnhiveConfig.cmake"
    "./usr/lib/cmake/veskTarnhive/veskTarnhiveConfigVersion.cmake"
    "./usr/lib/pkgconfig/veskTarnhive.pc"
    "./usr/bin/tarnhive"
    ${python_files})
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
# The installed Python package finds the installed library by itself.
if(PYTHON)
  set(ENV{PYTHONPATH} ${root}/usr/${PYTHON_DIR})
  set(ENV{VESK_TARNHIVE_LOCK_DIR} ${WORK_DIR})
  unset(ENV{LD_LIBRARY_PATH})
  run(ignored ${PYTHON} -c "import tarnhive, sys
assert tarnhive.__file__.startswith(sys.argv[2])
with tarnhive.open(sys.argv[1]).update() as u: u.set('/Packaged', 'ok', True)"
      ${WORK_DIR}/registry ${root})
endif()
file(REMOVE_RECURSE ${WORK_DIR})
