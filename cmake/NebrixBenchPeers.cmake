# SPDX-License-Identifier: Apache-2.0
# What the benchmarks compare with. Every peer is optional: a benchmark asks NEBRIX_HAVE_<PEER> before it uses one.

add_library(nebrix_bench_peers INTERFACE)

function(nebrix_bench_peer name)
    foreach(target IN LISTS ARGN)
        if(NOT TARGET ${target})
            message(STATUS "benchmarks: no peer ${name}")
            return()
        endif()
    endforeach()
    target_link_libraries(nebrix_bench_peers INTERFACE ${ARGN})
    target_compile_definitions(nebrix_bench_peers INTERFACE NEBRIX_HAVE_${name}=1)
endfunction()

find_package(absl QUIET)
find_package(spdlog QUIET)
find_package(pugixml QUIET)
find_package(tinyxml2 QUIET)
find_package(Boost QUIET)
pkg_check_modules(PCRE2 QUIET IMPORTED_TARGET libpcre2-8)
nebrix_bench_peer(ABSL absl::strings)
nebrix_bench_peer(SPDLOG spdlog::spdlog)
nebrix_bench_peer(PUGIXML pugixml::pugixml)
nebrix_bench_peer(TINYXML2 tinyxml2::tinyxml2)
nebrix_bench_peer(BOOST Boost::headers)
nebrix_bench_peer(PCRE2 PkgConfig::PCRE2)
