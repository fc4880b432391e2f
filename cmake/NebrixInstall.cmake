# SPDX-License-Identifier: Apache-2.0
# What is installed, each part as an install component of its own: desktop, cli, host, sign, and sdk and tessel, whose rules
# are in their folders. packaging/ makes one package of each; "cmake --install" without --component installs all but tessel.
include(GNUInstallDirs)

set(nebrix_packaging "${PROJECT_SOURCE_DIR}/packaging")
set(nebrix_generated "${CMAKE_BINARY_DIR}/packaging")
set(nebrix_documented)  # what completes command lines

# A program of a component, with its man page.
function(nebrix_install_program name component)
    install(TARGETS ${name} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${component})
    install(FILES "${PROJECT_SOURCE_DIR}/docs/man/${name}.1"
        DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT ${component})
    if(NOT NEBRIX_PYTHON_PROGRAM)
        return()
    endif()
    # Read from the program's own --help, so that no option can be missing.
    set(completions "${nebrix_generated}/completions/${name}")
    add_custom_command(OUTPUT "${completions}.bash" "${completions}.zsh" "${completions}.fish"
        COMMAND "${NEBRIX_PYTHON_PROGRAM}" "${nebrix_packaging}/completions.py" $<TARGET_FILE:${name}> "${completions}"
        DEPENDS ${name} "${nebrix_packaging}/completions.py"
        COMMENT "Completing the command line of ${name}"
        VERBATIM)
    install(FILES "${completions}.bash" RENAME ${name}
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT ${component})
    install(FILES "${completions}.zsh" RENAME _${name}
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions" COMPONENT ${component})
    install(FILES "${completions}.fish" RENAME ${name}.fish
        DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT ${component})
    set(nebrix_documented ${nebrix_documented} "${completions}.bash" PARENT_SCOPE)
endfunction()

# Without it there are no completions.
find_program(NEBRIX_PYTHON_PROGRAM python3)
mark_as_advanced(NEBRIX_PYTHON_PROGRAM)
file(MAKE_DIRECTORY "${nebrix_generated}/completions")

nebrix_install_program(nebrixclient-cli cli)
install(FILES "${nebrix_packaging}/systemd/nebrixclient-cli@.service"
    DESTINATION lib/systemd/user COMPONENT cli)

# Where the programs look for them: beside themselves, or here as seen from their own directory.
install(TARGETS nebrix-component-host nebrix-proxy-query
    RUNTIME DESTINATION libexec/nebrixclient COMPONENT host)

nebrix_install_program(nebrix-sign sign)
nebrix_install_program(nebrix-demo-gateway sign)
install(TARGETS nebrix-component-probe RUNTIME DESTINATION libexec/nebrixclient COMPONENT sign)
install(TARGETS nebrix-tunnel nebrix-tunnel-simulated nebrix-notunnel nebrix-hostchecker
    LIBRARY DESTINATION libexec/nebrix-demo-gateway COMPONENT sign)

if(TARGET nebrixclient)
    nebrix_install_program(nebrixclient desktop)
    set(nebrix_metainfo io.nebrix.client.metainfo.xml)
    list(JOIN NEBRIX_LANGUAGES "</lang>\n    <lang>" NEBRIX_METAINFO_LANGUAGES)
    set(NEBRIX_METAINFO_LANGUAGES "<lang>${NEBRIX_METAINFO_LANGUAGES}</lang>")
    configure_file("${nebrix_packaging}/${nebrix_metainfo}.in" "${nebrix_generated}/${nebrix_metainfo}" @ONLY)
    install(FILES "${nebrix_generated}/${nebrix_metainfo}"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo" COMPONENT desktop)
    install(FILES "${nebrix_packaging}/nebrixclient.desktop"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/applications" COMPONENT desktop)
endif()
set(nebrix_completed ALL)
if(NEBRIX_SANITIZE)
    set(nebrix_completed)
endif()
add_custom_target(nebrix_completions ${nebrix_completed} DEPENDS ${nebrix_documented})

# The RPM packages are made by the same rules.
configure_file("${nebrix_packaging}/nebrix.spec.in" "${nebrix_generated}/nebrix.spec" @ONLY)

# Everything that the packages hold.
add_custom_target(nebrix_installed DEPENDS nebrixclient-cli nebrix-component-host nebrix-component-probe
    nebrix-proxy-query nebrix-sign nebrix-demo-gateway nebrix-tunnel nebrix-tunnel-simulated nebrix-notunnel
    nebrix-hostchecker nebrix_completions)
if(TARGET nebrixclient)
    add_dependencies(nebrix_installed nebrixclient nebrix_catalogs nebrix_images)
endif()
