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
    message(FATAL_ERROR "nebrix-sdk: there is no nebrix_component.h beside ${CMAKE_CURRENT_LIST_DIR}")
endif()
find_package(Threads REQUIRED)

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
    add_custom_target(${name}-try COMMAND nebrix-sign try "$<TARGET_FILE:${name}>" DEPENDS ${name} USES_TERMINAL)
endfunction()
