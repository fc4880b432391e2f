# SPDX-License-Identifier: Apache-2.0
# Installs what was built, as the component "tessel": headers, libraries, the CMake package "tessel" and a pkg-config
# file for each component. Whatever prefix it is installed to, it can be moved. Within another project only
# `cmake --install BUILD --component tessel` installs it.
include(CMakePackageConfigHelpers)

set(tessel_only EXCLUDE_FROM_ALL)
if(PROJECT_IS_TOP_LEVEL)
    set(tessel_only)
endif()
get_property(tessel_built GLOBAL PROPERTY TESSEL_BUILT)
get_property(tessel_headers GLOBAL PROPERTY TESSEL_HEADERS)
set(tessel_package "${CMAKE_INSTALL_LIBDIR}/cmake/tessel")

install(CODE "set(tessel_headers \"${tessel_headers}\")
set(tessel_source \"${PROJECT_SOURCE_DIR}\")
set(tessel_staged \"${PROJECT_BINARY_DIR}/headers\")" COMPONENT tessel ${tessel_only})
install(SCRIPT "${PROJECT_SOURCE_DIR}/cmake/StageHeaders.cmake" COMPONENT tessel ${tessel_only})
install(DIRECTORY "${PROJECT_BINARY_DIR}/headers/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/tessel"
    COMPONENT tessel ${tessel_only})

foreach(component IN LISTS tessel_built)
    install(TARGETS tessel_${component} EXPORT tesselTargets
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT tessel ${tessel_only})
endforeach()
install(EXPORT tesselTargets NAMESPACE tessel:: DESTINATION "${tessel_package}" COMPONENT tessel ${tessel_only})
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/tesselConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/tesselConfig.cmake" INSTALL_DESTINATION "${tessel_package}"
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/tesselConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/tesselConfig.cmake" "${PROJECT_BINARY_DIR}/tesselConfigVersion.cmake"
    DESTINATION "${tessel_package}" COMPONENT tessel ${tessel_only})

file(RELATIVE_PATH tessel_to_include "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/${CMAKE_INSTALL_INCLUDEDIR}")
function(tessel_install_module name libs requires)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/tessel.pc.in" "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT tessel ${tessel_only})
endfunction()
foreach(component IN LISTS tessel_built)
    get_property(requires GLOBAL PROPERTY TESSEL_REQUIRES_${component})
    tessel_install_module(tessel-${component} "-L\${libdir} -ltessel_${component}" "${requires}")
endforeach()
list(TRANSFORM tessel_built PREPEND tessel- OUTPUT_VARIABLE tessel_modules)
list(JOIN tessel_modules " " tessel_modules)
tessel_install_module(tessel "" "${tessel_modules}")
