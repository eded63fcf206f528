# Run by cpack behind its own work. Gives each package what CPack of CMake 3.25 cannot, the field Multi-Arch, and takes
# away what it adds, scripts that call ldconfig: the trigger does that. Folders get the mode of a system's folders, not
# what the umask of who packs leaves. dpkg-deb then builds the package anew.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  cmake_path(GET package PARENT_PATH folder)
  set(tree "${folder}/tree")
  file(REMOVE_RECURSE "${tree}")
  execute_process(COMMAND dpkg-deb --raw-extract "${package}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE "${tree}/DEBIAN/postinst" "${tree}/DEBIAN/postrm")
  execute_process(COMMAND find "${tree}" -type d -exec chmod 0755 {} + COMMAND_ERROR_IS_FATAL ANY)
  set(multiarch same)
  if(package MATCHES "/mavr_[^/]*$")
    set(multiarch foreign)
  endif()
  file(READ "${tree}/DEBIAN/control" control)
  string(REGEX REPLACE "\nPriority: " "\nMulti-Arch: ${multiarch}\nPriority: " control "${control}")
  file(WRITE "${tree}/DEBIAN/control" "${control}")
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build "${tree}" "${package}"
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE "${tree}")
endforeach()
