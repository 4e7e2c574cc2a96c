# Build helpers. Every subsystem folder becomes an object library that names the
# modules it uses directly; every tests/<subsystem> folder becomes one GoogleTest
# program linked with its module and what that module uses, directly or not, and
# nothing else. A module that calls into one it didn't declare therefore fails to
# link its own tests. Sources are globbed so that a new file needs no edit here.

function(zsff_apply_flags target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(ZSFF_SANITIZE STREQUAL "thread")
    target_compile_options(${target} PUBLIC -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=thread)
  elseif(ZSFF_SANITIZE)
    target_compile_options(${target} PUBLIC -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(${target} PUBLIC -fsanitize=address,undefined)
  endif()
endfunction()

# zsff_add_module(<name> [DEPENDS <module>...]): the object library zsff_<name> of
# <name>/*.cpp. A module can only depend on modules declared before it, so the
# modules form no cycle. Sets ZSFF_MODULE_CLOSURE_<name>: the object libraries a
# program that uses <name> links with, <name> among them.
function(zsff_add_module module)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "DEPENDS")
  get_property(declared GLOBAL PROPERTY ZSFF_MODULES)
  set(closure "")
  foreach(dependency ${ARG_DEPENDS})
    if(NOT dependency IN_LIST declared)
      message(FATAL_ERROR "zsff module ${module} depends on ${dependency}, which isn't declared before it")
    endif()
    list(APPEND closure ${ZSFF_MODULE_CLOSURE_${dependency}})
  endforeach()

  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${module}/*.cpp)
  if(sources)
    add_library(zsff_${module} OBJECT ${sources})
    zsff_apply_flags(zsff_${module})
    target_include_directories(zsff_${module}
      PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include
      PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    # Hidden unless a public header marks it ZSFF_API: the shared library
    # exports the public interface only. The same objects make the static one.
    set_target_properties(zsff_${module} PROPERTIES
      CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    if(RAPIDJSON_INCLUDE_DIRS)
      target_include_directories(zsff_${module} SYSTEM PRIVATE ${RAPIDJSON_INCLUDE_DIRS})
    endif()
    target_link_libraries(zsff_${module} PUBLIC Threads::Threads)
    list(APPEND closure zsff_${module})
    set_property(GLOBAL APPEND PROPERTY ZSFF_LIBRARY_OBJECTS $<TARGET_OBJECTS:zsff_${module}>)
  endif()
  set_property(GLOBAL APPEND PROPERTY ZSFF_MODULES ${module})
  list(REMOVE_DUPLICATES closure)
  set(ZSFF_MODULE_CLOSURE_${module} ${closure} PARENT_SCOPE)
endfunction()

# The static library a host links, gathering every module declared so far, and
# with BUILD_SHARED_LIBS the shared one beside it, of the same objects. The tool,
# the tests and the Python module use the static one: they reach internals that
# the shared one keeps hidden.
function(zsff_add_library)
  get_property(objects GLOBAL PROPERTY ZSFF_LIBRARY_OBJECTS)
  set(targets ZentrelSignalFlatFormat)
  add_library(ZentrelSignalFlatFormat STATIC ${objects})
  add_library(zsff::ZentrelSignalFlatFormat ALIAS ZentrelSignalFlatFormat)
  if(BUILD_SHARED_LIBS)
    add_library(ZentrelSignalFlatFormat_shared SHARED ${objects})
    # Before 1.0 any minor version may change the interface, so it is part of the soname.
    set_target_properties(ZentrelSignalFlatFormat_shared PROPERTIES
      OUTPUT_NAME ZentrelSignalFlatFormat
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    target_link_options(ZentrelSignalFlatFormat_shared PRIVATE -Wl,--no-undefined
      -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/cmake/zsff.map)
    set_property(TARGET ZentrelSignalFlatFormat_shared APPEND PROPERTY
      LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/zsff.map)
    list(APPEND targets ZentrelSignalFlatFormat_shared)
  endif()
  foreach(target ${targets})
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
    zsff_apply_flags(${target})
    target_include_directories(${target} PUBLIC
      $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
      $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_link_libraries(${target} PUBLIC Threads::Threads)
  endforeach()
  set(ZSFF_LIBRARY_TARGETS ${targets} PARENT_SCOPE)
endfunction()

# The GoogleTest program <name> of `sources`, linked with `libraries`. Its tests
# take the CTest properties in ZSFF_TEST_PROPERTIES_<name> besides the timeout.
function(zsff_add_test_program name sources libraries)
  add_executable(${name} ${sources} ${CMAKE_CURRENT_SOURCE_DIR}/tests/TestMain.cpp)
  zsff_apply_flags(${name})
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/tests)
  if(RAPIDJSON_INCLUDE_DIRS)
    target_include_directories(${name} SYSTEM PRIVATE ${RAPIDJSON_INCLUDE_DIRS})
  endif()
  target_link_libraries(${name} PRIVATE ${libraries} GTest::gtest)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 300 ${ZSFF_TEST_PROPERTIES_${name}})
endfunction()

# One test program per module declared so far that has a tests/<module> folder.
function(zsff_add_module_tests)
  get_property(modules GLOBAL PROPERTY ZSFF_MODULES)
  foreach(module ${modules})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tests/${module}/*.cpp)
    if(sources)
      zsff_add_test_program(test_${module} "${sources}" "${ZSFF_MODULE_CLOSURE_${module}}")
    endif()
  endforeach()
endfunction()

# The test program of tests/<folder>, for tests of the whole library as a host
# links it rather than of one module.
function(zsff_add_library_tests folder)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tests/${folder}/*.cpp)
  zsff_add_test_program(test_${folder} "${sources}" ZentrelSignalFlatFormat)
endfunction()
