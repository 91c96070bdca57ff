# korvane_add_plugin(NAME SOURCES source...)
#
# Builds the plug-in module NAME.so from the sources: a MODULE library linked to
# Korvane::Core, compiled as C++17 with hidden visibility (the entry points that
# <korvane/plugins/PluginEntry.h> declares stay exported), named without the "lib"
# prefix, and installed into the plug-in directory, KORVANE_PLUGIN_INSTALL_DIR (default
# "plugins", relative to CMAKE_INSTALL_PREFIX: install into the core's prefix, or set it
# to KORVANE_PLUGIN_DIR, the installed core's own plug-in directory). Inside the core's
# build tree the module is written to ${CMAKE_BINARY_DIR}/plugins, where the library
# of that tree looks for its plug-ins.
include_guard(GLOBAL)

set(KORVANE_PLUGIN_INSTALL_DIR "plugins" CACHE STRING
  "Where korvane_add_plugin installs plug-in modules (relative to the install prefix)")

function(korvane_add_plugin name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES")
  if(NOT arg_SOURCES)
    message(FATAL_ERROR "korvane_add_plugin(${name}): no SOURCES given")
  endif()
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "korvane_add_plugin(${name}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  add_library(${name} MODULE ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE Korvane::Core)
  target_compile_features(${name} PRIVATE cxx_std_17)
  set_target_properties(${name} PROPERTIES
    PREFIX ""
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(DEFINED KORVANE_PLUGIN_OUTPUT_DIRECTORY)
    set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${KORVANE_PLUGIN_OUTPUT_DIRECTORY})
  endif()
  install(TARGETS ${name} LIBRARY DESTINATION ${KORVANE_PLUGIN_INSTALL_DIR})
endfunction()
