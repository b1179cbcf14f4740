# qxmatte-gimp, the GIMP 2.10 plug-in: built when GIMP's development files
# are present. It links the shared library and the host layer like any host,
# and installs into GIMP's plug-in folder under the prefix, in a folder of
# its own, finding the library through a relative run path (an installed
# tree moved as a whole) and the installed library's absolute folder (a copy
# in a user's GIMP profile).
find_package(PkgConfig)
if(PkgConfig_FOUND)
  pkg_check_modules(GIMP IMPORTED_TARGET gimpui-2.0 gegl-0.4)
endif()
if(NOT GIMP_FOUND)
  message(STATUS "GIMP 2.10 development files not found: the plug-in is not built (install libgimp2.0-dev)")
  return()
endif()

# Refine Selection Edge calls qxKeepCutToAlpha: the plug-in is built once the
# library has that export (each export lives in a file named after it).
if(NOT EXISTS ${CMAKE_SOURCE_DIR}/selection/qxKeepCutToAlpha.cpp)
  message(STATUS "The library has no qxKeepCutToAlpha yet: the GIMP plug-in is not built")
  return()
endif()

file(GLOB GIMP_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/gimp/*.cpp)
add_executable(qxmatte-gimp ${GIMP_SOURCES})
target_include_directories(qxmatte-gimp PRIVATE ${CMAKE_SOURCE_DIR}/gimp)
# The GTK 2 headers warn under C++ about string constants and deprecations.
target_compile_options(qxmatte-gimp PRIVATE -Wno-write-strings -Wno-deprecated-declarations)
target_link_libraries(qxmatte-gimp PRIVATE qxmatte_host qxmatte PkgConfig::GIMP)

# Debian's GIMP looks in /usr/lib/gimp/2.0/plug-ins: the same path under the
# prefix, taken from gimp-2.0.pc.
pkg_get_variable(GIMP_LIBDIR gimp-2.0 gimplibdir)
pkg_get_variable(GIMP_PREFIX gimp-2.0 prefix)
file(RELATIVE_PATH QX_GIMP_LIBDIR ${GIMP_PREFIX} ${GIMP_LIBDIR})
set(QX_GIMP_PLUGINDIR ${QX_GIMP_LIBDIR}/plug-ins/qxmatte-gimp CACHE STRING
  "Where the plug-in is installed, under the prefix")
file(RELATIVE_PATH QX_GIMP_TO_LIB /${QX_GIMP_PLUGINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(qxmatte-gimp PROPERTIES INSTALL_RPATH "$ORIGIN/${QX_GIMP_TO_LIB};${CMAKE_INSTALL_FULL_LIBDIR}")
install(TARGETS qxmatte-gimp RUNTIME DESTINATION ${QX_GIMP_PLUGINDIR})

# GIMP searches only its own plug-in folder and the user's profile, never
# /usr/local. Installed to the configured prefix when that is not GIMP's,
# the plug-in's folder is linked into GIMP's own (DESTDIR honoured); a staged
# install with another --prefix is left alone.
option(QX_GIMP_LINK_SYSTEM "Link the plug-in into GIMP's own plug-in folder when installed elsewhere" ON)
if(QX_GIMP_LINK_SYSTEM AND NOT CMAKE_INSTALL_PREFIX STREQUAL GIMP_PREFIX)
  install(CODE "
    if(CMAKE_INSTALL_PREFIX STREQUAL \"${CMAKE_INSTALL_PREFIX}\")
      set(qx_gimp_dir \"${GIMP_LIBDIR}/plug-ins\")
      file(RELATIVE_PATH qx_target \"\${qx_gimp_dir}\" \"\${CMAKE_INSTALL_PREFIX}/${QX_GIMP_PLUGINDIR}\")
      file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${qx_gimp_dir}\")
      set(qx_link \"\$ENV{DESTDIR}\${qx_gimp_dir}/qxmatte-gimp\")
      if(IS_DIRECTORY \"\${qx_link}\" AND NOT IS_SYMLINK \"\${qx_link}\")
        message(STATUS \"Not linking: \${qx_link} holds another copy of the plug-in\")
        return()
      endif()
      file(REMOVE \"\${qx_link}\")
      message(STATUS \"Linking: \${qx_link} -> \${qx_target}\")
      file(CREATE_LINK \"\${qx_target}\" \"\${qx_link}\" SYMBOLIC)
      list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${qx_gimp_dir}/qxmatte-gimp\")
    endif()")
endif()

# Headless test: GIMP drives the plug-in through Script-Fu in a private
# profile. (Release builds only: GIMP loads the plug-in as a program of its own,
# and what it prints at exit under the sanitizers would be GIMP's.)
if(QX_BUILD_TESTS AND NOT QX_SANITIZE)
  add_executable(png_check ${CMAKE_SOURCE_DIR}/tests/gimp/png_check.cpp)
  target_include_directories(png_check SYSTEM PRIVATE ${OpenCV_INCLUDE_DIRS})
  target_link_libraries(png_check PRIVATE ${OpenCV_LIBS})
  add_test(NAME gimp.plugin_headless
    COMMAND bash ${CMAKE_SOURCE_DIR}/tests/gimp/plugin_test.sh $<TARGET_FILE:qxmatte-gimp>
      $<TARGET_FILE:qxmatte_cli> $<TARGET_FILE:png_check> ${CMAKE_SOURCE_DIR}/samples)
  set_tests_properties(gimp.plugin_headless PROPERTIES TIMEOUT 1800)
  # A plain install gives a plug-in GIMP finds and registers for RGB and grey.
  add_test(NAME gimp.default_install_found
    COMMAND bash ${CMAKE_SOURCE_DIR}/tests/gimp/install_found_test.sh ${CMAKE_BINARY_DIR})
  # Both install tests run cmake --install on this build folder.
  set_tests_properties(gimp.default_install_found PROPERTIES TIMEOUT 600 RESOURCE_LOCK qx_install)
endif()
