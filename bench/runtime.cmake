# SPDX-License-Identifier: Apache-2.0
nebrix_bench(log_bench SOURCES log_bench.cpp LIBS tessel_base)
nebrix_bench(gc_bench SOURCES gc_bench.cpp LIBS tessel_base)
