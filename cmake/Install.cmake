# What an installation holds: the plug-in in a directory of plug-ins, the host library, the command, and for
# outside callers the public headers with a CMake package and a pkg-config file. CPack makes a Debian package
# of the same.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KRW_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/krw")
set(KRW_INSTALL_PLUGINDIR "${CMAKE_INSTALL_LIBDIR}/krw/plugins")
set(KRW_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/krw")
set(KRW_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# Everything finds its parts relative to itself, so that an installation can be moved as a whole.
file(RELATIVE_PATH plugin_to_lib "/${KRW_INSTALL_PLUGINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
file(RELATIVE_PATH bin_to_lib "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
file(RELATIVE_PATH pkgconfig_to_prefix "/${KRW_INSTALL_PKGCONFIGDIR}" "/")
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
set_target_properties(pvx_krw PROPERTIES INSTALL_RPATH "$ORIGIN/${plugin_to_lib}")
set_target_properties(krw PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")

foreach(library pvx_krw mediahost)
    target_include_directories(${library} INTERFACE "$<INSTALL_INTERFACE:${KRW_INSTALL_INCLUDEDIR}>")
    target_compile_features(${library} INTERFACE cxx_std_20)
endforeach()

install(TARGETS krw RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS mediahost EXPORT krwTargets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS pvx_krw EXPORT krwTargets LIBRARY DESTINATION "${KRW_INSTALL_PLUGINDIR}")
install(FILES "${CMAKE_BINARY_DIR}/generated/krw.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
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
set(CPACK_DEBIAN_PACKAGE_SECTION video)
# Sheets and histograms have text.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core | fonts-freefont-ttf, fuse3")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Reader plug-in for KRW raw clips
 The plug-in for media hosts, a stand-in for the host's libraries, the reference
 host krw, and what programs need that call the plug-in's decoder themselves.")
include(CPack)
