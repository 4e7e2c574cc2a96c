# What the zsff tool's test scripts share: failing with a message, a fresh
# scratch directory with the measurement's path in it, and the check that
# requests a command can't serve are refused with one line.

cmake_minimum_required(VERSION 3.20)

function(fail message)
  message(FATAL_ERROR "${message}")
endfunction()

set(measurement "${WORK_DIR}/measurement")
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

# Each further argument is one request of `command` on the measurement, its
# options separated by spaces; each must fail with a single line on stderr.
function(expect_refusals command)
  foreach(request IN LISTS ARGN)
    separate_arguments(options UNIX_COMMAND "${request}")
    execute_process(
      COMMAND "${ZSFF}" ${command} ${options} "${measurement}"
      RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(result EQUAL 0 OR NOT err MATCHES "^zsff( ${command})?: [^\n]*\n$")
      fail("zsff ${command} ${request}: expected one error line, got (${result}) '${err}'")
    endif()
  endforeach()
endfunction()

# Runs zsff with the further arguments; its standard output goes into `out`,
# and a failure fails the test.
function(run_zsff out)
  execute_process(
    COMMAND "${ZSFF}" ${ARGN}
    RESULT_VARIABLE result OUTPUT_VARIABLE text ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    string(JOIN " " words ${ARGN})
    fail("zsff ${words} failed (${result}): ${err}${text}")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# "zsff info --json" of the measurement into `out`.
function(info_json out)
  run_zsff(json info --json "${measurement}")
  set(${out} "${json}" PARENT_SCOPE)
endfunction()

# A decimal number of seconds in milliseconds, rounded: CMake counts in
# integers, and 0.6 may come as 0.59999999999999998.
function(seconds_to_ms seconds out)
  string(REGEX REPLACE "^([0-9]+)\\.?([0-9]?[0-9]?[0-9]?[0-9]?).*" "\\1;\\2" parts "${seconds}")
  list(GET parts 0 whole)
  list(GET parts 1 fraction)
  string(SUBSTRING "${fraction}0000" 0 4 fraction)
  math(EXPR ms "(${whole} * 10000 + 1${fraction} - 10000 + 5) / 10")
  set(${out} ${ms} PARENT_SCOPE)
endfunction()

# The samples a demo channel of `seconds` holds, at the demo's 51.2 samples a
# millisecond.
function(demo_samples seconds out)
  seconds_to_ms(${seconds} ms)
  math(EXPR samples "${ms} * 512 / 10")
  set(${out} ${samples} PARENT_SCOPE)
endfunction()

# A decimal number as an integer count of millionths, so that CMake's integer
# arithmetic can compare values printed at different precisions. Exponent forms
# only come out for magnitudes far below a millionth.
function(to_micro value out)
  if(value MATCHES "[eE]")
    set(${out} 0 PARENT_SCOPE)
    return()
  endif()
  if(NOT value MATCHES "^(-?)([0-9]+)\\.?([0-9]*)$")
    fail("'${value}' is not a number")
  endif()
  set(sign "${CMAKE_MATCH_1}")
  set(whole "${CMAKE_MATCH_2}")
  string(SUBSTRING "${CMAKE_MATCH_3}000000" 0 6 fraction)
  string(REGEX REPLACE "^0+([0-9])" "\\1" fraction "${fraction}")
  math(EXPR micro "${sign}(${whole} * 1000000 + ${fraction})")
  set(${out} ${micro} PARENT_SCOPE)
endfunction()

function(expect_near label got want)
  math(EXPR difference "${got} - ${want}")
  if(difference LESS -2 OR difference GREATER 2)
    fail("${label}: ${got} against ${want} (millionths)")
  endif()
endfunction()

# Every file under the measurement with its SHA-1, into `out`: equal texts mean
# that nothing on disk changed.
function(measurement_digest out)
  file(GLOB_RECURSE files LIST_DIRECTORIES true "${measurement}/*")
  list(SORT files)
  set(digest "")
  foreach(path IN LISTS files)
    if(IS_DIRECTORY "${path}")
      string(APPEND digest "${path}/\n")
    else()
      file(SHA1 "${path}" sha)
      string(APPEND digest "${path} ${sha}\n")
    endif()
  endforeach()
  set(${out} "${digest}" PARENT_SCOPE)
endfunction()

# Runs zsff with the further arguments, which must fail with one error line on
# stderr that matches `pattern`, and leave the measurement as it was.
function(expect_refused pattern)
  measurement_digest(before)
  execute_process(
    COMMAND "${ZSFF}" ${ARGN}
    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  measurement_digest(after)
  string(JOIN " " words ${ARGN})
  if(result EQUAL 0 OR NOT err MATCHES "^zsff[^\n]*\n$" OR NOT err MATCHES "${pattern}")
    fail("zsff ${words}: expected one error line matching '${pattern}', got (${result}) '${err}'")
  endif()
  if(NOT before STREQUAL after)
    fail("zsff ${words} was refused but changed the measurement")
  endif()
endfunction()
