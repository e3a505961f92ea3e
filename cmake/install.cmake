# What `cmake --install` puts under the prefix: the shared library with its
# SONAME links, the public headers, nlsconv, a pkg-config file and a CMake
# package (nlscnv::nlscnv).
include(CMakePackageConfigHelpers)

set(NLS_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/nlscnv)

install(TARGETS nlscnv EXPORT nlscnvTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/nlscnv.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
file(GLOB _nls_public_headers ${PROJECT_SOURCE_DIR}/include/nlscnv/*.h)
install(FILES ${_nls_public_headers}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nlscnv)
install(TARGETS nlsconv_installed RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The data directory share/nlscnv/conv30 with the registry files and the
# converter libraries is installed by libs/CMakeLists.txt.

install(EXPORT nlscnvTargets NAMESPACE nlscnv:: DESTINATION ${NLS_CMAKE_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/nlscnvConfig.cmake.in
  ${CMAKE_BINARY_DIR}/nlscnvConfig.cmake
  INSTALL_DESTINATION ${NLS_CMAKE_PACKAGE_DIR}
  PATH_VARS CMAKE_INSTALL_DATADIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/nlscnvConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/nlscnvConfig.cmake ${CMAKE_BINARY_DIR}/nlscnvConfigVersion.cmake
  DESTINATION ${NLS_CMAKE_PACKAGE_DIR})

# The pkg-config file finds the prefix relative to itself, so it stays right
# for `cmake --install --prefix` and for moved installations.
file(RELATIVE_PATH _up /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
set(NLS_PC_PREFIX "\${pcfiledir}/${_up}")
foreach(_dir LIBDIR INCLUDEDIR DATADIR)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${_dir}})
    set(NLS_PC_${_dir} ${CMAKE_INSTALL_${_dir}})
  else()
    set(NLS_PC_${_dir} "\${prefix}/${CMAKE_INSTALL_${_dir}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/nlscnv.pc.in ${CMAKE_BINARY_DIR}/nlscnv.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/nlscnv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
