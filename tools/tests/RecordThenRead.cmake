# Records two seconds with "zsff record", then reads channels back with
# "zsff read": the CSV, the 32-bit and the 64-bit forms of one channel give the
# same number of samples, as many as "zsff info" says the record holds; a span
# gives its samples, starting at its start time; impossible requests fail with
# one line.
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
list(LENGTH lines csv_samples)
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
if(NOT span_samples EQUAL 25600 OR NOT text MATCHES "^0\\.500000000,")
  string(SUBSTRING "${text}" 0 40 head)
  fail("the span gives ${span_samples} samples beginning '${head}'")
endif()

# Requests that can't be served end with one line on stderr.
expect_refusals(read "--channel 999" "--record 99" "--start 9999")

file(REMOVE_RECURSE "${WORK_DIR}")
