# What `cmake --install` lays down: the library (static, and shared beside it with
# BUILD_SHARED_LIBS), its public headers, the zsff tool, a CMake package
# (find_package(zsff CONFIG)) and pkg-config's zsff.pc; and CPack's .deb of it all.
# RapidJSON, libpng and libssh stay private: no installed header names them.
include(CMakePackageConfigHelpers)

set(ZSFF_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zsff)
set(ZSFF_WITH_SFTP ${libssh_FOUND})
set(ZSFF_WITH_CEPH ${ZSFF_CEPH})

# The headers, except those of the stores that aren't built.
set(excluded_headers "")
if(NOT ZSFF_WITH_SFTP)
  list(APPEND excluded_headers PATTERN SftpFileAccess.h EXCLUDE)
endif()
if(NOT ZSFF_WITH_CEPH)
  list(APPEND excluded_headers PATTERN CephFileAccess.h EXCLUDE)
endif()
install(DIRECTORY include/zsff DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${excluded_headers})
install(FILES ${PROJECT_BINARY_DIR}/include/zsff/Version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zsff)

# zsff::ZentrelSignalFlatFormat is the shared library when there is one; the
# static one is then the package's "static" component.
if(TARGET ZentrelSignalFlatFormat_shared)
  set(ZSFF_SHARED ON)
  set_target_properties(ZentrelSignalFlatFormat_shared PROPERTIES EXPORT_NAME ZentrelSignalFlatFormat)
  set_target_properties(ZentrelSignalFlatFormat PROPERTIES EXPORT_NAME ZentrelSignalFlatFormat_static)
  install(TARGETS ZentrelSignalFlatFormat_shared EXPORT zsffTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(TARGETS ZentrelSignalFlatFormat EXPORT zsffStaticTargets
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(EXPORT zsffStaticTargets NAMESPACE zsff:: DESTINATION ${ZSFF_CMAKE_DIR})
else()
  set(ZSFF_SHARED OFF)
  install(TARGETS ZentrelSignalFlatFormat EXPORT zsffTargets
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(EXPORT zsffTargets NAMESPACE zsff:: DESTINATION ${ZSFF_CMAKE_DIR})

configure_package_config_file(cmake/zsffConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zsffConfig.cmake INSTALL_DESTINATION ${ZSFF_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zsffConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zsffConfig.cmake ${PROJECT_BINARY_DIR}/zsffConfigVersion.cmake
        DESTINATION ${ZSFF_CMAKE_DIR})

# zsff.pc names the prefix the files are installed under, known only at install
# time (cmake --install --prefix, or CPack's /usr).
set(pc_cflags "")
set(pc_private "")
if(ZSFF_WITH_SFTP)
  string(APPEND pc_cflags " -DZSFF_HAS_SFTP")
  string(APPEND pc_private " -lssh")
endif()
if(ZSFF_WITH_CEPH)
  string(APPEND pc_cflags " -DZSFF_HAS_CEPH")
  string(APPEND pc_private " -lcephfs")
endif()
string(APPEND pc_private " -pthread")
if(ZSFF_SHARED)
  set(pc_libs "")
  set(pc_libs_private "Libs.private:${pc_private}")
else()
  set(pc_libs "${pc_private}")
  set(pc_libs_private "")
endif()
set(prefix "@prefix@")  # filled in at install time, below
configure_file(cmake/zsff.pc.in ${PROJECT_BINARY_DIR}/zsff.pc.in @ONLY)
install(CODE "
  set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/zsff.pc.in\" \"${PROJECT_BINARY_DIR}/zsff.pc\" @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/zsff.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET zsff)
  install(TARGETS zsff RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# One .deb with the library, its headers and the tool; dpkg-shlibdeps declares
# the run-time packages. Linking the static library needs the -dev packages of
# the stores' libraries as well.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zsff)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "long multi-channel time signals on disk: library, headers and the zsff tool")
set(CPACK_PACKAGE_CONTACT "zsff developers <zsff-dev@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_STRIP_FILES ON)
set(suggests "")
if(ZSFF_WITH_SFTP)
  list(APPEND suggests libssh-dev)
endif()
if(ZSFF_WITH_CEPH)
  list(APPEND suggests libcephfs-dev)
endif()
string(REPLACE ";" ", " CPACK_DEBIAN_PACKAGE_SUGGESTS "${suggests}")
include(CPack)
