nebrix_fuzz(fuzz_base64 SOURCES base64_fuzz.cpp LIBS tessel_base)
nebrix_fuzz(fuzz_numbers SOURCES numbers_fuzz.cpp LIBS tessel_base)
