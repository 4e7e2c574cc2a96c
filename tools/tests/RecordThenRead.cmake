# Records two seconds with "zsff record", then reads channels back with
# "zsff read": the CSV, the 32-bit and the 64-bit forms of one channel give the
# same number of samples, as many as "zsff info" says the record holds; the CSV
# has a header and a double channel's digits in full; a span gives its samples,
# starting at its start time; impossible requests fail with one line, and so
# does a part file cut short.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenRead.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

run_zsff(out record --seconds 2 --records 1 --quiet "${measurement}")
info_json(json)
string(JSON duration GET "${json}" records 0 channels 0 duration)
string(JSON number GET "${json}" records 0 channels 0 number)
demo_samples(${duration} expected)

# The whole first channel in each form.
run_zsff(out read "${measurement}" "${WORK_DIR}/all.csv")
file(STRINGS "${WORK_DIR}/all.csv" lines)
list(POP_FRONT lines header)
list(LENGTH lines csv_samples)
if(NOT header STREQUAL "time,value")
  fail("the CSV begins with '${header}'")
endif()
foreach(form f32 f64)
  run_zsff(out read --${form} --channel ${number} "${measurement}" "${WORK_DIR}/all.${form}")
  file(SIZE "${WORK_DIR}/all.${form}" size)
  string(SUBSTRING ${form} 1 2 bits)
  math(EXPR samples "${size} * 8 / ${bits}")
  if(NOT samples EQUAL csv_samples)
    fail("--${form} gives ${samples} samples, the CSV ${csv_samples}")
  endif()
endforeach()
if(NOT csv_samples EQUAL expected)
  fail("read ${csv_samples} samples, info says ${duration} s: ${expected}")
endif()

# A span of half a second from 0.5 s: its samples, its times.
run_zsff(text read --start 0.5 --seconds 0.5 --recorded "${measurement}")
string(REGEX MATCHALL "\n" newlines "${text}")
list(LENGTH newlines span_samples)
if(NOT span_samples EQUAL 25601 OR NOT text MATCHES "^time,value\n0\\.500000000,")
  string(SUBSTRING "${text}" 0 40 head)
  fail("the span gives ${span_samples} samples beginning '${head}'")
endif()

# A channel of doubles (the reference, channel 7) prints the digits a double
# needs to be read back exactly, more than a float's nine.
run_zsff(text read --channel 7 --seconds 0.01 "${measurement}")
if(NOT text MATCHES ",-?[0-9]\\.[0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9]")
  fail("channel 7 prints its doubles with a float's digits:\n${text}")
endif()

# Requests that can't be served end with one line on stderr; a span beyond the
# end is one of them.
expect_refusals(read "--channel 999" "--record 99" "--start 9999" "--start 1 --seconds 5")

# A part file cut to half: the samples there are, a warning, and a failure.
file(GLOB part "${measurement}/Record_*/Channel_${number}_*/Part_0.zrs")
file(SIZE "${part}" size)
math(EXPR half "${size} / 2")
execute_process(COMMAND truncate -s ${half} "${part}")
execute_process(
  COMMAND "${ZSFF}" read --channel ${number} --f32 "${measurement}" "${WORK_DIR}/cut.f32"
  RESULT_VARIABLE result ERROR_VARIABLE err)
file(SIZE "${WORK_DIR}/cut.f32" size)
math(EXPR samples "${size} / 4")
math(EXPR expected_half "${expected} / 2")
if(result EQUAL 0 OR NOT err MATCHES "warning: [^\n]*Channel_${number}_[^\n]*cut short"
   OR NOT samples EQUAL expected_half)
  fail("a part cut short: (${result}) ${samples} samples '${err}'")
endif()

file(REMOVE_RECURSE "${WORK_DIR}")
