# Installation: the library with its soname, the header, a pkg-config file,
# a CMake package (find_package(qxmatte) -> qxmatte::qxmatte), the tool and
# its man page. Any prefix; DESTDIR is honoured.
include(CMakePackageConfigHelpers)

set(QX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qxmatte)

# Installed programs find the library next to them, wherever the prefix is.
file(RELATIVE_PATH QX_BIN_TO_LIB /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(qxmatte_cli PROPERTIES INSTALL_RPATH "$ORIGIN/${QX_BIN_TO_LIB}")

install(TARGETS qxmatte EXPORT qxmatteTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qxmatte_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS qxmatte_codecs LIBRARY DESTINATION ${QX_CODECS_DIR})
install(FILES ${CMAKE_SOURCE_DIR}/man/qxmatte.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

install(EXPORT qxmatteTargets NAMESPACE qxmatte:: DESTINATION ${QX_CMAKE_DIR})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/qxmatteConfig.cmake.in
  ${CMAKE_BINARY_DIR}/qxmatteConfig.cmake INSTALL_DESTINATION ${QX_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qxmatteConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qxmatteConfig.cmake ${CMAKE_BINARY_DIR}/qxmatteConfigVersion.cmake
  DESTINATION ${QX_CMAKE_DIR})

# The .pc names absolute directories. Everything but the prefix is filled in
# now; the prefix at install time, when the one given to
# `cmake --install --prefix` is known.
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(QX_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(QX_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
set(QX_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
configure_file(${CMAKE_SOURCE_DIR}/cmake/qxmatte.pc.in ${CMAKE_BINARY_DIR}/qxmatte.pc.prefix @ONLY)
install(CODE "configure_file(\"${CMAKE_BINARY_DIR}/qxmatte.pc.prefix\" \"${CMAKE_BINARY_DIR}/qxmatte.pc\" @ONLY)")
install(FILES ${CMAKE_BINARY_DIR}/qxmatte.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
