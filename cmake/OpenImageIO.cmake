# Whether the adapter for OpenImageIO is built. AUTO is decided anew at each configuring, because a library can be
# installed or removed in between. pkg-config says where the library is: its CMake package in Debian 12 names folders
# of libraries that it does not depend on.
find_package(PkgConfig REQUIRED)
set(KRW_BUILD_OPENIMAGEIO AUTO CACHE STRING "Build the adapter for OpenImageIO: AUTO (where the library is), ON, OFF")
set_property(CACHE KRW_BUILD_OPENIMAGEIO PROPERTY STRINGS AUTO ON OFF)

set(KRW_HAS_OPENIMAGEIO OFF)
unset(__pkg_config_checked_openimageio CACHE)
if(KRW_BUILD_OPENIMAGEIO STREQUAL "AUTO")
    pkg_check_modules(openimageio QUIET IMPORTED_TARGET OpenImageIO>=2.4)
elseif(KRW_BUILD_OPENIMAGEIO)
    pkg_check_modules(openimageio REQUIRED IMPORTED_TARGET OpenImageIO>=2.4)
endif()
if(KRW_BUILD_OPENIMAGEIO AND openimageio_FOUND)
    set(KRW_HAS_OPENIMAGEIO ON)
endif()
