# SPDX-License-Identifier: Apache-2.0
# Empties the home directory of every test under HOMES.
file(GLOB homes LIST_DIRECTORIES true "${HOMES}/*")
foreach(home IN LISTS homes)
    file(REMOVE_RECURSE "${home}")
    file(MAKE_DIRECTORY "${home}")
endforeach()
