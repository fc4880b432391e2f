# SPDX-License-Identifier: Apache-2.0
nebrix_bench(uri_bench SOURCES uri_bench.cpp LIBS tessel_http nebrix_curl)
nebrix_bench(digest_bench SOURCES digest_bench.cpp LIBS tessel_openssl nebrix_crypto)

# What download.sh compares with curl.
nebrix_executable(bench_fetch SOURCES fetch.cpp LIBS tessel_curl)
set_target_properties(bench_fetch PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bench")
set_property(GLOBAL APPEND PROPERTY NEBRIX_BENCH_TARGETS bench_fetch)
