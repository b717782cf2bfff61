# The plug-in module, built once for each x86-64 level from the same sources.
#
# fog_module_sources(file...)       sources built for each level: the core and everything numeric
# fog_module_ui_sources(file...)    sources built once, for any x86-64: dialogs, tables, strings
# fog_build_modules()               fog_core_<level> (objects, for the module and for tests),
#                                   fogdissolver-<level>.so

define_property(GLOBAL PROPERTY FOG_MODULE_SOURCES)
define_property(GLOBAL PROPERTY FOG_MODULE_UI_SOURCES)

function(fog_module_sources)
  foreach(file ${ARGN})
    set_property(GLOBAL APPEND PROPERTY FOG_MODULE_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  endforeach()
endfunction()

function(fog_module_ui_sources)
  foreach(file ${ARGN})
    set_property(GLOBAL APPEND PROPERTY FOG_MODULE_UI_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  endforeach()
endfunction()

function(fog_build_modules)
  get_property(sources GLOBAL PROPERTY FOG_MODULE_SOURCES)
  get_property(ui_sources GLOBAL PROPERTY FOG_MODULE_UI_SOURCES)
  find_library(AMD_LIBRARY amd REQUIRED)
  find_path(AMD_INCLUDE amd.h PATH_SUFFIXES suitesparse REQUIRED)

  add_library(fog_ui OBJECT ${ui_sources})
  target_link_libraries(fog_ui PUBLIC fog_options Qt6::Core Qt6::Gui Qt6::Widgets)
  target_compile_options(fog_ui PRIVATE -march=x86-64-v2)

  foreach(level ${FOG_LEVELS})
    add_library(fog_core_${level} OBJECT ${sources})
    target_link_libraries(fog_core_${level} PUBLIC fog_options Qt6::Core Eigen3::Eigen
                                                   ${AMD_LIBRARY} ${CMAKE_DL_LIBS})
    target_include_directories(fog_core_${level} PRIVATE ${AMD_INCLUDE})
    target_compile_options(fog_core_${level} PRIVATE -march=x86-64-${level})
    if(level STREQUAL v4)
      # GCC 12 takes the undefined operands of its own AVX-512 intrinsics for uninitialised ones.
      target_compile_options(fog_core_${level} PRIVATE -Wno-maybe-uninitialized)
    endif()

    add_library(fogdissolver-${level} MODULE)
    target_link_libraries(fogdissolver-${level} PRIVATE fog_core_${level} fog_ui)
    set(map ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    # The other linkers do not take a version whose name is a number.
    target_link_options(fogdissolver-${level} PRIVATE -fuse-ld=gold -Wl,--version-script=${map})
    set_target_properties(fogdissolver-${level} PROPERTIES
      PREFIX "" LINK_DEPENDS ${map}
      LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/plugin)
    if(NOT FOG_SANITIZE)
      target_link_options(fogdissolver-${level} PRIVATE -Wl,--no-undefined)
    endif()
  endforeach()
endfunction()
