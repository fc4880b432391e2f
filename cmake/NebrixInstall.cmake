# What is installed, and the Debian package made of it. The catalogs and images are installed by their own folders. The
# demo gateway and the reference components are not: they are for trials and for component authors.
include(GNUInstallDirs)

set(nebrix_packaging "${PROJECT_SOURCE_DIR}/packaging")
set(nebrix_generated "${CMAKE_BINARY_DIR}/packaging")
set(nebrix_man_pages nebrixclient-cli nebrix-sign)
set(nebrix_compressed)

# Compresses SOURCE into build/packaging/NAME.gz, which is installed into DESTINATION. The same source gives the same
# bytes.
function(nebrix_install_compressed source name destination)
    set(compressed "${nebrix_generated}/${name}.gz")
    add_custom_command(OUTPUT "${compressed}"
        COMMAND "${NEBRIX_GZIP_PROGRAM}" -9nc "${source}" > "${compressed}"
        DEPENDS "${source}"
        COMMENT "Compressing ${name}"
        VERBATIM)
    install(FILES "${compressed}" DESTINATION "${destination}")
    set(nebrix_compressed ${nebrix_compressed} "${compressed}" PARENT_SCOPE)
endfunction()

find_program(NEBRIX_GZIP_PROGRAM gzip REQUIRED)
mark_as_advanced(NEBRIX_GZIP_PROGRAM)
file(MAKE_DIRECTORY "${nebrix_generated}")

install(TARGETS nebrixclient-cli nebrix-sign RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
# Where the programs look for them: beside themselves, or here as seen from their own directory.
install(TARGETS nebrix-component-host nebrix-component-probe nebrix-proxy-query
    RUNTIME DESTINATION libexec/nebrixclient)
if(TARGET nebrixclient)
    install(TARGETS nebrixclient RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    list(APPEND nebrix_man_pages nebrixclient)
    set(nebrix_metainfo io.nebrix.client.metainfo.xml)
    list(JOIN NEBRIX_LANGUAGES "</lang>\n    <lang>" NEBRIX_METAINFO_LANGUAGES)
    set(NEBRIX_METAINFO_LANGUAGES "<lang>${NEBRIX_METAINFO_LANGUAGES}</lang>")
    configure_file("${nebrix_packaging}/${nebrix_metainfo}.in" "${nebrix_generated}/${nebrix_metainfo}" @ONLY)
    install(FILES "${nebrix_generated}/${nebrix_metainfo}" DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")
    install(FILES "${nebrix_packaging}/nebrixclient.desktop" DESTINATION "${CMAKE_INSTALL_DATADIR}/applications")
endif()
foreach(page IN LISTS nebrix_man_pages)
    nebrix_install_compressed("${PROJECT_SOURCE_DIR}/docs/man/${page}.1" ${page}.1 "${CMAKE_INSTALL_MANDIR}/man1")
endforeach()

set(nebrix_documentation_directory "${CMAKE_INSTALL_DATADIR}/doc/nebrix-client")
configure_file("${nebrix_packaging}/changelog.in" "${nebrix_generated}/changelog" @ONLY)
nebrix_install_compressed("${nebrix_generated}/changelog" changelog "${nebrix_documentation_directory}")
install(FILES "${nebrix_packaging}/copyright" DESTINATION "${nebrix_documentation_directory}")
add_custom_target(nebrix_documents ALL DEPENDS ${nebrix_compressed})

# Everything that the package holds.
add_custom_target(nebrix_installed DEPENDS nebrixclient-cli nebrix-component-host nebrix-component-probe
    nebrix-proxy-query nebrix-sign nebrix_documents)
if(TARGET nebrixclient)
    add_dependencies(nebrix_installed nebrixclient nebrix_catalogs nebrix_images)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME nebrix-client)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VENDOR Nebrix)
set(CPACK_PACKAGE_CONTACT "Nebrix <support@nebrix.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CPACK_PACKAGE_CONTACT}")
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The libraries that the programs are linked with are found by dpkg-shlibdeps. These are used without linking: unzip
# unpacks components, the certificates are what gateways are checked against, and wx3.2-i18n holds the stock labels.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, unzip")
# Without the trigger of desktop-file-utils no desktop learns that links of the scheme are opened by the client. Tunnels are
# built by what a tunnel plug-in finds: NetworkManager's OpenVPN plug-in, or openvpn itself on machines without that.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "desktop-file-utils, network-manager-openvpn")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "openvpn")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "client for a secure remote-access gateway")
set(CPACK_PACKAGE_DESCRIPTION
    "Opens a session with a gateway from one link on its web page: asks it over
HTTPS which component the session needs, fetches it, checks its signature,
runs it, and shows in a small panel and the tray what it is doing.
.
A headless client and the tool that signs components are included.")
if(TARGET nebrixclient)
    string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", hicolor-icon-theme, wx3.2-i18n")
endif()
if(NEBRIX_KEY_IS_DEVELOPMENT)
    string(APPEND CPACK_PACKAGE_DESCRIPTION "
.
This build is for trials only: it verifies components against the
development key, whose private half is public.")
endif()
include(CPack)
