nebrix_fuzz(fuzz_uri SOURCES fuzz_uri.cpp LIBS tessel_http)
nebrix_fuzz(fuzz_headers SOURCES fuzz_headers.cpp LIBS tessel_http)
