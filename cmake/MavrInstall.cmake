# What `cmake --install` lays out: library, header, tool, CMake package, pkg-config file, man page, completions.
# Everything is found relative to the installed files, so the prefix may be moved afterwards.
include(CMakePackageConfigHelpers)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/mavrCliLib")

# The documented places are P/lib, P/bin and P/include; a distribution that wants lib/<triplet> says so itself.
install(TARGETS mavrCliLib EXPORT mavrCliLibTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES "${PROJECT_SOURCE_DIR}/include/mmdr/mmdr.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/mmdr" COMPONENT development)
install(EXPORT mavrCliLibTargets NAMESPACE mavrCliLib:: DESTINATION "${package_folder}" COMPONENT development)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/mavrCliLibConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/mavrCliLibConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/mavrCliLibConfig.cmake" INSTALL_DESTINATION "${package_folder}")
install(FILES "${PROJECT_BINARY_DIR}/mavrCliLibConfig.cmake" "${PROJECT_BINARY_DIR}/mavrCliLibConfigVersion.cmake"
  DESTINATION "${package_folder}" COMPONENT development)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig"
           OUTPUT_VARIABLE MAVR_PC_PREFIX)
configure_file("${PROJECT_SOURCE_DIR}/cmake/mavrCliLib.pc.in" "${PROJECT_BINARY_DIR}/mavrCliLib.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/mavrCliLib.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

install(TARGETS mavr RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tool)
set(man_page "${PROJECT_SOURCE_DIR}/tools/mavr/mavr.1")
set(zsh_folder "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
if(MAVR_DEBIAN)
  set(man_page "${PROJECT_BINARY_DIR}/debian/mavr.1.gz")
  mavr_gzip("${PROJECT_SOURCE_DIR}/tools/mavr/mavr.1" "${man_page}")
  set(zsh_folder "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/libmavrclilib-dev" COMPONENT development)
endif()
install(FILES "${man_page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tool)
install(FILES "${PROJECT_SOURCE_DIR}/tools/mavr/completion/mavr.bash"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME mavr COMPONENT tool)
install(FILES "${PROJECT_SOURCE_DIR}/tools/mavr/completion/_mavr" DESTINATION "${zsh_folder}" COMPONENT tool)
