# Where `cmake --install` puts the library, its headers, and what other builds find it by. The tool
# and its pages install themselves.

include(CMakePackageConfigHelpers)

install(TARGETS localstorage EXPORT localstorage
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/localstorage
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

# find_package(localstorage) gives localstorage::localstorage.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/localstorage)
install(EXPORT localstorage NAMESPACE localstorage::
    FILE localstorage-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/localstorage-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/localstorage-config-version.cmake DESTINATION ${package_dir})

# pkg-config --cflags --libs localstorage. Its paths follow the file, so the tree may be moved.
file(RELATIVE_PATH prefix_from_pkgconfig
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/localstorage.pc.in localstorage.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/localstorage.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
