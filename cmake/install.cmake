# Installation: headers, both libraries, the CMake package `zeft` and the pkg-config module `zeft`.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeft)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
install(TARGETS zeft_shared zeft_static EXPORT zeftTargets)
install(EXPORT zeftTargets NAMESPACE zeft:: DESTINATION ${package_dir})

configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/zeftConfig.cmake.in ${PROJECT_BINARY_DIR}/zeftConfig.cmake
    INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/zeftConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zeftConfig.cmake ${PROJECT_BINARY_DIR}/zeftConfigVersion.cmake
        DESTINATION ${package_dir})

# The module finds its prefix from where it lies, so that an installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_prefix /${pkgconfig_dir} /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/zeft.pc.in ${PROJECT_BINARY_DIR}/zeft.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zeft.pc DESTINATION ${pkgconfig_dir})
