# What a user of command-line tools expects of any of them, checked on zsff: a
# version; --quiet and --verbose everywhere, the library's diagnostics with
# --verbose only; errors in one line that name the
# file and give the system's reason; a listing that fails when something in it
# is broken; a picture on standard output and a refused picture name; and a
# recording that SIGTERM or SIGHUP stops cleanly, with the status a shell gives.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P ToolManners.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

run_zsff(version --version)
if(NOT version MATCHES "^zsff [0-9]+\\.[0-9]+")
  fail("zsff --version prints '${version}'")
endif()

run_zsff(out record --quiet --seconds 1 --records 1 "${measurement}")
if(NOT out STREQUAL "")
  fail("zsff record --quiet prints '${out}'")
endif()

# Every command takes both; --quiet leaves only results.
foreach(flag --quiet --verbose)
  foreach(request "info" "read --seconds 0.01" "zoom --points 2" "plot --out ${WORK_DIR}/p.png"
                  "follow --timeout 1")
    separate_arguments(words UNIX_COMMAND "${request}")
    execute_process(
      COMMAND "${ZSFF}" ${words} ${flag} "${measurement}"
      RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(result EQUAL 2)
      fail("zsff ${request} ${flag}: refused (${err})")
    endif()
  endforeach()
endforeach()
run_zsff(out plot --quiet --out "${WORK_DIR}/q.png" "${measurement}")
if(NOT out STREQUAL "" OR NOT EXISTS "${WORK_DIR}/q.png")
  fail("zsff plot --quiet prints '${out}'")
endif()

# Errors name the file and the system's reason, in one line.
foreach(case "missing;No such file or directory" "file;Not a directory")
  list(GET case 0 name)
  list(GET case 1 reason)
  file(WRITE "${WORK_DIR}/file" "")
  foreach(command info read zoom plot)
    execute_process(
      COMMAND "${ZSFF}" ${command} "${WORK_DIR}/${name}"
      RESULT_VARIABLE result ERROR_VARIABLE err)
    if(result EQUAL 0 OR NOT err STREQUAL "zsff: ${WORK_DIR}/${name}: ${reason}\n")
      fail("zsff ${command} of a ${name}: (${result}) '${err}'")
    endif()
  endforeach()
endforeach()
execute_process(
  COMMAND "${ZSFF}" read --f32 "${measurement}" /dev/full
  RESULT_VARIABLE result ERROR_VARIABLE err)
if(result EQUAL 0 OR NOT err STREQUAL "zsff: /dev/full: No space left on device\n")
  fail("reading into a full disk: (${result}) '${err}'")
endif()
execute_process(
  COMMAND "${ZSFF}" plot --out - "${measurement}"
  OUTPUT_FILE /dev/full RESULT_VARIABLE result ERROR_VARIABLE err)
if(result EQUAL 0 OR NOT err STREQUAL "zsff: standard output: No space left on device\n")
  fail("a picture into a full disk: (${result}) '${err}'")
endif()

# The picture on standard output is a PNG; a name that isn't .png or .svg is refused.
execute_process(
  COMMAND "${ZSFF}" plot --out - "${measurement}"
  OUTPUT_FILE "${WORK_DIR}/stdout.png" RESULT_VARIABLE result)
file(READ "${WORK_DIR}/stdout.png" header LIMIT 8 HEX)
if(NOT result EQUAL 0 OR NOT header STREQUAL "89504e470d0a1a0a")
  fail("zsff plot --out - gives (${result}) a file beginning ${header}")
endif()
expect_refusals(plot "--out ${WORK_DIR}/p.jpg" "--out ${WORK_DIR}/p --format gif")

# The library's own lines on a metadata file that doesn't parse come with
# --verbose only; the tool's line comes always.
file(GLOB metadata "${measurement}/Record_*/Channel_3_*/*.zrm")
file(WRITE "${metadata}" "{")
foreach(flag --quiet --verbose)
  execute_process(COMMAND "${ZSFF}" info ${flag} "${measurement}" ERROR_VARIABLE err_${flag})
endforeach()
if(NOT err_--quiet MATCHES "^zsff: [^\n]*: 1 channel shows an error\n$"
   OR NOT err_--verbose MATCHES "zsff: library error: [^\n]+\n.*1 channel shows an error")
  fail("the library's diagnostics:\nquiet: '${err_--quiet}'\nverbose: '${err_--verbose}'")
endif()

# A channel without its metadata file fails the listing, in both forms.
file(GLOB metadata "${measurement}/Record_*/Channel_2_*/*.zrm")
file(REMOVE ${metadata})
foreach(form "" "--json")
  execute_process(COMMAND "${ZSFF}" info ${form} "${measurement}" RESULT_VARIABLE result)
  if(result EQUAL 0)
    fail("zsff info ${form} passes a measurement with a broken channel")
  endif()
endforeach()

# SIGTERM and SIGHUP stop a recording cleanly: the measurement is finished, and
# the status is the signal's, as a shell reports it.
foreach(case "TERM;143" "HUP;129")
  list(GET case 0 signal)
  list(GET case 1 status)
  set(stopped "${WORK_DIR}/${signal}")
  execute_process(
    COMMAND sh -c "\"$0\" record --quiet --realtime --seconds 30 \"$1\" & sleep 1.5; kill -${signal} $!; wait $!"
      "${ZSFF}" "${stopped}"
    RESULT_VARIABLE result ERROR_VARIABLE err TIMEOUT 60)
  file(GLOB headers "${stopped}/*.zff")
  if(NOT result EQUAL status OR headers)
    fail("SIG${signal}: status ${result}, headers left '${headers}': ${err}")
  endif()
endforeach()

file(REMOVE_RECURSE "${WORK_DIR}")
