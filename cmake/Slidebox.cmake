# Helpers shared by every subsystem: one way to add a library, one way to
# add a test, so that flags, sanitizers and labels stay the same everywhere.

set(SLIDEBOX_WARNINGS -Wall -Wextra -Wpedantic -Wno-missing-field-initializers)

if(SLIDEBOX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# slidebox_add_library(NAME SOURCES ... [PUBLIC_DEPS ...] [PRIVATE_DEPS ...])
# Makes the static library slidebox_<NAME>, whose headers are included as
# "<NAME>/file.h" from src/.
function(slidebox_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(slidebox_${name} STATIC ${ARG_SOURCES})
  target_include_directories(slidebox_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(slidebox_${name} PRIVATE ${SLIDEBOX_WARNINGS})
  target_link_libraries(slidebox_${name} PUBLIC ${ARG_PUBLIC_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  # Position-independent: they link into a loadable module as well as into
  # programs (slidebox-cli-words.so). Nothing interposes on their functions,
  # so calls within a file stay open to inlining as in a program.
  set_target_properties(slidebox_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_compile_options(slidebox_${name} PRIVATE -fno-semantic-interposition)
endfunction()

# slidebox_add_test(SUBSYSTEM NAME SOURCES ... [LIBS ...] [MAIN core|gui|widgets|none]
#                   [OWN_PID_NAMESPACE] [SHARDS n])
# One GoogleTest executable, run by CTest as SHARDS tests (one by default)
# labelled with its subsystem, each running its share of the cases in one
# process: a process for every case spent more time starting Qt than testing.
# (One case alone: the executable in build/default/tests with --gtest_filter.)
# MAIN picks the Qt application object the test main makes. OWN_PID_NAMESPACE
# runs the executable in a PID namespace of its own where the machine allows
# (tests that start processes and look for them by name).
function(slidebox_add_test subsystem name)
  if(NOT SLIDEBOX_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "OWN_PID_NAMESPACE" "MAIN;SHARDS" "SOURCES;LIBS;DEFINITIONS" ${ARGN})
  if(NOT ARG_MAIN)
    set(ARG_MAIN core)
  endif()
  if(NOT ARG_SHARDS)
    set(ARG_SHARDS 1)
  endif()
  set(target test_${subsystem}_${name})
  add_executable(${target} ${ARG_SOURCES})
  target_compile_options(${target} PRIVATE ${SLIDEBOX_WARNINGS})
  target_link_libraries(${target} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gmock)
  target_compile_definitions(${target} PRIVATE ${ARG_DEFINITIONS})
  if(NOT ARG_MAIN STREQUAL "none")
    target_link_libraries(${target} PRIVATE slidebox_testmain_${ARG_MAIN})
  endif()
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  if(ARG_OWN_PID_NAMESPACE)
    set_target_properties(${target} PROPERTIES
      CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/tools/in_own_pid_namespace.sh)
  endif()
  math(EXPR last "${ARG_SHARDS} - 1")
  foreach(shard RANGE ${last})
    if(ARG_SHARDS EQUAL 1)
      set(test ${subsystem}.${name})
    else()
      set(test ${subsystem}.${name}.${shard})
    endif()
    add_test(NAME ${test} COMMAND ${target} --gtest_brief=1)
    # COST: the heavier executables (the sharded ones) start first, so that
    # the two jobs end together even without timings of an earlier run.
    set_tests_properties(${test} PROPERTIES LABELS ${subsystem} COST ${ARG_SHARDS} ENVIRONMENT
      "QT_QPA_PLATFORM=offscreen;SLIDEBOX_BUILD_DIR=${CMAKE_BINARY_DIR};GTEST_TOTAL_SHARDS=${ARG_SHARDS};GTEST_SHARD_INDEX=${shard}")
  endforeach()
endfunction()
