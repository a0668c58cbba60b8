# Installation for hosts: the shared library, the public headers under include/vq_sonaCoreLib_cxx, a CMake
# package (find_package(vq_sonaCoreLib_cxx) then SonaCore::vq_sonaCoreLib_cxx) and a pkg-config file.
set(SONACORE_INCLUDE_SUBDIR ${CMAKE_INSTALL_INCLUDEDIR}/vq_sonaCoreLib_cxx)
set(SONACORE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vq_sonaCoreLib_cxx)

install(TARGETS vq_sonaCoreLib_cxx EXPORT SonaCoreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

get_property(public_headers GLOBAL PROPERTY SONACORE_PUBLIC_HEADERS)
foreach(header ${public_headers})
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${SONACORE_INCLUDE_SUBDIR}/${folder})
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/generated/sonacore/SonaCoreExport.h
    DESTINATION ${SONACORE_INCLUDE_SUBDIR}/sonacore)

install(EXPORT SonaCoreTargets NAMESPACE SonaCore:: DESTINATION ${SONACORE_CMAKE_DIR})
configure_package_config_file(cmake/vq_sonaCoreLib_cxxConfig.cmake.in
    ${PROJECT_BINARY_DIR}/vq_sonaCoreLib_cxxConfig.cmake
    INSTALL_DESTINATION ${SONACORE_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vq_sonaCoreLib_cxxConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vq_sonaCoreLib_cxxConfig.cmake
    ${PROJECT_BINARY_DIR}/vq_sonaCoreLib_cxxConfigVersion.cmake
    DESTINATION ${SONACORE_CMAKE_DIR})

# The pkg-config file finds its prefix from where it lies, so the installed tree may be moved or installed
# with --prefix.
file(RELATIVE_PATH SONACORE_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/vq_sonaCoreLib_cxx.pc.in ${PROJECT_BINARY_DIR}/vq_sonaCoreLib_cxx.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vq_sonaCoreLib_cxx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
