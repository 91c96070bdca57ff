# The layout the library derives its paths from, in the build tree and under the
# install prefix alike: the library in lib/, tools in bin/, plug-in modules in
# plugins/ and data files in data/, all beside each other. The library takes the
# directory above its own as its root, so a tool of either tree finds the plug-ins
# and data of that tree with nothing set in the environment. The library goes to lib/
# (never a multiarch subdirectory), so that root is the prefix itself.
include_guard(GLOBAL)

set(KORVANE_INSTALL_LIBDIR lib)
set(KORVANE_INSTALL_BINDIR bin)
set(KORVANE_INSTALL_PLUGINDIR plugins)
set(KORVANE_INSTALL_DATADIR data)
set(KORVANE_INSTALL_INCLUDEDIR include)
set(KORVANE_INSTALL_CMAKEDIR ${KORVANE_INSTALL_LIBDIR}/cmake/Korvane)

set(KORVANE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${KORVANE_INSTALL_LIBDIR})
set(KORVANE_TOOL_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${KORVANE_INSTALL_BINDIR})
set(KORVANE_PLUGIN_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${KORVANE_INSTALL_PLUGINDIR})
set(KORVANE_DATA_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${KORVANE_INSTALL_DATADIR})
file(MAKE_DIRECTORY ${KORVANE_PLUGIN_OUTPUT_DIRECTORY} ${KORVANE_DATA_OUTPUT_DIRECTORY})

include(${CMAKE_CURRENT_LIST_DIR}/KorvanePlugin.cmake)

# korvane_add_tool(NAME SOURCES source...): an executable that users run, written to
# the build tree's bin/ and installed into bin/, where it finds the library in ../lib.
function(korvane_add_tool name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE Korvane::Core)
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${KORVANE_TOOL_OUTPUT_DIRECTORY}
    INSTALL_RPATH "$ORIGIN/../${KORVANE_INSTALL_LIBDIR}")
  install(TARGETS ${name} RUNTIME DESTINATION ${KORVANE_INSTALL_BINDIR})
endfunction()

# korvane_add_data(FILES file... [DESTINATION subdir]): data files copied into the
# build tree's data/ (or its subdirectory subdir, such as "Cameras") at configure time
# and installed into the same place under data/.
function(korvane_add_data)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "DESTINATION" "FILES")
  set(subdir "")
  if(arg_DESTINATION)
    set(subdir "/${arg_DESTINATION}")
  endif()
  file(COPY ${arg_FILES} DESTINATION ${KORVANE_DATA_OUTPUT_DIRECTORY}${subdir})
  install(FILES ${arg_FILES} DESTINATION ${KORVANE_INSTALL_DATADIR}${subdir})
endfunction()
