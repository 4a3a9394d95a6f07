# What `cmake --install` lays out under a prefix: the two shared libraries,
# their headers in one folder, tqlplay and tqlsim with the simulator's data,
# pkg-config files and a CMake package with the targets tqllib::tqllib and
# tqllib::host.
include(CMakePackageConfigHelpers)

set(TQL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tqllib)
set(TQL_EXPORTED tqllib)
if(TARGET tqlhost)
  list(APPEND TQL_EXPORTED tqlhost)
endif()

install(TARGETS ${TQL_EXPORTED} EXPORT tqllibTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/tqllib.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tqllib)
if(TARGET tqlhost)
  install(FILES ${PROJECT_SOURCE_DIR}/host/tqlhost.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tqllib)
endif()

# Installed programs and the port find the libraries beside or below them
# wherever the prefix ends up.
file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
if(TARGET tqlhost)
  set_target_properties(tqlhost PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
if(TARGET tqlplay)
  set_target_properties(tqlplay PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  install(TARGETS tqlplay RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# pkg-config files that find their prefix from their own place, so that an
# installed tree can be moved or unpacked anywhere.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(TQL_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
  set(TQL_PC_PREFIX "\${pcfiledir}/${pc_to_prefix}")
endif()
foreach(pc ${TQL_EXPORTED})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(EXPORT tqllibTargets NAMESPACE tqllib:: DESTINATION ${TQL_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tqllibConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tqllibConfig.cmake INSTALL_DESTINATION ${TQL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tqllibConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tqllibConfig.cmake ${PROJECT_BINARY_DIR}/tqllibConfigVersion.cmake
  DESTINATION ${TQL_CMAKE_DIR})
