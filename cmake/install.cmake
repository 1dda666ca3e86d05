# cmake --install: headers, the library with its links, qvovc.pc and the CMake package qvovc::qvovc.
include(CMakePackageConfigHelpers)

install(TARGETS qvovc EXPORT qvovc LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(CODE "
    set(dir \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\")
    foreach(link libqvovc.so.4 libqvovc.so)
        file(CREATE_LINK libqvovcpx.so \"\${dir}/\${link}\" SYMBOLIC)
    endforeach()")
install(FILES include/qvovc.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/qvovc DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN *.h)

configure_file(cmake/qvovc.pc.in qvovc.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qvovc.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qvovc)
install(EXPORT qvovc NAMESPACE qvovc:: FILE qvovcTargets.cmake DESTINATION ${package_dir})
configure_package_config_file(cmake/qvovcConfig.cmake.in qvovcConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(qvovcConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qvovcConfig.cmake ${PROJECT_BINARY_DIR}/qvovcConfigVersion.cmake
    DESTINATION ${package_dir})
