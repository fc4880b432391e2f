# SPDX-License-Identifier: Apache-2.0
# One call per target. Sources are named relative to the calling folder; includes are written from the repository root.
#
#   nebrix_library(NAME SOURCES a.cpp ... [PUBLIC libs...] [PRIVATE libs...]
#                  [HEADERS <a> ...])                                               static library
#   nebrix_executable(NAME SOURCES ... [LIBS ...])                                  program, bin/NAME
#   nebrix_test(NAME SOURCES ... [LIBS ...] [TIMEOUT seconds] [LOCK name] [LABELS ...]
#               [LAUNCHER command...])                                              GoogleTest program, one ctest entry
#   nebrix_bench(NAME SOURCES ... [LIBS ...] [PEERS targets...])                    Google Benchmark program
#   nebrix_fuzz(NAME [LIBS ...])                                                    of NAME.cpp: libFuzzer program, else
#                                                                                   a test that replays seeds/NAME

#   nebrix_shared_headers(NAME HEADERS <a> ... [LIBS ...] [OPTIONS ...])            headers that are compiled once, for
#                                                                                   target_precompile_headers(REUSE_FROM)

# Compilers refuse a compiled copy where their options differ: whoever takes it gets no option that it lacks.
function(nebrix_shared_headers name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LIBS;OPTIONS")
    set(empty "${CMAKE_BINARY_DIR}/generated/${name}.cpp")
    file(CONFIGURE OUTPUT "${empty}" CONTENT "")
    add_library(${name} OBJECT "${empty}")
    target_link_libraries(${name} PRIVATE nebrix_options ${arg_LIBS})
    target_compile_options(${name} PRIVATE ${arg_OPTIONS})
    target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
endfunction()

# What our own files include most of the standard library, for clang. Not for g++, whose builds see to it that each file
# includes what it uses; and clang-tidy, which shares clang's commands, could not read its copies.
function(nebrix_share_standard_headers name)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        return()
    endif()
    if(NOT TARGET nebrix_standard_headers)
        nebrix_shared_headers(nebrix_standard_headers HEADERS
            <algorithm> <array> <atomic> <charconv> <chrono> <condition_variable> <cstdio> <cstring> <filesystem>
            <functional> <map> <memory> <mutex> <optional> <string> <string_view> <thread> <utility> <vector>)
    endif()
    target_precompile_headers(${name} REUSE_FROM nebrix_standard_headers)
endfunction()

# A compiler cache adds this, as the last option, to what takes a compiled header, and g++ notes its options in the debug
# information: with and without a cache the bytes are to be the same.
add_library(nebrix_compiled_headers INTERFACE)
target_compile_options(nebrix_compiled_headers INTERFACE
    "$<$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>:-fpch-preprocess>")

# HEADERS: what the library has compiled once for its files instead of the standard library's.
function(nebrix_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;PUBLIC;PRIVATE;HEADERS")
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE} nebrix_options)
    if(arg_HEADERS)
        target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
        target_link_libraries(${name} PRIVATE nebrix_compiled_headers)
    else()
        nebrix_share_standard_headers(${name})
    endif()
endfunction()

function(nebrix_program_ name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS")
    add_executable(${name} ${arg_SOURCES})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${name} PRIVATE ${arg_LIBS} nebrix_options Threads::Threads)
endfunction()

function(nebrix_executable name)
    nebrix_program_(${name} ${ARGN})
endfunction()

# Every test runs with a home directory of its own, emptied at the start of each ctest run.
function(nebrix_empty_test_homes)
    add_test(NAME private_homes
        COMMAND "${CMAKE_COMMAND}" -D "HOMES=${CMAKE_BINARY_DIR}/test-home"
        -P "${PROJECT_SOURCE_DIR}/cmake/EmptyTestHomes.cmake")
    set_tests_properties(private_homes PROPERTIES FIXTURES_SETUP private_homes)
endfunction()

