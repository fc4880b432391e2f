nebrix_fuzz(fuzz_xml SOURCES fuzz_xml.cpp LIBS tessel_xml)
nebrix_fuzz(fuzz_keyreader SOURCES fuzz_keyreader.cpp LIBS tessel_xml)
nebrix_fuzz(fuzz_json SOURCES fuzz_json.cpp LIBS tessel_json)
