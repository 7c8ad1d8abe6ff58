# The few shapes of target that the tree has. Every folder lists its own files by name.

# qv_sources(FILE...): sources of the library, given in the folder that holds them.
function(qv_sources)
  target_sources(qvlibs_objects PRIVATE ${ARGN})
endfunction()

# qv_headers(FILE...): public headers; installed, and each one compiled alone.
function(qv_headers)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(qvlibs PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
endfunction()

# qv_module(TARGET FILE-NAME SOURCE...): a module beside the library, e.g. qv_module(dv_vcp dv.vcp DvPlugin.cpp).
# Modules see the public headers and resolve the library's exported functions when they are loaded. The folder's
# QV_PACKAGE names the Debian package they come in (cmake/Package.cmake); without it, the library's own.
set(QV_PACKAGE library)
function(qv_module target file)
  add_library(${target} MODULE ${ARGN})
  get_filename_component(stem ${file} NAME_WLE)
  get_filename_component(suffix ${file} LAST_EXT)
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${stem} SUFFIX ${suffix}
    LIBRARY_OUTPUT_DIRECTORY ${QVLIBS_LIBRARY_DIR} BUILD_RPATH_USE_ORIGIN ON INSTALL_RPATH "$ORIGIN")
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE qvlibs)
  install(TARGETS ${target} LIBRARY DESTINATION ${QVLIBS_INSTALL_LIBRARY_DIR} COMPONENT ${QV_PACKAGE})
  set_property(GLOBAL PROPERTY QV_HAS_MODULES_${QV_PACKAGE} ON)
endfunction()

# qv_test(NAME [INTERNAL] SOURCES FILE... [LIBS LIB...] [DEPENDS TARGET...])
# A GoogleTest program of one folder. INTERNAL links the library's objects instead of the shared library, so that
# functions which are not exported can be tested; such a program has no load and unload, and no modules.
function(qv_test name)
  cmake_parse_arguments(arg "INTERNAL" "" "SOURCES;LIBS;DEPENDS" ${ARGN})
  foreach(source ${arg_SOURCES})
    get_filename_component(full ${source} ABSOLUTE)
    set_property(GLOBAL APPEND PROPERTY QV_BUILT_TESTS ${full})
  endforeach()
  if(NOT QVLIBS_TESTS)
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  if(arg_INTERNAL)
    target_link_libraries(${name} PRIVATE qvlibs_test_support qvlibs_internal ${arg_LIBS})
  else()
    target_link_libraries(${name} PRIVATE qvlibs_test_support qvlibs ${arg_LIBS})
  endif()
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()
  include(GoogleTest)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 ENVIRONMENT "QVLIBS_BUILD_DIR=${CMAKE_BINARY_DIR}")
endfunction()

# qv_fuzz(NAME SOURCE [SHARED] [CORPUS FOLDER...] [LIBS LIB...]): one byte format. Built for libFuzzer with QVLIBS_FUZZ;
# otherwise it links a plain main that runs the saved inputs of tests/fuzz/corpus/NAME (or the folders named), their
# prefixes and mutations as one test. SHARED links the shared library, which has its modules.
function(qv_fuzz name source)
  cmake_parse_arguments(arg "SHARED" "" "CORPUS;LIBS" ${ARGN})
  if(NOT arg_CORPUS)
    set(arg_CORPUS ${name})
  endif()
  list(TRANSFORM arg_CORPUS PREPEND ${PROJECT_SOURCE_DIR}/tests/fuzz/corpus/)
  if(QVLIBS_FUZZ)
    add_executable(${name} ${source})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    add_executable(${name} ${source} ${PROJECT_SOURCE_DIR}/tests/support/FuzzMain.cpp)
    add_test(NAME fuzz.${name} COMMAND ${name} ${arg_CORPUS})
    set_tests_properties(fuzz.${name} PROPERTIES TIMEOUT 300)
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE $<IF:$<BOOL:${arg_SHARED}>,qvlibs,qvlibs_internal> ${arg_LIBS})
endfunction()

# A test file that no target builds would rot unseen.
function(qv_every_test_is_built)
  file(GLOB_RECURSE present ${PROJECT_SOURCE_DIR}/qvlibs/*_test.cpp ${PROJECT_SOURCE_DIR}/codecs/*_test.cpp
    ${PROJECT_SOURCE_DIR}/tools/*_test.cpp ${PROJECT_SOURCE_DIR}/tests/*_test.cpp)
  get_property(built GLOBAL PROPERTY QV_BUILT_TESTS)
  foreach(file ${present})
    if(NOT file IN_LIST built)
      message(FATAL_ERROR "${file} is in no test target")
    endif()
  endforeach()
endfunction()
