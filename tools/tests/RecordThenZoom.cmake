# Records a few seconds with "zsff record", then zooms with "zsff zoom": each
# (min, max) pair of a span holds the extremes of its share of the samples that
# "zsff read" gives; the JSON and the CSV forms carry the same pairs; a span that
# runs past the last record is cut to its end; fewer samples than points give a
# pair a sample, spread over the span; requests that can't be served fail with
# one line.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenZoom.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

function(zoom out)
  run_zsff(text zoom ${ARGN} "${measurement}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

run_zsff(out record --seconds 4 --records 2 --quiet "${measurement}")

# Channel 4 is noise in volts: every share of it has its own extremes. Half a
# second from 1 s in 5 points of 5120 samples; a point's pair must be its share's.
set(channel 4)
set(points 5)
set(share 5120)
zoom(csv --channel ${channel} --start 1 --stop 1.5 --points ${points})
string(REGEX MATCHALL "[^\n]+" rows "${csv}")
list(POP_FRONT rows header)
if(NOT header STREQUAL "point,time,min,max")
  fail("zsff zoom prints the header '${header}'")
endif()
list(LENGTH rows count)
if(NOT count EQUAL points)
  fail("zsff zoom gives ${count} pairs for ${points} points")
endif()

run_zsff(samples read --channel ${channel} --start 1 --seconds 0.5 "${measurement}")
string(REGEX MATCHALL "[^\n]+" samples "${samples}")
list(POP_FRONT samples)
set(index 0)
foreach(line IN LISTS samples)
  math(EXPR point "${index} / ${share}")
  string(REGEX REPLACE "^[^,]*," "" value "${line}")
  to_micro("${value}" value)
  if(NOT DEFINED low_${point} OR value LESS low_${point})
    set(low_${point} ${value})
  endif()
  if(NOT DEFINED high_${point} OR value GREATER high_${point})
    set(high_${point} ${value})
  endif()
  math(EXPR index "${index} + 1")
endforeach()
math(EXPR wanted "${points} * ${share}")
if(NOT index EQUAL wanted)
  fail("zsff read gives ${index} samples for half a second")
endif()

set(point 0)
foreach(row IN LISTS rows)
  string(REPLACE "," ";" fields "${row}")
  list(GET fields 0 number)
  list(GET fields 2 low)
  list(GET fields 3 high)
  if(NOT number EQUAL point)
    fail("row ${point} is numbered ${number}")
  endif()
  to_micro("${low}" low)
  to_micro("${high}" high)
  expect_near("minimum of point ${point}" ${low} ${low_${point}})
  expect_near("maximum of point ${point}" ${high} ${high_${point}})
  math(EXPR point "${point} + 1")
endforeach()

# The JSON form of the whole measurement holds what the CSV form holds.
zoom(csv --channel ${channel} --points 40)
zoom(json --channel ${channel} --points 40 --json)
string(JSON pairs LENGTH "${json}" pairs)
string(REGEX MATCHALL "[^\n]+" rows "${csv}")
list(POP_FRONT rows header)
list(LENGTH rows count)
if(NOT pairs EQUAL count OR pairs GREATER 40 OR pairs LESS 36)
  fail("40 points: ${pairs} pairs in JSON, ${count} rows in CSV")
endif()
math(EXPR last "${pairs} - 1")
foreach(i RANGE ${last})
  list(GET rows ${i} row)
  string(REPLACE "," ";" fields "${row}")
  list(GET fields 2 csv_low)
  list(GET fields 3 csv_high)
  string(JSON low GET "${json}" pairs ${i} 0)
  string(JSON high GET "${json}" pairs ${i} 1)
  foreach(value low high csv_low csv_high)
    to_micro("${${value}}" ${value})
  endforeach()
  expect_near("JSON minimum of pair ${i}" ${low} ${csv_low})
  expect_near("JSON maximum of pair ${i}" ${high} ${csv_high})
  if(high LESS low)
    fail("pair ${i}: maximum ${high} below minimum ${low}")
  endif()
endforeach()

# A span far past the end of the measurement is cut to its end: the same pairs.
string(JSON stop GET "${json}" stop)
zoom(long --channel ${channel} --stop 100 --points 40 --json)
string(JSON long_stop GET "${long}" stop)
string(JSON long_pairs LENGTH "${long}" pairs)
if(NOT long_stop STREQUAL stop OR NOT long_pairs EQUAL pairs)
  fail("a span to 100 s over ${stop} s of signal: ${long_pairs} pairs to ${long_stop} s")
endif()

# Ten thousand points of 512 samples: a pair a sample, whose times cover the span.
zoom(fine --channel ${channel} --start 1 --stop 1.01 --points 10000)
string(REGEX MATCHALL "[^\n]+" rows "${fine}")
list(LENGTH rows count)
list(GET rows -1 row)
string(REPLACE "," ";" fields "${row}")
list(GET fields 1 time)
to_micro("${time}" time)
if(NOT count EQUAL 513 OR time LESS 1009000)
  fail("512 samples in 10000 points: ${count} rows, the last at ${time} us")
endif()

# Requests that can't be served end with one line on stderr.
expect_refusals(zoom "--channel 999" "--start 2 --stop 1" "--points 0")

file(REMOVE_RECURSE "${WORK_DIR}")
