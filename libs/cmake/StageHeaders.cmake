# SPDX-License-Identifier: Apache-2.0
# Run at the installation: copies of the headers that name one another as they are installed.
file(REMOVE_RECURSE "${tessel_staged}")
foreach(header IN LISTS tessel_headers)
    file(READ "${tessel_source}/${header}" text)
    string(REPLACE "#include \"libs/" "#include \"tessel/" text "${text}")
    file(WRITE "${tessel_staged}/${header}" "${text}")
endforeach()
