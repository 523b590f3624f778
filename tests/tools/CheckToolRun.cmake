# The tarnhive tool from start to end on a registry of its own, run as a
# CTest script so that it runs the same on every platform (under Wine for
# the Windows build): set, get, export, import, check, compact, info and
# backup, each with its exit status and output checked.
#
#   cmake -DTOOL=<tarnhive> [-DEMULATOR=<wine>] -DWORK=<scratch folder> -P CheckToolRun.cmake
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/locks")
set(ENV{VESK_TARNHIVE_LOCK_DIR} "${WORK}/locks")
set(registry "${WORK}/registry")
file(MAKE_DIRECTORY "${registry}")

# Runs the tool with ARGN; `expected` is the exit status it must give.
function(tool expected)
  execute_process(COMMAND ${EMULATOR} "${TOOL}" -d "${registry}" ${ARGN}
                  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err
                  INPUT_FILE "${WORK}/input" TIMEOUT 120)
  if(NOT status STREQUAL "${expected}")
    message(FATAL_ERROR "tarnhive ${ARGN}: exit ${status}, not ${expected}\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

function(expect_in text needle)
  string(FIND "${text}" "${needle}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "\"${needle}\" is missing from:\n${text}")
  endif()
endfunction()

file(WRITE "${WORK}/input" "")
tool(0 set -p /Acme/Editor zoom float32 1.25)
tool(0 set /Acme/Editor recent string-array a.txt b.txt)
tool(0 get /Acme/Editor zoom)
expect_in("${out}" "1.25")
tool(1 get /Acme/Missing zoom)
tool(0 export /Acme)
set(exported "${out}")
expect_in("${exported}" "\"recent\"")
file(WRITE "${WORK}/input" "${exported}")
tool(0 import --replace /Acme)
file(WRITE "${WORK}/input" "")
tool(0 export /Acme)
if(NOT out STREQUAL exported)
  message(FATAL_ERROR "export, import, export changed the bytes:\n${exported}\n${out}")
endif()
tool(0 compact)
expect_in("${out}" "compacted")
tool(0 check)
expect_in("${out}" "ok: ")
tool(0 --json info)
expect_in("${out}" "\"commitMark\"")
tool(0 backup "${WORK}/copy")
execute_process(COMMAND ${EMULATOR} "${TOOL}" -d "${WORK}/copy" export /Acme
                RESULT_VARIABLE status OUTPUT_VARIABLE copied TIMEOUT 120)
if(NOT copied STREQUAL exported)
  message(FATAL_ERROR "the backup exports other bytes:\n${copied}")
endif()
