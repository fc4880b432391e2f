# SPDX-License-Identifier: Apache-2.0
# The component that bench/session.py runs: the tests' recorder, in this build's own flavour.
set(recorder "${PROJECT_SOURCE_DIR}/tests/support/components")
add_library(bench-session-plugin MODULE "${recorder}/recorder_plugin.c" "${recorder}/record.c")
target_include_directories(bench-session-plugin PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(bench-session-plugin PRIVATE nebrix_options Threads::Threads)
set_target_properties(bench-session-plugin PROPERTIES LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bench")
set_property(GLOBAL APPEND PROPERTY NEBRIX_BENCH_TARGETS bench-session-plugin)
