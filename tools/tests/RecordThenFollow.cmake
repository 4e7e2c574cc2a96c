# Runs "zsff record --realtime" and "zsff follow" on the same directory at the
# same time, so that follow may have to wait for the record to appear: follow
# must see the live end while the record grows, end with the end state, and have
# read as many samples as "zsff info" then says the record holds.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenFollow.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

# The COMMANDs of one execute_process form a pipeline and run together; the
# recorder prints nothing with --quiet, so follow's standard input stays unused.
# The timeout only keeps a fault from hanging the test.
execute_process(
  COMMAND "${ZSFF}" record --realtime --seconds 3 --records 1 --quiet "${measurement}"
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
if(NOT out MATCHES "followed record 1 to its end: ([0-9]+) samples read[^;]*; the record holds ([0-9]+) samples")
  fail("no summary line from follow:\n${out}")
endif()
set(followed ${CMAKE_MATCH_1})
set(held ${CMAKE_MATCH_2})

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

file(REMOVE_RECURSE "${WORK_DIR}")
