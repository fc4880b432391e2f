# SPDX-License-Identifier: Apache-2.0
nebrix_bench(xml_bench SOURCES xml_bench.cpp LIBS tessel_xml)
