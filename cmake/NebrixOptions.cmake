# SPDX-License-Identifier: Apache-2.0
# Language level, warnings, hardening and sanitizers of every target of ours, as the interface target nebrix_options.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Debug CACHE STRING "Debug or Release" FORCE)
endif()

# A compiler cache, where there is one and nobody named another launcher. The presets tell it how to take part in
# precompiled headers.
find_program(NEBRIX_CCACHE_PROGRAM ccache)
mark_as_advanced(NEBRIX_CCACHE_PROGRAM)
foreach(language C CXX)
    if(NEBRIX_CCACHE_PROGRAM AND NOT DEFINED CMAKE_${language}_COMPILER_LAUNCHER)
        set(CMAKE_${language}_COMPILER_LAUNCHER "${NEBRIX_CCACHE_PROGRAM}")
    endif()
endforeach()

# Assertions stay on in every build: they guard against programming errors that must end the program.
set(nebrix_debug_information -g)
if(NEBRIX_SANITIZE)
    # What a sanitizer's report shows; builds quicker.
    set(nebrix_debug_information -g1)
endif()
set(CMAKE_C_FLAGS_DEBUG "-O1 ${nebrix_debug_information} -fno-omit-frame-pointer")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 ${nebrix_debug_information} -fno-omit-frame-pointer")
# Release builds carry what becomes the packages of debug symbols: functions and lines, for backtraces. Variables would make
# them three times as large, and nobody may look into these programs' memory anyway.
set(CMAKE_C_FLAGS_RELEASE "-O2 -g1")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1")

set(nebrix_warnings
    -Werror -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wcast-align -Wcast-qual
    -Wformat=2 -Wundef -Wunused -Wimplicit-fallthrough -Wvla)
set(nebrix_warnings_c -Wstrict-prototypes -Wmissing-prototypes -Wold-style-definition)
set(nebrix_warnings_cxx
    -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wextra-semi -Wredundant-decls)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    list(APPEND nebrix_warnings -Wduplicated-cond -Wduplicated-branches -Wlogical-op)
    list(APPEND nebrix_warnings_cxx -Wsuggest-override -Wcomma-subscript)
else()
    list(APPEND nebrix_warnings -Wloop-analysis -Wunreachable-code-return -Wcomma)
    list(APPEND nebrix_warnings_cxx -Wsuggest-override -Winconsistent-missing-destructor-override)
endif()

# What the machine checks by itself: where indirect calls and returns lead (CET, x86 alone), and that the stack grows page
# by page. No path of this build is left in what it makes, so that every directory makes the same bytes; the later of two
# maps is tried first.
set(nebrix_hardening -fstack-protector-strong -fstack-clash-protection
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${CMAKE_BINARY_DIR}=./build")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
    list(APPEND nebrix_hardening -fcf-protection=full)
endif()

add_library(nebrix_options INTERFACE)
target_compile_options(nebrix_options INTERFACE
    ${nebrix_warnings}
    "$<$<COMPILE_LANGUAGE:C>:${nebrix_warnings_c}>"
    "$<$<COMPILE_LANGUAGE:CXX>:${nebrix_warnings_cxx}>"
    "$<$<COMPILE_LANGUAGE:CXX>:-fvisibility=hidden>"
    "$<$<CONFIG:Release>:${nebrix_hardening};-ffunction-sections;-fdata-sections>")
# Debug builds check the standard library's preconditions, release builds the buffers of the C library.
target_compile_definitions(nebrix_options INTERFACE
    "$<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>"
    "$<$<CONFIG:Release>:_FORTIFY_SOURCE=2>")
target_link_options(nebrix_options INTERFACE
    "$<$<CONFIG:Release>:LINKER:-z,relro,-z,now,-z,noexecstack,-z,pack-relative-relocs,--gc-sections,--build-id=sha1>")

if(NEBRIX_SANITIZE)
    set(nebrix_sanitize_flags -fsanitize=${NEBRIX_SANITIZE} -fno-sanitize-recover=all)
    if(NEBRIX_LIBFUZZER)
        list(APPEND nebrix_sanitize_flags -fsanitize=fuzzer-no-link)
    endif()
    # Whole-tree, so that nothing of ours is left uninstrumented.
    add_compile_options(${nebrix_sanitize_flags})
    add_link_options(${nebrix_sanitize_flags})
endif()
if(NEBRIX_LIBFUZZER AND NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "NEBRIX_LIBFUZZER needs clang; use the preset \"fuzz\"")
endif()
