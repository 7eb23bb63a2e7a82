# Installation: the shared library, its headers (flat, in one directory), the
# CMake package KVTSimPoolManager (imported target KVTSim::PoolManager) and the
# pkg-config file KVTSimPoolManager.pc.
#
# The static archive and the object library exist for the unit tests only and
# are not installed.

include(CMakePackageConfigHelpers)

set(KVTSIM_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/KVTSimPoolManager)
set(KVTSIM_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/KVTSimPoolManager)

# Callers include headers by bare name, so two headers of the same name in
# different directories would overwrite each other in the flat include directory.
set(kvtsim_header_names)
foreach(header IN LISTS KVTSIM_INSTALLED_HEADERS)
  get_filename_component(name ${header} NAME)
  if(name IN_LIST kvtsim_header_names)
    message(FATAL_ERROR "Two public headers are named ${name}; they cannot be installed flat")
  endif()
  list(APPEND kvtsim_header_names ${name})
endforeach()

# The versioned file, the SONAME link (Runtime) and the link-time name
# libZELKVTSimPoolManager.so (Development).
install(TARGETS ZELKVTSimPoolManager
        EXPORT KVTSimPoolManagerTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
                COMPONENT Runtime
                NAMELINK_COMPONENT Development)

install(FILES ${KVTSIM_INSTALLED_HEADERS}
        DESTINATION ${KVTSIM_INSTALL_INCLUDEDIR}
        COMPONENT Development)

install(EXPORT KVTSimPoolManagerTargets
        NAMESPACE KVTSim::
        FILE KVTSimPoolManagerTargets.cmake
        DESTINATION ${KVTSIM_INSTALL_CMAKEDIR}
        COMPONENT Development)

configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/KVTSimPoolManagerConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/KVTSimPoolManagerConfig.cmake
    INSTALL_DESTINATION ${KVTSIM_INSTALL_CMAKEDIR}
    PATH_VARS KVTSIM_INSTALL_INCLUDEDIR)

# Releases of one major version keep the library's interface and file format.
write_basic_package_version_file(
    ${CMAKE_CURRENT_BINARY_DIR}/KVTSimPoolManagerConfigVersion.cmake
    VERSION ${PROJECT_VERSION}
    COMPATIBILITY SameMajorVersion)

install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KVTSimPoolManagerConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KVTSimPoolManagerConfigVersion.cmake
        DESTINATION ${KVTSIM_INSTALL_CMAKEDIR}
        COMPONENT Development)

# The .pc file finds its prefix from its own location (${pcfiledir}), so that
# an installation moved elsewhere, or made with `cmake --install --prefix`,
# still gives the right paths. Absolute install directories are used as given.
set(KVTSIM_PC_LIBDIR_REL ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(KVTSIM_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(KVTSIM_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH kvtsim_pc_up /prefix/${KVTSIM_PC_LIBDIR_REL} /prefix)
  string(REGEX REPLACE "/$" "" kvtsim_pc_up "${kvtsim_pc_up}")
  set(KVTSIM_PC_PREFIX "\${pcfiledir}/${kvtsim_pc_up}")
  set(KVTSIM_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
  set(KVTSIM_PC_INCLUDEDIR ${KVTSIM_INSTALL_INCLUDEDIR})
else()
  set(KVTSIM_PC_INCLUDEDIR "\${prefix}/${KVTSIM_INSTALL_INCLUDEDIR}")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/KVTSimPoolManager.pc.in
               ${CMAKE_CURRENT_BINARY_DIR}/KVTSimPoolManager.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KVTSimPoolManager.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)
