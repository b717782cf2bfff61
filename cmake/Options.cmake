# Flags for every target of the project, in one interface library.

add_library(fog_options INTERFACE)
configure_file(${PROJECT_SOURCE_DIR}/frame/contract/Version.h.in
               ${PROJECT_BINARY_DIR}/generated/frame/contract/Version.h @ONLY)
target_include_directories(fog_options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)
# Contraction is off so that the module's levels agree; kernels that may contract enable it themselves.
# No code reads errno or the exception flags of arithmetic; without them selections vectorise.
target_compile_options(fog_options INTERFACE -Wall -Wextra -Wno-missing-field-initializers
                                             -ffp-contract=off -fno-math-errno -fno-trapping-math)
target_link_libraries(fog_options INTERFACE OpenMP::OpenMP_CXX)
if(FOG_WERROR)
  target_compile_options(fog_options INTERFACE -Werror)
endif()
if(FOG_SANITIZE)
  target_compile_definitions(fog_options INTERFACE FOG_SANITIZED)
  # Without the checks of undefined behaviour, the tests' own code compiles in two thirds of the time.
  set(in_tests $<PATH:IS_PREFIX,${PROJECT_SOURCE_DIR}/tests,$<TARGET_PROPERTY:SOURCE_DIR>>)
  target_compile_options(fog_options INTERFACE -fsanitize=${FOG_SANITIZE} -fno-sanitize-recover=all
                                               $<${in_tests}:-fno-sanitize=undefined>
                                               -fno-omit-frame-pointer)
  target_link_options(fog_options INTERFACE -fsanitize=${FOG_SANITIZE})
endif()
