# Records a few seconds with "zsff record", then gives one channel a new
# sensitivity, unit and name with "zsff rescale": "zsff read", "zoom" and "plot"
# apply them with --post-analysis in every record and give what they gave before
# without it; "zsff info" shows the new values beside the recorded ones; a
# request it can't serve, or a measurement whose lock file another writer holds,
# is refused with one line and leaves the files as they were.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenRescale.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

run_zsff(out record --seconds 2 --records 2 --quiet "${measurement}")
file(GLOB channel_files "${measurement}/Record_*/Channel_2_*/Channel_2*.zrm")
list(LENGTH channel_files count)
if(NOT count EQUAL 2)
  fail("two records should hold channel 2, found: ${channel_files}")
endif()

function(read_channel_files out)
  set(text "")
  foreach(file IN LISTS channel_files)
    file(READ "${file}" content)
    string(APPEND text "${content}")
  endforeach()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Refusals change nothing: wrong requests, and a lock file held by another writer.
read_channel_files(before)
expect_refusals(rescale "--sensitivity 2" "--channel 2" "--channel 99 --sensitivity 2"
                "--channel 2 --sensitivity 0" "--channel 2 --range 0" "--channel 2 --unit=")
file(WRITE "${measurement}/Metadata.lock" "")
execute_process(
  COMMAND "${ZSFF}" rescale --channel 2 --sensitivity 2 "${measurement}"
  RESULT_VARIABLE result ERROR_VARIABLE err)
if(result EQUAL 0 OR NOT err MATCHES "^zsff: [^\n]*Metadata\\.lock[^\n]*\n$")
  fail("a held lock file: expected one line naming it, got (${result}) '${err}'")
endif()
file(REMOVE "${measurement}/Metadata.lock")
read_channel_files(after)
if(NOT after STREQUAL before)
  fail("a refused rescale changed the channel's files")
endif()

foreach(record 1 2)
  run_zsff(volts_${record} read --record ${record} --channel 2 --seconds 0.01 "${measurement}")
endforeach()
run_zsff(zoom_volts zoom --channel 2 --points 20 "${measurement}")

run_zsff(out rescale --channel 2 --sensitivity 2 --unit mm/s --name Rear "${measurement}")
if(NOT out MATCHES "^channel 2: sensitivity 2, unit mm/s, name \"Rear\", in 2 records\n$")
  fail("zsff rescale says '${out}'")
endif()

# Without settings of its own the channel read in volts; with them, sample x of
# the recorded units reads as x times the new sensitivity, in every record.
foreach(record 1 2)
  run_zsff(volts read --record ${record} --channel 2 --seconds 0.01 "${measurement}")
  if(NOT volts STREQUAL volts_${record})
    fail("record ${record} reads otherwise in volts after zsff rescale")
  endif()
  run_zsff(recorded read --record ${record} --channel 2 --seconds 0.01 --recorded "${measurement}")
  run_zsff(scaled read --record ${record} --channel 2 --seconds 0.01 --post-analysis
           "${measurement}")
  string(REGEX MATCHALL "[^\n]+" recorded "${recorded}")
  string(REGEX MATCHALL "[^\n]+" scaled "${scaled}")
  list(LENGTH recorded count)
  list(LENGTH scaled scaled_count)
  if(NOT count EQUAL 513 OR NOT scaled_count EQUAL 513)
    fail("record ${record}: ${count} recorded and ${scaled_count} rescaled lines")
  endif()
  foreach(i RANGE 1 512 17)
    list(GET recorded ${i} line)
    string(REGEX REPLACE "^[^,]*," "" x "${line}")
    list(GET scaled ${i} line)
    string(REGEX REPLACE "^[^,]*," "" y "${line}")
    to_micro("${x}" x)
    to_micro("${y}" y)
    math(EXPR want "2 * ${x}")
    expect_near("record ${record}, sample ${i}" ${y} ${want})
  endforeach()
endforeach()

# A zoomed view keeps to volts without the flag; with it, its pair holds the
# extremes of the rescaled samples.
run_zsff(out zoom --channel 2 --points 20 "${measurement}")
if(NOT out STREQUAL zoom_volts)
  fail("zsff zoom gives other pairs after zsff rescale")
endif()
run_zsff(out zoom --channel 2 --start 0 --stop 0.01 --points 1 --post-analysis "${measurement}")
string(REGEX MATCH "\n0,[^,]*,([^,]*),([^\n]*)" pair "${out}")
to_micro("${CMAKE_MATCH_1}" low)
to_micro("${CMAKE_MATCH_2}" high)
run_zsff(scaled read --record 1 --channel 2 --seconds 0.01 --post-analysis "${measurement}")
string(REGEX MATCHALL "[^\n]+" scaled "${scaled}")
list(POP_FRONT scaled)
foreach(line IN LISTS scaled)
  string(REGEX REPLACE "^[^,]*," "" y "${line}")
  to_micro("${y}" y)
  if(NOT DEFINED lowest OR y LESS lowest)
    set(lowest ${y})
  endif()
  if(NOT DEFINED highest OR y GREATER highest)
    set(highest ${y})
  endif()
endforeach()
expect_near("the rescaled view's minimum" ${low} ${lowest})
expect_near("the rescaled view's maximum" ${high} ${highest})

# A picture names the channel as asked.
run_zsff(out plot --channel 2 --out "${WORK_DIR}/volts.svg" "${measurement}")
run_zsff(out plot --channel 2 --post-analysis --out "${WORK_DIR}/rescaled.svg" "${measurement}")
file(READ "${WORK_DIR}/volts.svg" volts)
file(READ "${WORK_DIR}/rescaled.svg" rescaled)
if(NOT volts MATCHES ">Harmonics" OR volts MATCHES "Rear" OR NOT rescaled MATCHES ">Rear"
   OR NOT rescaled MATCHES "mm/s")
  fail("zsff plot names channel 2 otherwise than the settings say")
endif()

# The listing shows both values, side by side.
run_zsff(text info "${measurement}")
if(NOT text MATCHES "Channel_2_[0-9_]+ +Name +Harmonics +Rear\n"
   OR NOT text MATCHES "Channel_2_[0-9_]+ +Unit +m/s² +mm/s\n")
  fail("zsff info doesn't show the settings beside the recorded values:\n${text}")
endif()
info_json(json)
foreach(record 0 1)
  string(JSON name GET "${json}" records ${record} channels 1 postAnalysis Name postAnalysis)
  string(JSON recorded GET "${json}" records ${record} channels 1 postAnalysis Name recorded)
  string(JSON sensitivity GET "${json}" records ${record} channels 1 postAnalysis Sensitivity
         postAnalysis)
  if(NOT name STREQUAL "Rear" OR NOT recorded STREQUAL "Harmonics" OR NOT sensitivity STREQUAL "2.0")
    fail("zsff info --json, record ${record}: ${name} over ${recorded}, sensitivity ${sensitivity}")
  endif()
endforeach()

expect_refusals(read "--recorded --post-analysis")

file(REMOVE_RECURSE "${WORK_DIR}")
