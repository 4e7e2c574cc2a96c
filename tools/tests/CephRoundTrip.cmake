# The tool on a Ceph file system: a measurement recorded onto CephFS lists and
# reads as one on the local disk, "zsff copy" carries it to the local disk and
# back sample for sample, and a directory missing there is told as such.
#   cmake -DZSFF=<path of zsff> -DWORK_DIR=<scratch directory> -DCEPH_CONF=<cluster's config>
#         -P CephRoundTrip.cmake

include(${CMAKE_CURRENT_LIST_DIR}/ScriptSupport.cmake)

# A directory of its own in the file system, which outlives the test's runs.
string(RANDOM LENGTH 12 ALPHABET 0123456789abcdef tag)
set(ceph "ceph://admin@${CEPH_CONF}/tool-${tag}")

run_zsff(out record --seconds 2 --records 2 "${ceph}/recorded")
if(NOT out MATCHES "Recorded ceph://admin@[^\n]*/tool-${tag}/recorded ")
  fail("zsff record said: ${out}")
endif()
run_zsff(json info --json "${ceph}/recorded")
string(JSON count LENGTH "${json}" records)
if(NOT count EQUAL 2)
  fail("the measurement on CephFS lists ${count} records")
endif()
run_zsff(recorded read --record 2 "${ceph}/recorded")

run_zsff(out copy "${ceph}/recorded" "${measurement}")
run_zsff(local read --record 2 "${measurement}")
run_zsff(out copy "${measurement}" "${ceph}/back")
run_zsff(back read --record 2 "${ceph}/back")
if(NOT recorded STREQUAL local OR NOT recorded STREQUAL back)
  fail("the copies read otherwise than the measurement recorded onto CephFS")
endif()

run_zsff(out endup "${ceph}")
if(NOT out MATCHES "no unfinished measurement")
  fail("zsff endup on CephFS said: ${out}")
endif()
expect_refused("tool-${tag}/missing: No such file or directory" info "${ceph}/missing")
expect_refused("exists already and isn't empty" copy "${measurement}" "${ceph}/back")
