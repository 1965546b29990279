# Installation: headers, both libraries and zeft_main, the CMake package `zeft`, the pkg-config modules
# `zeft` and `zeft-main`, the programs zeft-prompt and qkverilate, and the manual pages.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeft)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/harness/zeft_main.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS zeft_shared zeft_static zeft_main EXPORT zeftTargets)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/zeft-prompt DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT zeftTargets NAMESPACE zeft:: DESTINATION ${package_dir})

configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/zeftConfig.cmake.in ${PROJECT_BINARY_DIR}/zeftConfig.cmake
    INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/zeftConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zeftConfig.cmake ${PROJECT_BINARY_DIR}/zeftConfigVersion.cmake
        DESTINATION ${package_dir})
install(FILES ${PROJECT_SOURCE_DIR}/cmake/zeftValidation.cmake DESTINATION ${package_dir})

if(TARGET qkverilate)
    set(adapter_dir ${PROJECT_SOURCE_DIR}/adapters/verilator)
    install(TARGETS qkverilate)
    install(TARGETS zeft_verilator EXPORT zeftTargets)
    foreach(header qkvl qkvl_bridge qkvl_print)
        install(FILES ${adapter_dir}/runtime/${header}.h DESTINATION share/zeft/verilator)
    endforeach()
    install(FILES ${adapter_dir}/QkVerilate.cmake DESTINATION ${package_dir})
endif()

# The modules find their prefix from their own location, so that an installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_prefix /${pkgconfig_dir} /)
foreach(module zeft zeft-main)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${module}.pc.in ${PROJECT_BINARY_DIR}/${module}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${module}.pc DESTINATION ${pkgconfig_dir})
endforeach()

foreach(section 1 3 7)
    file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.${section})
    install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
