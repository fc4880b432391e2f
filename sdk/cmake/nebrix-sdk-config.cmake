# SPDX-License-Identifier: MIT
# find_package(nebrix-sdk), from an installation as from the folder itself (-D nebrix-sdk_DIR=FOLDER/cmake):
#
#   nebrix::sdk                              the contract, nebrix_component.h
#   nebrix_add_component(NAME source...)     a component libNAME.so: a module that exports its entries alone. Its target
#                                            NAME-try builds it and runs a session with it (nebrix-sign try)
foreach(folder "../include" "../../../include")
    get_filename_component(nebrix_sdk_include "${folder}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_LIST_DIR}")
    if(EXISTS "${nebrix_sdk_include}/nebrix_component.h")
        break()
    endif()
endforeach()
if(NOT EXISTS "${nebrix_sdk_include}/nebrix_component.h")
    # A copy of the installed folder, whose header lies in the compiler's own path or below CMAKE_PREFIX_PATH.
    find_path(NEBRIX_SDK_INCLUDE nebrix_component.h DOC "the folder of nebrix_component.h")
    set(nebrix_sdk_include "${NEBRIX_SDK_INCLUDE}")
endif()
if(NOT EXISTS "${nebrix_sdk_include}/nebrix_component.h")
    message(FATAL_ERROR "nebrix-sdk: nebrix_component.h is neither beside ${CMAKE_CURRENT_LIST_DIR} nor installed; "
        "-D NEBRIX_SDK_INCLUDE=FOLDER says where it is")
endif()
find_package(Threads REQUIRED)
set(NEBRIX_SIGN nebrix-sign CACHE STRING "the program that tries a component")

if(NOT TARGET nebrix::sdk)
    add_library(nebrix_sdk INTERFACE)
    target_include_directories(nebrix_sdk INTERFACE "${nebrix_sdk_include}")
    target_link_libraries(nebrix_sdk INTERFACE Threads::Threads)
    add_library(nebrix::sdk ALIAS nebrix_sdk)
endif()

function(nebrix_add_component name)
    add_library(${name} MODULE ${ARGN})
    set_target_properties(${name} PROPERTIES
        C_VISIBILITY_PRESET hidden
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(${name} PRIVATE nebrix::sdk)
    add_custom_target(${name}-try COMMAND "${NEBRIX_SIGN}" try "$<TARGET_FILE:${name}>"
        DEPENDS ${name} USES_TERMINAL VERBATIM)
endfunction()
