# Debian packages: `cmake --preset package && cmake --build --preset package && cpack --preset package` makes three of
# them in build/package/deb: the library, its development files, the tool. script/packages does that and tries them.
#
# MAVR_DEBIAN lays out what is installed as the distribution wants it; packaging/debian/ has the texts.
if(NOT MAVR_DEBIAN)
  return()
endif()

set(debian "${PROJECT_SOURCE_DIR}/packaging/debian")
set(made "${PROJECT_BINARY_DIR}/debian")
# Source name, version and date of the packages are those of the newest entry of the Debian changelog.
file(READ "${debian}/changelog" changelog)
if(NOT changelog MATCHES "^mavr \\(${PROJECT_VERSION}-([0-9]+)\\) ")
  message(FATAL_ERROR "packaging/debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()
set(release "${CMAKE_MATCH_1}")
string(REGEX MATCH "\n -- ([^\n]*>)  ([^\n]*)" trailer "${changelog}")
set(maintainer "${CMAKE_MATCH_1}")
execute_process(COMMAND date -u -d "${CMAKE_MATCH_2}" +%s OUTPUT_VARIABLE MAVR_RELEASE_EPOCH
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${debian}/changelog")

# mavr_gzip(FROM TO): compressed as the distribution wants it, without name and time of the file.
function(mavr_gzip from to)
  cmake_path(GET to PARENT_PATH folder)
  file(MAKE_DIRECTORY "${folder}")
  execute_process(COMMAND gzip -9nc "${from}" OUTPUT_FILE "${to}" COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${from}")
endfunction()

# mavr_debian_package(COMPONENT NAME SECTION DESCRIPTION)
function(mavr_debian_package component name section description)
  string(TOUPPER "${component}" upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME "${name}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION "${section}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SOURCE "mavr" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}" PARENT_SCOPE)
  set(texts "${CMAKE_INSTALL_DATADIR}/doc/${name}")
  install(FILES "${debian}/copyright" "${made}/changelog.gz" "${made}/changelog.Debian.gz"
          DESTINATION "${texts}" COMPONENT ${component})
  if(EXISTS "${debian}/${name}.lintian-overrides")
    install(FILES "${debian}/${name}.lintian-overrides" DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides"
            RENAME "${name}" COMPONENT ${component})
  endif()
endfunction()

mavr_gzip("${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${made}/changelog.gz")
mavr_gzip("${debian}/changelog" "${made}/changelog.Debian.gz")

mavr_debian_package(runtime libmavrclilib2 libs
"camera and microphone redirection for a remote desktop client - library
The user's side of a remote desktop session: which cameras and microphones
there are, which of them the user wants in the session, and what policy
allows. A remote desktop client loads this library, which has ten C functions.
Devices come from PipeWire.")
mavr_debian_package(development libmavrclilib-dev libdevel
"camera and microphone redirection for a remote desktop client - development
The user's side of a remote desktop session: which cameras and microphones
there are, which of them the user wants in the session, and what policy
allows.
.
This package has the C header, a CMake package, a pkg-config file and example
programs.")
mavr_debian_package(tool mavr utils
"camera and microphone redirection for a remote desktop client - tool
Lists cameras and microphones as a remote desktop session would get them,
stores which of them the user prefers, finds out why one does not show, records
from them, and shows the whole way over virtual channels on one machine.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "pipewire")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${made}/control/symbols;${made}/control/shlibs;${made}/control/triggers")
foreach(file symbols shlibs triggers)
  configure_file("${debian}/libmavrclilib2.${file}" "${made}/control/${file}" COPYONLY)
endforeach()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libmavrclilib2 (= ${PROJECT_VERSION}-${release})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake, pkg-config")
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS "pipewire")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME mavr)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_DEBIAN_PACKAGE_RELEASE "${release}")
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_COMPONENTS_ALL runtime development tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
# Every file in a package has the time of the changelog's entry: the same commit gives the same packages.
# The project's summary would stand above each package's own.
file(WRITE "${made}/config.cmake"
  "set(ENV{SOURCE_DATE_EPOCH} ${MAVR_RELEASE_EPOCH})\nset(CPACK_PACKAGE_DESCRIPTION_SUMMARY \"\")\n")
set(CPACK_PROJECT_CONFIG_FILE "${made}/config.cmake")
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/MavrFinishPackages.cmake")
include(CPack)
