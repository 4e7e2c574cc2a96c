# Records a few seconds with "zsff record", draws them with "zsff plot" as PNG
# and as SVG, and checks the files as a viewer would meet them: the PNG's
# signature and the size asked for, one envelope per channel in the SVG, and
# one line on standard output naming the file written.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenPlot.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

run_zsff(out record --quiet --seconds 3 --records 2 "${measurement}")

# The default picture lies beside the directory.
execute_process(
  COMMAND "${ZSFF}" plot --width 640 --height 500 "${measurement}/"
  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0 OR NOT out STREQUAL "${measurement}.png\n")
  fail("zsff plot failed (${result}): '${out}' ${err}")
endif()
file(READ "${measurement}.png" header LIMIT 24 HEX)
# Signature, the IHDR chunk, then width and height as 32-bit big-endian numbers.
if(NOT header STREQUAL "89504e470d0a1a0a0000000d4948445200000280000001f4")
  fail("${measurement}.png isn't a 640 x 500 PNG: ${header}")
endif()

run_zsff(out plot --out "${WORK_DIR}/picture.SVG" "${measurement}")
file(READ "${WORK_DIR}/picture.SVG" svg)
string(REGEX MATCHALL "<path class=\"envelope\"" envelopes "${svg}")
list(LENGTH envelopes count)
if(NOT svg MATCHES "^<\\?xml" OR NOT count EQUAL 8)
  fail("the SVG should hold 8 envelopes, holds ${count}")
endif()
if(NOT svg MATCHES ">Sine 1 kHz</text>")
  fail("the SVG doesn't name the first channel")
endif()

# One channel; a picture too low for its channels and a missing directory are
# refused with one line.
execute_process(
  COMMAND "${ZSFF}" plot --channel 1 --out "${WORK_DIR}/one.svg" "${measurement}"
  RESULT_VARIABLE result ERROR_VARIABLE err)
file(READ "${WORK_DIR}/one.svg" svg)
string(REGEX MATCHALL "<path class=\"envelope\"" envelopes "${svg}")
list(LENGTH envelopes count)
if(NOT result EQUAL 0 OR NOT count EQUAL 1)
  fail("zsff plot --channel 1: (${result}) ${count} envelopes ${err}")
endif()
execute_process(
  COMMAND "${ZSFF}" plot --height 100 --out "${WORK_DIR}/low.png" "${measurement}"
  RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 2 OR NOT err MATCHES "^zsff plot: [^\n]*\n$" OR EXISTS "${WORK_DIR}/low.png")
  fail("a picture too low: expected a usage error, got (${result}) '${err}'")
endif()
execute_process(
  COMMAND "${ZSFF}" plot "${WORK_DIR}/missing"
  RESULT_VARIABLE result ERROR_VARIABLE err)
if(result EQUAL 0 OR NOT err MATCHES "^zsff: [^\n]*\n$")
  fail("a missing measurement: expected one error line, got (${result}) '${err}'")
endif()

file(REMOVE_RECURSE "${WORK_DIR}")
