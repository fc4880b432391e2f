# SPDX-License-Identifier: Apache-2.0
#   tessel_component(NAME SOURCES a.cpp ... [INTERNAL a.h ...] [COMPONENTS names...] [LIBS imported targets...]
#                    [MODULES pkg-config modules...])
# Makes the library tessel_NAME, of that folder, for use as tessel::NAME. INTERNAL headers are for the folder alone:
# they are not installed. MODULES are what pkg-config knows LIBS by.
#
# The tree's own files include "libs/base/string.h", those who take the toolkit along <tessel/base/string.h>. Both are
# the same file: in a build tree the second one includes the first, and the installed one is a copy of it.

# Not tessel_SOURCE_DIR, which FetchContent takes for the whole tree.
cmake_path(GET PROJECT_SOURCE_DIR PARENT_PATH tessel_root)
set(tessel_forwarders "${PROJECT_BINARY_DIR}/include")

function(tessel_forward_headers name internal)
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/${name}" "${PROJECT_SOURCE_DIR}/${name}/*.h")
    foreach(header IN LISTS headers)
        if(NOT header IN_LIST internal)
            file(CONFIGURE OUTPUT "${tessel_forwarders}/tessel/${name}/${header}"
                CONTENT "#pragma once\n#include \"libs/${name}/${header}\"\n")
            set_property(GLOBAL APPEND PROPERTY TESSEL_HEADERS "${name}/${header}")
        endif()
    endforeach()
endfunction()

function(tessel_component name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;INTERNAL;COMPONENTS;LIBS;MODULES")
    set(target tessel_${name})
    add_library(${target} STATIC ${arg_SOURCES})
    add_library(tessel::${name} ALIAS ${target})
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name} POSITION_INDEPENDENT_CODE ON)
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PUBLIC
        "$<BUILD_INTERFACE:${tessel_root}>"
        "$<BUILD_INTERFACE:${tessel_forwarders}>"
        "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
    list(TRANSFORM arg_COMPONENTS PREPEND tessel_ OUTPUT_VARIABLE own)
    target_link_libraries(${target} PUBLIC ${own} PRIVATE ${arg_LIBS})
    if(TARGET nebrix_options)
        target_link_libraries(${target} PRIVATE "$<BUILD_INTERFACE:nebrix_options>")
        nebrix_share_standard_headers(${target})
    endif()
    tessel_forward_headers(${name} "${arg_INTERNAL}")
    set_property(GLOBAL APPEND PROPERTY TESSEL_BUILT ${name})
    list(TRANSFORM arg_COMPONENTS PREPEND tessel- OUTPUT_VARIABLE required)
    list(APPEND required ${arg_MODULES})
    list(JOIN required " " required)
    set_property(GLOBAL PROPERTY TESSEL_REQUIRES_${name} "${required}")
endfunction()
