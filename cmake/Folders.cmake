# The folders of the module as object libraries, and the links between them.
#
# fog_folder(NAME [ONCE] SOURCES file... [BELOW name...] [LIBRARIES library...])
#   Makes an object library fog_NAME_<level> for each x86-64 level, or with ONCE a single fog_NAME for any
#   x86-64 (dialogs, tables, strings). BELOW: the folders that it calls; LIBRARIES: what it links.
# fog_use(target level name...)
#   Links these folders, everything below them, and nothing else: a call upwards has no definition.
# fog_build_modules()
#   Makes the module of each level: fogdissolver-<level>.so.

function(fog_folder name)
  cmake_parse_arguments(PARSE_ARGV 1 folder "ONCE" "" "SOURCES;BELOW;LIBRARIES")
  set_property(GLOBAL PROPERTY FOG_BELOW_${name} "${folder_BELOW}")
  set_property(GLOBAL PROPERTY FOG_ONCE_${name} "${folder_ONCE}")
  set_property(GLOBAL PROPERTY FOG_LIBRARIES_${name} "${folder_LIBRARIES}")
  if(folder_ONCE)
    fog_objects(fog_${name} v2)
  else()
    foreach(level ${FOG_LEVELS})
      fog_objects(fog_${name}_${level} ${level})
    endforeach()
  endif()
endfunction()

macro(fog_objects target level)
  add_library(${target} OBJECT ${folder_SOURCES})
  target_link_libraries(${target} PUBLIC fog_options ${folder_LIBRARIES})
  target_compile_options(${target} PRIVATE -march=x86-64-${level})
  if("${level}" STREQUAL v4)
    # GCC 12 warns about the deliberately undefined operands in its own AVX-512 intrinsics.
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
endmacro()

# The named folders and all folders below them, once each.
function(fog_below result)
  set(open ${ARGN})
  set(all "")
  while(open)
    list(POP_FRONT open name)
    if(NOT name IN_LIST all)
      list(APPEND all ${name})
      get_property(below GLOBAL PROPERTY FOG_BELOW_${name})
      list(APPEND open ${below})
    endif()
  endwhile()
  set(${result} ${all} PARENT_SCOPE)
endfunction()

function(fog_use target level)
  fog_below(names ${ARGN})
  foreach(name ${names})
    get_property(once GLOBAL PROPERTY FOG_ONCE_${name})
    if(once)
      target_link_libraries(${target} PRIVATE fog_${name})
    else()
      target_link_libraries(${target} PRIVATE fog_${name}_${level})
    endif()
  endforeach()
endfunction()

# For code that only includes the folders' headers: their compile settings without their objects.
function(fog_use_headers target)
  fog_below(names ${ARGN})
  foreach(name ${names})
    get_property(libraries GLOBAL PROPERTY FOG_LIBRARIES_${name})
    target_link_libraries(${target} PRIVATE ${libraries})
  endforeach()
endfunction()

# The exported names have a number as their version; only the linkers gold and mold can write this.
function(fog_find_versioning_linker)
  foreach(linker gold mold)
    find_program(FOG_LINKER_${linker} ld.${linker})
    if(FOG_LINKER_${linker})
      set(FOG_LINKER ${linker} CACHE STRING "Linker of the module")
      return()
    endif()
  endforeach()
  message(FATAL_ERROR "The module needs the linker gold (Debian: binutils or binutils-gold) or mold "
                      "to write the names that it shows, _FogdissolverProc@16 among them.")
endfunction()

function(fog_build_modules)
  fog_find_versioning_linker()
  set(map ${PROJECT_BINARY_DIR}/exports.map)
  if(FOG_LINKER STREQUAL gold)
    set(FOG_VERSION_NODE "\"16\"")
  else()
    set(FOG_VERSION_NODE 16)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/exports.map.in ${map} @ONLY)

  foreach(level ${FOG_LEVELS})
    add_library(fogdissolver-${level} MODULE)
    fog_use(fogdissolver-${level} ${level} selectors ui-utility)
    target_link_options(fogdissolver-${level} PRIVATE -fuse-ld=${FOG_LINKER}
                                                      -Wl,--version-script=${map})
    set_target_properties(fogdissolver-${level} PROPERTIES
      PREFIX "" LINK_DEPENDS ${map}
      LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/plugin)
    if(NOT FOG_SANITIZE)
      target_link_options(fogdissolver-${level} PRIVATE -Wl,--no-undefined)
    endif()
  endforeach()
endfunction()