function(nebrix_test_environment name)
    set(home "${CMAKE_BINARY_DIR}/test-home/${name}")
    file(MAKE_DIRECTORY "${home}")
    set_tests_properties(${name} PROPERTIES
        FIXTURES_REQUIRED private_homes
        ENVIRONMENT "HOME=${home};ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1;UBSAN_OPTIONS=print_stacktrace=1;TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1"
        ENVIRONMENT_MODIFICATION
        "XDG_CONFIG_HOME=unset:;XDG_DATA_HOME=unset:;http_proxy=unset:;https_proxy=unset:;HTTPS_PROXY=unset:;all_proxy=unset:;ALL_PROXY=unset:;no_proxy=unset:;NO_PROXY=unset:")
endfunction()

# Test cases are compiled by a sanitizer's compiler as they stand: optimising what they expand to takes it longer than the
# rest of them, and what they test is optimised elsewhere.
set(nebrix_test_optimisation)
if(NEBRIX_SANITIZE)
    set(nebrix_test_optimisation -O0)
endif()

# GoogleTest's headers are most of what the compiler reads for a test, wxWidgets' for a test of windows: taken from one
# compiled copy, which is compiled as what takes it is, or compilers refuse it. Not GoogleTest's by g++, which gains little
# and then warns of what it inlines from the standard library.
function(nebrix_share_test_headers name libraries)
    if("nebrixclient_gui" IN_LIST libraries)
        set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
        target_compile_options(${name} PRIVATE -fPIC)
        target_precompile_headers(${name} REUSE_FROM nebrixclient_gui)
        return()
    endif()
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        return()
    endif()
    if(NOT TARGET nebrix_test_headers)
        nebrix_shared_headers(nebrix_test_headers
            HEADERS <gmock/gmock.h> <gtest/gtest.h>
            LIBS GTest::gmock GTest::gtest
            OPTIONS -fPIE ${nebrix_test_optimisation})
        set_target_properties(nebrix_test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
    endif()
    target_precompile_headers(${name} REUSE_FROM nebrix_test_headers)
    target_compile_options(${name} PRIVATE ${nebrix_test_optimisation})
endfunction()

function(nebrix_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT;LOCK" "SOURCES;LIBS;LABELS;LAUNCHER")
    nebrix_program_(${name} SOURCES ${arg_SOURCES} LIBS ${arg_LIBS} GTest::gmock GTest::gtest GTest::gtest_main)
    nebrix_share_test_headers(${name} "${arg_LIBS}")
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    add_test(NAME ${name} COMMAND ${arg_LAUNCHER} $<TARGET_FILE:${name}> --gtest_brief=1 WORKING_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    nebrix_test_environment(${name})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
    if(arg_LOCK)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK "${arg_LOCK}")
    endif()
    if(arg_LABELS)
        set_tests_properties(${name} PROPERTIES LABELS "${arg_LABELS}")
    endif()
    set_property(GLOBAL APPEND PROPERTY NEBRIX_TEST_TARGETS ${name})
endfunction()

function(nebrix_bench name)
    if(NOT TARGET benchmark::benchmark)
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS;PEERS")
    nebrix_program_(${name} SOURCES ${arg_SOURCES}
        LIBS ${arg_LIBS} ${arg_PEERS} nebrix_bench_peers benchmark::benchmark benchmark::benchmark_main)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bench")
    set_property(GLOBAL APPEND PROPERTY NEBRIX_BENCH_TARGETS ${name})
endfunction()

function(nebrix_fuzz name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBS")
    nebrix_program_(${name} SOURCES ${name}.cpp LIBS ${arg_LIBS})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/fuzz")
    set_property(GLOBAL APPEND PROPERTY NEBRIX_FUZZ_TARGETS ${name})
    if(NEBRIX_LIBFUZZER)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        return()
    endif()
    if(NOT TARGET nebrix_fuzz_replay)
        nebrix_library(nebrix_fuzz_replay SOURCES replay_main.cpp)
    endif()
    target_link_libraries(${name} PRIVATE nebrix_fuzz_replay)
    add_test(NAME ${name} COMMAND ${name} "${CMAKE_CURRENT_SOURCE_DIR}/seeds/${name}")
    nebrix_test_environment(${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 120)
endfunction()
