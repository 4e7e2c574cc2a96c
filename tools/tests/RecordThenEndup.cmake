# Kills "zsff record" in the middle of its recording, then checks that "zsff info"
# calls the measurement unfinished and names the command that repairs it, that
# "zsff endup" on the directory above repairs it with one line (no progress bar
# off a terminal), that the repaired measurement lists its record finished with
# the length its channels hold, and that a second run finds nothing to do. A lock
# file left behind is named with its path and the way to clear it.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenEndup.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

execute_process(
  COMMAND sh -c "\"$0\" record --quiet --realtime --seconds 30 --records 1 \"$1\" & sleep 1.5; kill -KILL $!; wait $!"
    "${ZSFF}" "${measurement}"
  RESULT_VARIABLE result ERROR_VARIABLE err TIMEOUT 60)
file(GLOB headers "${measurement}/*.zff")
if(NOT headers)
  # A machine slow enough to kill it before its first record leaves nothing to repair.
  message(STATUS "the recorder was killed before it made its measurement")
  return()
endif()

execute_process(COMMAND "${ZSFF}" info "${measurement}" RESULT_VARIABLE result OUTPUT_VARIABLE text)
if(NOT text MATCHES "unfinished" OR NOT text MATCHES "zsff endup ${measurement}")
  fail("zsff info doesn't call the killed recording unfinished and repairable:\n${text}")
endif()
file(WRITE "${measurement}/Metadata.lock" "")
execute_process(COMMAND "${ZSFF}" info "${measurement}" RESULT_VARIABLE result OUTPUT_VARIABLE text)
if(NOT text MATCHES "${measurement}/Metadata.lock is there" OR NOT text MATCHES "zsff unlock ")
  fail("zsff info doesn't name the lock file left behind and how to clear it:\n${text}")
endif()
file(REMOVE "${measurement}/Metadata.lock")

execute_process(
  COMMAND "${ZSFF}" endup "${WORK_DIR}"
  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0 OR NOT err STREQUAL "")
  fail("zsff endup failed (${result}) or wrote to stderr off a terminal: '${err}'")
endif()
if(NOT out MATCHES "^${measurement}: repaired, 1 record, [0-9:]+ kept\n$")
  fail("zsff endup should tell the one measurement it repaired:\n${out}")
endif()

info_json(json)
string(JSON unfinished GET "${json}" unfinished)
string(JSON recording GET "${json}" records 0 recording)
if(unfinished OR recording)
  fail("after zsff endup: unfinished=${unfinished} recording=${recording}")
endif()
string(JSON duration GET "${json}" records 0 duration)
seconds_to_ms(${duration} listed_ms)
if(listed_ms LESS 1)
  fail("the repaired record kept nothing: ${duration} s")
endif()
string(JSON channel_count LENGTH "${json}" records 0 channels)
math(EXPR last "${channel_count} - 1")
foreach(c RANGE ${last})
  string(JSON error GET "${json}" records 0 channels ${c} error)
  string(JSON duration GET "${json}" records 0 channels ${c} duration)
  seconds_to_ms(${duration} channel_ms)
  if(NOT error STREQUAL "" OR NOT channel_ms EQUAL listed_ms)
    fail("channel ${c}: error='${error}', ${channel_ms} ms for the record's ${listed_ms} ms")
  endif()
endforeach()

run_zsff(out endup "${WORK_DIR}")
if(NOT out MATCHES "no unfinished measurement")
  fail("a second zsff endup should find nothing to do:\n${out}")
endif()

file(REMOVE_RECURSE "${WORK_DIR}")
