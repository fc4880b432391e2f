# SPDX-License-Identifier: Apache-2.0
# Builds and runs small projects of others: beside an installed toolkit that was moved (with each of its headers alone and
# strict warnings), with pkg-config, and with the toolkit's sources in their own tree.
#   cmake -D SOURCE=tree -D BUILD=build -D WORK=directory -D CXX=compiler -D LAUNCHER=ccache -P client.cmake
set(program "${SOURCE}/docs/examples/json.cpp")

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(build name taken more)
    file(WRITE "${WORK}/${name}/CMakeLists.txt" "cmake_minimum_required(VERSION 3.25)
project(client LANGUAGES CXX)
${taken}
add_executable(client \"${program}\")
target_link_libraries(client tessel::json)
${more}")
    run("${CMAKE_COMMAND}" -G Ninja -S "${WORK}/${name}" -B "${WORK}/${name}/build"
        "-DCMAKE_PREFIX_PATH=${WORK}/moved" -DTESSEL_COMPONENTS=json
        "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}")
    run("${CMAKE_COMMAND}" --build "${WORK}/${name}/build")
    run("${WORK}/${name}/build/client")
endfunction()

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" --install "${BUILD}" --component tessel --prefix "${WORK}/installed")
file(RENAME "${WORK}/installed" "${WORK}/moved")

file(GLOB_RECURSE headers RELATIVE "${WORK}/moved/include" "${WORK}/moved/include/tessel/*.h")
set(alone)
foreach(header IN LISTS headers)
    string(MAKE_C_IDENTIFIER "${header}" file)
    file(WRITE "${WORK}/package/${file}.cpp" "#include <${header}>\n#include <${header}>\n")
    string(APPEND alone " ${file}.cpp")
endforeach()
build(package "find_package(tessel 1.0 REQUIRED COMPONENTS json)" "add_library(headers OBJECT ${alone})
target_compile_features(headers PRIVATE cxx_std_20)
target_compile_options(headers PRIVATE \"-I${WORK}/moved/include\"
    -Werror -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wundef -Wold-style-cast)")

set(ENV{PKG_CONFIG_PATH} "${WORK}/moved/lib/pkgconfig")
run(sh -c "'${CXX}' -std=c++20 '${program}' $(pkg-config --cflags --libs tessel-json) -o '${WORK}/by-pkg-config'")
run("${WORK}/by-pkg-config")

build(sources "include(FetchContent)
FetchContent_Declare(tessel SOURCE_DIR \"${SOURCE}\" SOURCE_SUBDIR libs)
FetchContent_MakeAvailable(tessel)" "")
