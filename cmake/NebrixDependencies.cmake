# SPDX-License-Identifier: Apache-2.0
# The external libraries, under one name each:
#   nebrix_jsoncpp, nebrix_curl, nebrix_crypto (libcrypto), nebrix_ssl (libssl), nebrix_elf (libelf), nebrix_archive
#   (libarchive), nebrix_proxy (libproxy), nebrix_httplib
# The toolkit finds by itself what it needs. nebrix_httplib is what the demo gateway and the tests serve HTTPS with. With
# the desktop client also
#   nebrix_wx (wxWidgets), nebrix_desktop (GTK, GIO, X11, Wayland and libSM, for what wxWidgets leaves to the desktop)
# Tests add GTest::gtest_main and GTest::gmock.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(OpenSSL 3 REQUIRED)
find_package(CURL 7.88 REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
pkg_check_modules(PROXY REQUIRED IMPORTED_TARGET libproxy-1.0)
pkg_check_modules(ELF REQUIRED IMPORTED_TARGET libelf)
pkg_check_modules(ARCHIVE REQUIRED IMPORTED_TARGET libarchive)

function(nebrix_external name)
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${ARGN})
endfunction()

nebrix_external(nebrix_jsoncpp PkgConfig::JSONCPP)
nebrix_external(nebrix_curl CURL::libcurl)
nebrix_external(nebrix_crypto OpenSSL::Crypto)
nebrix_external(nebrix_ssl OpenSSL::SSL OpenSSL::Crypto)
nebrix_external(nebrix_elf PkgConfig::ELF)
nebrix_external(nebrix_archive PkgConfig::ARCHIVE)
nebrix_external(nebrix_proxy PkgConfig::PROXY)
nebrix_external(nebrix_httplib PkgConfig::HTTPLIB OpenSSL::SSL OpenSSL::Crypto Threads::Threads)

if(NEBRIX_BUILD_GUI)
    # Only system headers of it are seen, so that its warnings are not ours.
    set(wxWidgets_CONFIG_OPTIONS --toolkit=gtk3)
    find_package(wxWidgets 3.2 REQUIRED COMPONENTS core base)
    pkg_check_modules(DESKTOP REQUIRED IMPORTED_TARGET gtk+-3.0 gio-unix-2.0 x11 wayland-client gtk-layer-shell-0
        sm ice)
    nebrix_external(nebrix_wx ${wxWidgets_LIBRARIES})
    target_include_directories(nebrix_wx SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
    target_compile_definitions(nebrix_wx INTERFACE ${wxWidgets_DEFINITIONS})
    target_compile_options(nebrix_wx INTERFACE ${wxWidgets_CXX_FLAGS})
    nebrix_external(nebrix_desktop PkgConfig::DESKTOP)
endif()
if(NEBRIX_BUILD_TESTS)
    find_package(GTest REQUIRED)
endif()
if(NEBRIX_BUILD_BENCH)
    find_package(benchmark QUIET)
    include(NebrixBenchPeers)
endif()
