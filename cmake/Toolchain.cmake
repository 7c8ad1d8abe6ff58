# Language, warnings, sanitizers, caches: what every target of the tree is built with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Wundef -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A unique symbol would pin a module in memory after it is closed, and a reload would keep the old code.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()
add_compile_definitions(_FILE_OFFSET_BITS=64)

if(QVLIBS_SANITIZE)
  add_compile_options(-fsanitize=${QVLIBS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  # The checks hide the ranges of values from the warnings about too small buffers.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation> $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=${QVLIBS_SANITIZE})
else()
  add_link_options(-Wl,--no-undefined)
endif()
if(QVLIBS_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
