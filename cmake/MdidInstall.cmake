# What a host needs to build against an installed tree: find_package(Mdid), or pkg-config's mdid.

include(CMakePackageConfigHelpers)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Mdid)
install(EXPORT MdidTargets NAMESPACE Mdid:: DESTINATION ${config_dir})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/MdidConfig.cmake.in ${CMAKE_BINARY_DIR}/MdidConfig.cmake
  INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/MdidConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/MdidConfig.cmake ${CMAKE_BINARY_DIR}/MdidConfigVersion.cmake
  DESTINATION ${config_dir})

# Relative to the file itself, so that the tree may be installed anywhere, and moved.
file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/mdid.pc.in ${CMAKE_BINARY_DIR}/mdid.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/mdid.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
