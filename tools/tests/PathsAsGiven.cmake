# A measurement's path reaches the disk as it was given: "zsff record" into a
# name with a character beyond 16 bits makes exactly that directory, and a path
# whose bytes aren't UTF-8 is refused by each command with one line naming it,
# instead of reaching the directory that dropping those bytes would name.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -P PathsAsGiven.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

set(car "${WORK_DIR}/x🚗y")
run_zsff(out record --seconds 0.2 --quiet "${car}")
if(NOT IS_DIRECTORY "${car}" OR EXISTS "${WORK_DIR}/xy")
  fail("zsff record x🚗y didn't make exactly that directory")
endif()
run_zsff(out read "${car}" "${WORK_DIR}/car.csv")

# The measurement stands beside a path that only a stray byte tells apart.
file(RENAME "${car}" "${measurement}")
string(ASCII 255 stray)
foreach(command record info read zoom plot)
  execute_process(
    COMMAND "${ZSFF}" ${command} "${measurement}${stray}"
    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(result EQUAL 0 OR NOT err MATCHES "^zsff( ${command})?: [^\n]*measurement\\\\xFF: [^\n]*UTF-8[^\n]*\n$")
    fail("zsff ${command} measurement\\xFF: expected one line refusing the path, got (${result}) '${err}'")
  endif()
endforeach()
if(EXISTS "${measurement}${stray}")
  fail("zsff record made the directory of a path it refused")
endif()

file(REMOVE_RECURSE "${WORK_DIR}")
