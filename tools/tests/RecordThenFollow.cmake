# Runs "zsff record --realtime" and "zsff follow" on the same directory at the
# same time, so that follow may have to wait for the record to appear: follow
# must see the live end while the records grow, end each with the end state, go
# on from one record to the next until the measurement is finished, and have
# read as many samples as "zsff info" then says the first record holds. Then
# what there is nothing to follow in is refused, without waiting forever: a
# finished measurement, a file, a directory that doesn't come, and a recording
# whose recorder was killed.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenFollow.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

# The COMMANDs of one execute_process form a pipeline and run together; the
# recorder prints nothing with --quiet, so follow's standard input stays unused.
# The timeout only keeps a fault from hanging the test.
execute_process(
  COMMAND "${ZSFF}" record --realtime --seconds 3 --records 2 --quiet "${measurement}"
  COMMAND "${ZSFF}" follow --timeout 60 "${measurement}"
  RESULTS_VARIABLE results OUTPUT_VARIABLE out ERROR_VARIABLE err)
list(GET results 0 record_result)
list(GET results 1 follow_result)
if(NOT record_result EQUAL 0)
  fail("zsff record failed (${record_result}): ${err}")
endif()
if(NOT follow_result EQUAL 0)
  fail("zsff follow failed (${follow_result}): ${err}\n${out}")
endif()

# One line per poll: seconds, samples read, the reader's state.
string(REGEX MATCHALL "[0-9]+ samples  [a-z ]+  signal to" polls "${out}")
list(LENGTH polls poll_count)
if(NOT out MATCHES "samples  live end ")
  fail("follow never stood at the live end of the growing record:\n${out}")
endif()
list(GET polls -1 last_poll)
if(NOT last_poll MATCHES "samples  end +signal to")
  fail("follow's last poll isn't at the end state (${last_poll}):\n${out}")
endif()
foreach(record 2 1)
  if(NOT out MATCHES "followed record ${record} to its end: ([0-9]+) samples read[^;]*; the record holds ([0-9]+) samples")
    fail("no summary line from follow for record ${record}:\n${out}")
  endif()
  set(followed ${CMAKE_MATCH_1})
  set(held ${CMAKE_MATCH_2})
  if(NOT followed EQUAL held)
    fail("follow read ${followed} samples of the ${held} in record ${record}\n${out}")
  endif()
endforeach()
if(NOT out MATCHES "the measurement is finished: 2 records followed\n$")
  fail("follow didn't end with the measurement:\n${out}")
endif()

info_json(json)
string(JSON duration GET "${json}" records 0 channels 0 duration)
demo_samples(${duration} expected)
if(NOT followed EQUAL expected OR NOT held EQUAL expected)
  fail("follow read ${followed} samples of the ${held} it says the record holds; "
       "info says ${duration} s: ${expected}\n${out}")
endif()
# More than one poll found samples: the reader followed rather than read it whole.
string(REGEX MATCHALL "[0-9]+ samples  live end +signal to [0-9.]+ s  " growing "${out}")
list(LENGTH growing growing_count)
if(growing_count LESS 2)
  fail("follow read the record in fewer than two polls at the live end:\n${out}")
endif()

# Nothing to follow: each is refused with one line, long before the timeout.
file(WRITE "${WORK_DIR}/file" "")
expect_refusals(follow "--timeout 20")
foreach(path "${WORK_DIR}/file" "${WORK_DIR}/missing")
  execute_process(
    COMMAND "${ZSFF}" follow --stall 1 "${path}"
    RESULT_VARIABLE result ERROR_VARIABLE err TIMEOUT 20)
  if(NOT result EQUAL 1 OR NOT err MATCHES "^zsff: [^\n]*\n$")
    fail("zsff follow ${path}: expected one error line, got (${result}) '${err}'")
  endif()
endforeach()
set(killed "${WORK_DIR}/killed")
execute_process(
  COMMAND sh -c "\"$0\" record --quiet --realtime --seconds 30 \"$1\" & sleep 1.5; kill -KILL $!"
    "${ZSFF}" "${killed}")
execute_process(
  COMMAND "${ZSFF}" follow --quiet --stall 1 "${killed}"
  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 20)
# A machine slow enough to kill it before its first record leaves no recorder.
if(NOT result EQUAL 1 OR NOT err MATCHES "recorder seems[^\n]*\n$")
  fail("following a killed recorder: (${result}) '${err}'")
endif()

file(REMOVE_RECURSE "${WORK_DIR}")
