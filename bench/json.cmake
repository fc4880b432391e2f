# SPDX-License-Identifier: Apache-2.0
nebrix_bench(json_bench SOURCES json_bench.cpp LIBS tessel_json PEERS nebrix_jsoncpp)
