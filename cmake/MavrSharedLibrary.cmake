# The product: the objects of mavr_core whole, with everything hidden but the ten functions.
add_library(mavrCliLib SHARED $<TARGET_OBJECTS:mavr_core>)
add_library(mavrCliLib::mavrCliLib ALIAS mavrCliLib)
target_link_libraries(mavrCliLib PRIVATE $<TARGET_PROPERTY:mavr_core,LINK_LIBRARIES>)
target_include_directories(mavrCliLib INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
set_target_properties(mavrCliLib PROPERTIES LINKER_LANGUAGE CXX)

set(interface_list "${PROJECT_SOURCE_DIR}/cmake/mavrCliLib.map")
if(APPLE)
  set(interface_list "${PROJECT_SOURCE_DIR}/cmake/mavrCliLib.exports")
  # The install name is the bare word, whatever the file is called: CMake's own would end in .dylib.
  set_target_properties(mavrCliLib PROPERTIES NO_SONAME ON)
  target_link_options(mavrCliLib PRIVATE
    "-Wl,-exported_symbols_list,${interface_list}" "-Wl,-install_name,libmavrCliLib" -Wl,-dead_strip)
else()
  set_target_properties(mavrCliLib PROPERTIES VERSION "${PROJECT_VERSION}" SOVERSION "${PROJECT_VERSION_MAJOR}")
  target_link_options(mavrCliLib PRIVATE "-Wl,--version-script=${interface_list}" -Wl,--gc-sections)
  if(NOT MAVR_SANITIZE)
    target_link_options(mavrCliLib PRIVATE -Wl,-z,defs)
  endif()
endif()
set_property(TARGET mavrCliLib PROPERTY LINK_DEPENDS "${interface_list}")
