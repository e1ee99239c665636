# What an installation holds: the plug-in in a directory of plug-ins, the host library, the command, and for
# outside callers the public headers with a CMake package and a pkg-config file. CPack makes a Debian package
# of the same, and one of the adapter for OpenImageIO.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KRW_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/krw")
set(KRW_INSTALL_PLUGINDIR "${CMAKE_INSTALL_LIBDIR}/krw/plugins")
# The stand-in is for the programs of this project. A host has libraries of its own, and the linker's folders are theirs.
set(KRW_INSTALL_HOSTDIR "${CMAKE_INSTALL_LIBDIR}/krw/host")
set(KRW_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/krw")
# Debian's pkg-config for a foreign machine looks only in the folder of that machine.
set(KRW_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(CMAKE_LIBRARY_ARCHITECTURE AND CMAKE_INSTALL_LIBDIR STREQUAL "lib")
    set(KRW_INSTALL_PKGCONFIGDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig")
endif()

# Everything finds its parts relative to itself, so that an installation can be moved as a whole.
file(RELATIVE_PATH plugin_to_host "/${KRW_INSTALL_PLUGINDIR}" "/${KRW_INSTALL_HOSTDIR}")
file(RELATIVE_PATH bin_to_host "/${CMAKE_INSTALL_BINDIR}" "/${KRW_INSTALL_HOSTDIR}")
file(RELATIVE_PATH pkgconfig_to_prefix "/${KRW_INSTALL_PKGCONFIGDIR}" "/")
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
set_target_properties(pvx_krw PROPERTIES INSTALL_RPATH "$ORIGIN/${plugin_to_host}")
set_target_properties(krw PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_host}")

foreach(library pvx_krw mediahost)
    target_include_directories(${library} INTERFACE "$<INSTALL_INTERFACE:${KRW_INSTALL_INCLUDEDIR}>")
    target_compile_features(${library} INTERFACE cxx_std_20)
endforeach()

if(KRW_HAS_OPENIMAGEIO)
    # OpenImageIO has no folder of its own for readers. OIIO_LIBRARY_PATH names this one.
    set(KRW_INSTALL_OPENIMAGEIODIR "${CMAKE_INSTALL_LIBDIR}/krw/openimageio")
    file(RELATIVE_PATH adapter_to_host "/${KRW_INSTALL_OPENIMAGEIODIR}" "/${KRW_INSTALL_HOSTDIR}")
    set_target_properties(krw_imageio PROPERTIES INSTALL_RPATH "$ORIGIN/${adapter_to_host}")
    install(TARGETS krw_imageio LIBRARY DESTINATION "${KRW_INSTALL_OPENIMAGEIODIR}" COMPONENT openimageio)
    install(FILES docs/openimageio.md DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/krw-openimageio"
        COMPONENT openimageio)
endif()

install(TARGETS krw RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS mediahost EXPORT krwTargets LIBRARY DESTINATION "${KRW_INSTALL_HOSTDIR}")
install(TARGETS pvx_krw EXPORT krwTargets LIBRARY DESTINATION "${KRW_INSTALL_PLUGINDIR}")
# Debian keeps its manual pages and changelogs compressed.
function(krw_compress from to)
    add_custom_command(OUTPUT "${to}" COMMAND gzip --best --no-name --stdout "${from}" > "${to}" DEPENDS "${from}" ${ARGN}
        VERBATIM)
endfunction()
krw_compress("${CMAKE_BINARY_DIR}/generated/krw.1" "${CMAKE_BINARY_DIR}/generated/krw.1.gz" krw_manual)
krw_compress("${PROJECT_SOURCE_DIR}/cmake/debian/changelog" "${CMAKE_BINARY_DIR}/generated/changelog.gz")
add_custom_target(krw_compressed ALL
    DEPENDS "${CMAKE_BINARY_DIR}/generated/krw.1.gz" "${CMAKE_BINARY_DIR}/generated/changelog.gz")
install(FILES "${CMAKE_BINARY_DIR}/generated/krw.1.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
install(FILES cmake/debian/copyright "${CMAKE_BINARY_DIR}/generated/changelog.gz"
    DESTINATION "${CMAKE_INSTALL_DOCDIR}")
if(KRW_HAS_OPENIMAGEIO)
    install(FILES cmake/debian/copyright "${CMAKE_BINARY_DIR}/generated/changelog.gz"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/krw-openimageio" COMPONENT openimageio)
endif()
install(FILES "${CMAKE_BINARY_DIR}/generated/krw" DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(FILES "${CMAKE_BINARY_DIR}/generated/_krw" DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
install(FILES README.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")

# The public headers include one another by these directories.
install(FILES kinedec/kinedec.h kinedec/log_curve.h kinedec/lookup_entry.h
    DESTINATION "${KRW_INSTALL_INCLUDEDIR}/kinedec")
install(FILES plugin/entry_points.h plugin/info_record.h plugin/records.h plugin/status.h
    DESTINATION "${KRW_INSTALL_INCLUDEDIR}/plugin")
install(DIRECTORY host/ DESTINATION "${KRW_INSTALL_INCLUDEDIR}/host" FILES_MATCHING PATTERN "*.h")

configure_package_config_file(cmake/krwConfig.cmake.in "${CMAKE_BINARY_DIR}/cmake/krwConfig.cmake"
    INSTALL_DESTINATION "${KRW_INSTALL_CMAKEDIR}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/cmake/krwConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/cmake/krwConfig.cmake" "${CMAKE_BINARY_DIR}/cmake/krwConfigVersion.cmake"
    DESTINATION "${KRW_INSTALL_CMAKEDIR}")
install(EXPORT krwTargets NAMESPACE krw:: DESTINATION "${KRW_INSTALL_CMAKEDIR}")

configure_file(cmake/krw.pc.in "${CMAKE_BINARY_DIR}/cmake/krw.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/cmake/krw.pc" DESTINATION "${KRW_INSTALL_PKGCONFIGDIR}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "krw maintainers <maintainers@krw.invalid>")
set(CPACK_PACKAGE_VENDOR "krw")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/package")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Everything that names no component is the package krw.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Unspecified)
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_NAME krw)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
# Sheets and histograms have text.
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_RECOMMENDS "fonts-dejavu-core | fonts-freefont-ttf, fuse3")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}")
# The first line is the synopsis.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_COMPONENT_UNSPECIFIED_DESCRIPTION "reader plug-in for KRW raw clips
The plug-in for media hosts, a stand-in for the host's libraries, the
reference host krw, and what programs need that call the plug-in's
decoder themselves.")
if(KRW_HAS_OPENIMAGEIO)
    list(APPEND CPACK_COMPONENTS_ALL openimageio)
    set(CPACK_DEBIAN_OPENIMAGEIO_PACKAGE_NAME krw-openimageio)
    set(CPACK_DEBIAN_OPENIMAGEIO_PACKAGE_DEPENDS "krw (= ${PROJECT_VERSION})")
    set(CPACK_COMPONENT_OPENIMAGEIO_DESCRIPTION "KRW raw clips in programs that use OpenImageIO
An adapter with which oiiotool and all other programs that use
OpenImageIO read KRW clips. OIIO_LIBRARY_PATH has to name its folder,
/usr/${CMAKE_INSTALL_LIBDIR}/krw/openimageio.")
endif()
include(CPack)
