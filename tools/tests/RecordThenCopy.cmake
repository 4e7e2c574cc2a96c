# Copies a recorded measurement with "zsff copy": every file arrives as it was,
# the copy lists the same records, and a copy onto a directory that holds
# something is refused without touching it.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P RecordThenCopy.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

run_zsff(out record --seconds 2 --records 2 "${measurement}")
file(WRITE "${measurement}/measurement.txt" "the host's notes")
set(copy "${WORK_DIR}/copy")
run_zsff(out copy "${measurement}" "${copy}")
if(NOT out MATCHES "^copied .* 2 records, ")
  fail("zsff copy said: ${out}")
endif()

file(GLOB_RECURSE files RELATIVE "${measurement}" "${measurement}/*")
foreach(file IN LISTS files)
  set(target "${file}")
  if(file STREQUAL "measurement.txt")
    set(target "copy.txt")  # named after the measurement, it takes the copy's name
  endif()
  file(SHA256 "${measurement}/${file}" original)
  if(NOT EXISTS "${copy}/${target}")
    fail("the copy lacks ${target}")
  endif()
  file(SHA256 "${copy}/${target}" copied)
  if(NOT original STREQUAL copied)
    fail("${target} differs in the copy")
  endif()
endforeach()
run_zsff(original info --json "${measurement}")
run_zsff(copied info --json "${copy}")
string(JSON count LENGTH "${copied}" records)
if(NOT count EQUAL 2)
  fail("the copy lists ${count} records")
endif()

execute_process(COMMAND "${ZSFF}" copy "${measurement}" "${copy}"
  RESULT_VARIABLE result ERROR_VARIABLE err)
if(result EQUAL 0 OR NOT err MATCHES "^zsff: [^\n]*exists already and isn't empty\n$")
  fail("a copy onto the copy: (${result}) ${err}")
endif()
