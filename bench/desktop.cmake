# SPDX-License-Identifier: Apache-2.0
if(NEBRIX_BUILD_GUI)
    nebrix_program_(bench_barewx SOURCES barewx.cpp LIBS nebrix_wx)
    set_target_properties(bench_barewx PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bench")
endif()
