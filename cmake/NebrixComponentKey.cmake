# SPDX-License-Identifier: Apache-2.0
# Compiles the RSA public key that component libraries are verified against into the library nebrix_component_key,
# which is included as "generated/component_public_key.h".

set(nebrix_development_key "${PROJECT_SOURCE_DIR}/resources/keys/development-public.pem")

# The bare PEM block of a public-key file; anything else ends the configuration.
function(nebrix_read_public_key path result)
    if(NOT EXISTS "${path}" OR IS_DIRECTORY "${path}")
        message(FATAL_ERROR "NEBRIX_COMPONENT_PUBLIC_KEY: there is no file \"${path}\"")
    endif()
    file(SIZE "${path}" size)
    if(size GREATER 65536)
        message(FATAL_ERROR "NEBRIX_COMPONENT_PUBLIC_KEY: \"${path}\" is too large for a public key")
    endif()
    file(READ "${path}" text)
    if(text MATCHES "PRIVATE KEY-----")
        message(FATAL_ERROR "NEBRIX_COMPONENT_PUBLIC_KEY: \"${path}\" holds a private key; name its public half")
    endif()
    string(REPLACE "\r\n" "\n" text "${text}")
    if(NOT text MATCHES "-----BEGIN PUBLIC KEY-----\n[A-Za-z0-9+/=\n]+\n-----END PUBLIC KEY-----")
        message(FATAL_ERROR
            "NEBRIX_COMPONENT_PUBLIC_KEY: \"${path}\" holds no PEM block \"PUBLIC KEY\" "
            "(openssl rsa -in private.pem -pubout writes one)")
    endif()
    set(${result} "${CMAKE_MATCH_0}" PARENT_SCOPE)
endfunction()

# The block may still hold a key of another kind or be damaged; the openssl program, where there is one, can tell.
function(nebrix_check_rsa_key path)
    find_program(NEBRIX_OPENSSL_PROGRAM openssl)
    mark_as_advanced(NEBRIX_OPENSSL_PROGRAM)
    if(NOT NEBRIX_OPENSSL_PROGRAM)
        return()
    endif()
    execute_process(COMMAND "${NEBRIX_OPENSSL_PROGRAM}" rsa -pubin -in "${path}" -noout
        RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "NEBRIX_COMPONENT_PUBLIC_KEY: \"${path}\" is not an RSA public key")
    endif()
endfunction()

cmake_path(ABSOLUTE_PATH NEBRIX_COMPONENT_PUBLIC_KEY BASE_DIRECTORY "${CMAKE_SOURCE_DIR}" NORMALIZE
    OUTPUT_VARIABLE nebrix_key_path)
nebrix_read_public_key("${nebrix_key_path}" NEBRIX_KEY_PEM)
nebrix_check_rsa_key("${nebrix_key_path}")
nebrix_read_public_key("${nebrix_development_key}" nebrix_development_pem)

# A copy of the development key under another name is still the development key.
if(NEBRIX_KEY_PEM STREQUAL nebrix_development_pem)
    set(NEBRIX_KEY_IS_DEVELOPMENT true)
    message(STATUS "WARNING: components are verified against the DEVELOPMENT key, whose private half is public.")
    message(STATUS "         Set NEBRIX_COMPONENT_PUBLIC_KEY for a build that is handed out.")
else()
    set(NEBRIX_KEY_IS_DEVELOPMENT false)
    message(STATUS "Components are verified against the key ${nebrix_key_path}")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${nebrix_key_path}" "${nebrix_development_key}")

configure_file(cmake/component_public_key.h.in generated/component_public_key.h @ONLY)
configure_file(cmake/component_public_key.cpp.in generated/component_public_key.cpp @ONLY)
add_library(nebrix_component_key STATIC "${CMAKE_BINARY_DIR}/generated/component_public_key.cpp")
target_include_directories(nebrix_component_key PUBLIC "${CMAKE_BINARY_DIR}")
target_link_libraries(nebrix_component_key PRIVATE nebrix_options)
