# SPDX-License-Identifier: Apache-2.0
nebrix_bench(string_bench SOURCES string_bench.cpp LIBS tessel_base)
nebrix_bench(join_bench SOURCES join_bench.cpp LIBS tessel_base)
nebrix_bench(pool_bench SOURCES pool_bench.cpp LIBS tessel_base)
nebrix_bench(base64_bench SOURCES base64_bench.cpp LIBS tessel_base PEERS nebrix_crypto)
nebrix_bench(numbers_bench SOURCES numbers_bench.cpp LIBS tessel_base)
