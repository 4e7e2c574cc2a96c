# Records a few seconds with "zsff record" into a fresh directory, lists it with
# "zsff info --json", and checks what the listing says: every record of the plan,
# stopped, each with the eight demo channels and their formats, lengths that add
# up to the signal asked for and agree with the recorder's and the picture's,
# and no header left behind.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenInfo.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

set(seconds 3)
set(records 3)

execute_process(
  COMMAND "${ZSFF}" record --seconds ${seconds} --records ${records} "${measurement}"
  RESULT_VARIABLE result OUTPUT_VARIABLE record_out ERROR_VARIABLE err)
if(NOT result EQUAL 0)
  fail("zsff record failed (${result}): ${err}${record_out}")
endif()
if(NOT err STREQUAL "")
  fail("zsff record wrote to stderr although it isn't a terminal: ${err}")
endif()

# A second record into the same directory must be refused with one line.
execute_process(
  COMMAND "${ZSFF}" record --seconds 1 "${measurement}"
  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(result EQUAL 0 OR NOT err MATCHES "^zsff: [^\n]*\n$")
  fail("recording into a used directory: expected one error line, got (${result}) '${err}'")
endif()

info_json(json)

string(JSON unfinished GET "${json}" unfinished)
if(unfinished)
  fail("the header file is still there after a clean stop")
endif()
string(JSON base GET "${json}" baseName)
if(EXISTS "${measurement}/${base}.zff")
  fail("${base}.zff is still there")
endif()

string(JSON record_count LENGTH "${json}" records)
if(NOT record_count EQUAL records)
  fail("expected ${records} records, info lists ${record_count}")
endif()

set(total_samples 0)
math(EXPR last "${record_count} - 1")
foreach(r RANGE ${last})
  string(JSON recording GET "${json}" records ${r} recording)
  string(JSON listed GET "${json}" records ${r} inMetaData)
  if(recording OR NOT listed)
    fail("record ${r}: recording=${recording} inMetaData=${listed}")
  endif()
  string(JSON channel_count LENGTH "${json}" records ${r} channels)
  if(NOT channel_count EQUAL 8)
    fail("record ${r}: expected 8 channels, info lists ${channel_count}")
  endif()
  set(formats "")
  foreach(c RANGE 7)
    string(JSON format GET "${json}" records ${r} channels ${c} format)
    string(JSON rate GET "${json}" records ${r} channels ${c} samplingRate)
    string(JSON error GET "${json}" records ${r} channels ${c} error)
    string(JSON signal_bytes GET "${json}" records ${r} channels ${c} signalBytes)
    if(NOT error STREQUAL "" OR NOT rate EQUAL 51200 OR signal_bytes EQUAL 0)
      fail("record ${r} channel ${c}: error='${error}' rate=${rate} signalBytes=${signal_bytes}")
    endif()
    list(APPEND formats ${format})
  endforeach()
  list(SORT formats)
  if(NOT formats STREQUAL "Compact16;Compact16;SIDouble;SIDouble;SIFloat;SIFloat;SIFloat;SIFloat")
    fail("record ${r}: unexpected channel formats ${formats}")
  endif()
  string(JSON type GET "${json}" records ${r} channels 7 type)
  if(NOT type STREQUAL "Trigger")
    fail("record ${r}: the last channel should be the trigger, is '${type}'")
  endif()
endforeach()

# The records' lengths make up the signal; the ring record keeps less than it
# recorded, so the sum can only fall short. Each length is the same wherever
# it is told: in what "zsff record" printed, in the record list and in every
# channel of the record.
set(sum_ms 0)
foreach(r RANGE ${last})
  math(EXPR number "${r} + 1")
  if(NOT record_out MATCHES "record ${number} +([0-9.]+) s")
    fail("zsff record doesn't tell the length of record ${number}:\n${record_out}")
  endif()
  seconds_to_ms(${CMAKE_MATCH_1} recorded_ms)
  string(JSON duration GET "${json}" records ${r} duration)
  seconds_to_ms(${duration} listed_ms)
  foreach(c RANGE 7)
    string(JSON duration GET "${json}" records ${r} channels ${c} duration)
    seconds_to_ms(${duration} channel_ms)
    if(NOT channel_ms EQUAL listed_ms OR NOT recorded_ms EQUAL listed_ms)
      fail("record ${number}: ${recorded_ms} ms recorded, ${listed_ms} ms listed, "
           "${channel_ms} ms in channel ${c}")
    endif()
  endforeach()
  math(EXPR sum_ms "${sum_ms} + ${listed_ms}")
endforeach()
math(EXPR expected_ms "${seconds} * 1000")
if(sum_ms GREATER expected_ms OR sum_ms LESS 1000)
  fail("the records' lengths add up to ${sum_ms} ms for ${expected_ms} ms of signal")
endif()
# The picture's title gives the sum, in tenths of a second.
run_zsff(svg plot --out - --format svg "${measurement}")
math(EXPR tenths "(${sum_ms} + 50) / 100")
math(EXPR whole "${tenths} / 10")
math(EXPR tenth "${tenths} % 10")
if(NOT svg MATCHES " ${whole}\\.${tenth} s in ${records} records<")
  fail("the picture's title doesn't give ${whole}.${tenth} s")
endif()

# The text form names every record...
execute_process(COMMAND "${ZSFF}" info "${measurement}" RESULT_VARIABLE result OUTPUT_VARIABLE text)
foreach(r RANGE 1 ${records})
  if(NOT text MATCHES "${base}_${r}")
    fail("zsff info doesn't list ${base}_${r}:\n${text}")
  endif()
endforeach()
# ... and tells the unit and the meaning of the summary keys.
if(NOT text MATCHES "\n  Duration +[0-9.]+ s +the records' kept lengths"
   OR NOT text MATCHES "\n  FileSize +[0-9]+ KiB +the records' signal files")
  fail("zsff info doesn't tell what Duration and FileSize mean:\n${text}")
endif()

file(REMOVE_RECURSE "${WORK_DIR}")
