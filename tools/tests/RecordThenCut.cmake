# Cuts a recorded measurement with the zsff tool: splits a record, erases parts of
# a channel, deletes a record, removes a channel, empties the measurement and
# deletes it. Each command that removes something says what and goes ahead only
# with --yes when there is no terminal to ask; each refuses, in one line and
# without a change on disk, a measurement that is recorded or edited elsewhere.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenCut.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

# Record 2, a ring, keeps two parts of 4 s at least.
run_zsff(out record --seconds 24 --records 2 "${measurement}")
info_json(json)
string(JSON firstPart GET "${json}" records 1 firstPart)
string(JSON lastPart GET "${json}" records 1 lastPart)
string(JSON duration GET "${json}" records 1 duration)
math(EXPR cut "${firstPart} + 1")
if(NOT lastPart GREATER_EQUAL cut)
  fail("record 2 should have two parts at least: ${firstPart} to ${lastPart}")
endif()

# Split after one part: record 2 becomes two entries of one directory.
run_zsff(out split "${measurement}" --record 2 --parts 1)
info_json(json)
string(JSON count LENGTH "${json}" records)
string(JSON second GET "${json}" records 2 firstPart)
string(JSON one GET "${json}" records 1 duration)
string(JSON two GET "${json}" records 2 duration)
seconds_to_ms("${duration}" whole)
seconds_to_ms("${one}" oneMs)
seconds_to_ms("${two}" twoMs)
math(EXPR sum "${oneMs} + ${twoMs}")
if(NOT count EQUAL 3 OR NOT second EQUAL cut OR oneMs LESS_EQUAL 0 OR NOT sum EQUAL whole)
  fail("after the split: ${count} records, the last from part ${second}, ${one} s and ${two} s of ${duration} s")
endif()

# Erase the first part of channel 1 in the second section.
run_zsff(out erase "${measurement}" --record 3 --channel 1 --parts 0..0 --yes)
if(NOT out MATCHES "will erase parts 0..0 of channel 1 in record 3")
  fail("zsff erase didn't say what it erases: ${out}")
endif()
file(GLOB gone "${measurement}/Record_*_2/Channel_1_*/Part_${cut}.zrs")
file(GLOB kept "${measurement}/Record_*_2/Channel_2_*/Part_${cut}.zrs")
if(gone OR NOT kept)
  fail("the erased part's file should be gone, the other channel's kept: '${gone}' '${kept}'")
endif()

# Nothing is removed without --yes when no terminal can be asked, nor for what
# isn't there.
expect_refused("no terminal.*--yes" erase "${measurement}" --record 2 --channel 1 --parts 0..0)
expect_refused("no terminal.*--yes" delete "${measurement}")
expect_refused("no channel 42" erase "${measurement}" --record 3 --channel 42 --parts 0..0 --yes)
expect_refused("can't be split" split "${measurement}" --record 1 --parts 9)
expect_refused("no record 7" delete "${measurement}" --record 7 --yes)

# Delete the second section again: its record's directory stays for the first.
run_zsff(out delete "${measurement}" --record 3 --yes)
info_json(json)
string(JSON count LENGTH "${json}" records)
if(NOT count EQUAL 2 OR NOT out MATCHES "will delete record 3")
  fail("after deleting record 3: ${count} records; ${out}")
endif()

# Remove channel 8 from every record, counted once.
run_zsff(out remove-channel "${measurement}" --channel 8 --yes)
info_json(json)
string(JSON channels GET "${json}" keys NumberOfChannels)
file(GLOB left LIST_DIRECTORIES true "${measurement}/Record_*/Channel_8_*")
if(NOT channels EQUAL 7 OR left)
  fail("after removing channel 8: NumberOfChannels ${channels}, left '${left}'")
endif()

# Recorded or edited elsewhere: every command refuses and names why.
file(GLOB channels LIST_DIRECTORIES true "${measurement}/Record_*_2/Channel_*")
list(GET channels 0 channel)
file(WRITE "${channel}/TmpRecord.zrm" "")
foreach(command IN ITEMS "delete;${measurement};--yes" "clean;${measurement};--yes"
                         "split;${measurement};--record;2;--parts;1"
                         "erase;${measurement};--channel;1;--parts;0..0;--yes"
                         "remove-channel;${measurement};--channel;1;--yes")
  expect_refused("being recorded.*TmpRecord.zrm" ${command})
endforeach()
file(REMOVE "${channel}/TmpRecord.zrm")
file(GLOB zsfh "${measurement}/*.zsfh")
file(READ "${zsfh}" text)
string(REPLACE "\"Editing\": false" "\"Editing\": true" marked "${text}")
file(WRITE "${zsfh}" "${marked}")
expect_refused("being edited elsewhere" delete "${measurement}" --yes)
file(WRITE "${zsfh}" "${text}")

# Cleaned: record 1 alone, its channels keeping their metadata only.
run_zsff(out clean "${measurement}" --yes)
info_json(json)
string(JSON count LENGTH "${json}" records)
file(GLOB_RECURSE signal "${measurement}/*.zrs")
if(NOT count EQUAL 1 OR signal)
  fail("after clean: ${count} records, signal files '${signal}'")
endif()

# A record 1 cleaned is ready to be recorded again, and counts as in progress
# until it is: the measurement isn't deleted under it.
expect_refused("record in progress" delete "${measurement}" --yes)

# Deleted, directory and all.
set(measurement "${WORK_DIR}/other")
run_zsff(out record --seconds 2 --records 2 "${measurement}")
run_zsff(out delete "${measurement}" --yes)
if(EXISTS "${measurement}" OR NOT out MATCHES "will delete the measurement .*: 2 records")
  fail("zsff delete left ${measurement}: ${out}")
endif()
