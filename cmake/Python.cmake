# The Python package (python/): whether it is built, the interpreter it is
# built for, and where it is installed. It is not built for Windows, nor in
# the sanitizer builds, whose instrumented module a plain interpreter cannot
# load.
option(TARNHIVE_BUILD_PYTHON "Build the Python package" ON)
set(TARNHIVE_PYTHON OFF)
if(TARNHIVE_BUILD_PYTHON AND NOT WIN32 AND NOT TARNHIVE_SANITIZE AND NOT TARNHIVE_TSAN)
  set(TARNHIVE_PYTHON ON)
  # Debian's interpreter, which the packages of pybind11 and pytest serve;
  # another python3 earlier on the PATH may have neither.
  if(EXISTS /usr/bin/python3)
    set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The interpreter of the Python package")
  endif()
  find_package(Python3 REQUIRED COMPONENTS Interpreter Development.Module)

  # Debian's interpreter looks in lib/python3.X/dist-packages under both
  # /usr and /usr/local; others in lib/python3.X/site-packages.
  execute_process(COMMAND ${Python3_EXECUTABLE} -c
                          "import sysconfig; print('deb_system' in sysconfig.get_scheme_names())"
                  OUTPUT_VARIABLE debian_python OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(site site-packages)
  if(debian_python STREQUAL "True")
    set(site dist-packages)
  endif()
  set(TARNHIVE_PYTHON_INSTALL_DIR
      ${CMAKE_INSTALL_LIBDIR}/python${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR}/${site}
      CACHE STRING "Where the Python package is installed, relative to the prefix")
endif()
