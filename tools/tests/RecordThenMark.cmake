# Marks a recorded measurement with "zsff mark", lists the markers with "zsff
# markers" and "zsff info", renames it with "zsff rename", and checks that each
# of these commands refuses, in one line and without a change on disk, a
# measurement that is recorded or edited elsewhere or locked, until "zsff unlock"
# clears what a killed program left.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenMark.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

run_zsff(out record --seconds 2 --records 2 "${measurement}")
run_zsff(out mark "${measurement}" --at 0.5 --duration 0.25 "first")
run_zsff(out mark "${measurement}" --at -1 --record 2 "end of two")

run_zsff(json markers --json "${measurement}")
string(JSON count LENGTH "${json}")
if(NOT count EQUAL 2)
  fail("expected 2 markers, zsff markers lists ${count}: ${json}")
endif()
foreach(field IN ITEMS "0;record;1" "0;index;1" "0;start;0.5" "0;end;0.75" "0;text;first"
                       "1;record;2" "1;index;1" "1;text;end of two")
  list(GET field 0 i)
  list(GET field 1 key)
  list(GET field 2 wanted)
  string(JSON value GET "${json}" ${i} ${key})
  if(NOT value STREQUAL wanted)
    fail("marker ${i}: ${key} is '${value}', expected '${wanted}'")
  endif()
endforeach()
info_json(json)
string(JSON count LENGTH "${json}" markers)
string(JSON editing GET "${json}" editing)
if(NOT count EQUAL 2 OR editing)
  fail("zsff info: ${count} markers, editing ${editing}")
endif()

expect_refused("past the end" mark "${measurement}" --at 1000 "late")
expect_refused("no record 3" mark "${measurement}" --at 0 --record 3 "nowhere")
expect_refused("wants a number" mark "${measurement}" --at nan "nan")
expect_refused("not a path" rename "${measurement}" "a/b")
file(MAKE_DIRECTORY "${WORK_DIR}/taken")
expect_refused("exists already" rename "${measurement}" taken)

# The mark of an editor that was killed: every editing command is refused and
# names the file that holds it, and info says so, until unlock clears it.
file(GLOB zsfh "${measurement}/*.zsfh")
file(READ "${zsfh}" text)
string(REPLACE "\"Editing\": false" "\"Editing\": true" marked "${text}")
if(marked STREQUAL text)
  fail("no editing key to set in ${zsfh}")
endif()
file(WRITE "${zsfh}" "${marked}")
foreach(command IN ITEMS "mark;${measurement};--at;0;x" "rename;${measurement};other")
  expect_refused("being edited elsewhere.*\\.zsfh.*zsff unlock" ${command})
endforeach()
run_zsff(out info "${measurement}")
if(NOT out MATCHES "Editing +marked as being edited")
  fail("zsff info doesn't tell of the editing mark: ${out}")
endif()
run_zsff(out unlock "${measurement}")
if(NOT out MATCHES "cleared the editing mark")
  fail("zsff unlock: ${out}")
endif()

# A lock file left behind is waited for, then named.
file(WRITE "${measurement}/Metadata.lock" "")
expect_refused("locked by .*Metadata.lock.*zsff unlock" mark "${measurement}" --at 0 x)
run_zsff(out unlock "${measurement}")
if(EXISTS "${measurement}/Metadata.lock" OR NOT out MATCHES "removed .*Metadata.lock")
  fail("zsff unlock left the lock file: ${out}")
endif()

# A channel's temporary record file: a recording is under way.
file(GLOB channels LIST_DIRECTORIES true "${measurement}/Record_*_2/Channel_*")
list(GET channels 0 channel)
file(WRITE "${channel}/TmpRecord.zrm" "")
expect_refused("being recorded.*TmpRecord.zrm" mark "${measurement}" --at 0 x)
expect_refused("being recorded.*TmpRecord.zrm" rename "${measurement}" other)
file(REMOVE "${channel}/TmpRecord.zrm")

run_zsff(out unlock "${measurement}")
if(NOT out MATCHES "neither locked nor marked")
  fail("zsff unlock of a free measurement: ${out}")
endif()

# Renamed and completed: the markers go along, and the new name is in the file.
run_zsff(out rename "${measurement}" renamed --comment "checked")
set(measurement "${WORK_DIR}/renamed")
info_json(json)
string(JSON name GET "${json}" keys MeasurementName)
string(JSON comment GET "${json}" keys Comment)
string(JSON count LENGTH "${json}" markers)
string(JSON editing GET "${json}" editing)
if(NOT name STREQUAL "renamed" OR NOT comment STREQUAL "checked" OR NOT count EQUAL 2 OR editing)
  fail("after the rename: name '${name}', comment '${comment}', ${count} markers, editing ${editing}")
endif()
if(EXISTS "${WORK_DIR}/measurement" OR EXISTS "${measurement}/Metadata.lock")
  fail("the rename left the old directory or a lock file")
endif()
