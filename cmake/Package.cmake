# Debian packages, one a component: "cpack" in a build tree, or scripts/package. The library brings DV and the sampling
# engines and depends on SQLite alone; each heavy codec library comes with the package of the modules that map it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qvlibs)
set(CPACK_PACKAGE_CONTACT "The QvLibs authors <qvlibs@localhost>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Modules find the library beside them by its own name: no other package's business, so no shlibs file for it.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${QVLIBS_LIBRARY_DIR})
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(library "libqvlibs${PROJECT_VERSION_MAJOR}")
set(CPACK_COMPONENTS_ALL library development program)

# qv_package(COMPONENT NAME SUMMARY MORE [DEPENDS ...] [RECOMMENDS ...] [SUGGESTS ...] [SECTION ...])
function(qv_package component name summary more)
  cmake_parse_arguments(arg "" "DEPENDS;RECOMMENDS;SUGGESTS;SECTION" "" ${ARGN})
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${summary}\n${more}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${arg_DEPENDS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_RECOMMENDS "${arg_RECOMMENDS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SUGGESTS "${arg_SUGGESTS}" PARENT_SCOPE)
  if(arg_SECTION)
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${arg_SECTION} PARENT_SCOPE)
  endif()
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} RENAME copyright
    COMPONENT ${component})
endfunction()

set(exact "${library} (= ${PROJECT_VERSION})")
set(modules qvlibs-pictures qvlibs-heif qvlibs-exif qvlibs-sounds qvlibs-titles qvlibs-ffmpeg)
string(JOIN ", " all_modules ${modules})
qv_package(library ${library} "home-video building blocks"
  "Timecodes, DV, bitmaps, compound files, settings, classification of media files, and the DV movies module."
  RECOMMENDS "${all_modules}" SECTION libs)
qv_package(development libqvlibs-dev "home-video building blocks (development files)"
  "Headers, which are the manual, the CMake package and the pkg-config file." DEPENDS "${exact}" SECTION libdevel)
qv_package(program qv "looks into tapes, movies, pictures and sounds"
  "Thumbnails, contact sheets, the log of a tape with its scenes, conversions, timecodes, settings."
  DEPENDS "${exact}" RECOMMENDS "${all_modules}")
# Modules: component, package, what it adds.
foreach(row
    "pictures|qvlibs-pictures|JPEG, PNG, TIFF, GIF and WebP pictures"
    "heif|qvlibs-heif|HEIF and AVIF pictures (libheif with its video coders)"
    "properties|qvlibs-exif|dates, orientation and maker's notes in pictures (Exiv2: GPL)"
    "sounds|qvlibs-sounds|WAV, AIFF, FLAC, Ogg and MP3 sounds"
    "titles|qvlibs-titles|titles and subtitles drawn by libass"
    "ffmpeg|qvlibs-ffmpeg|MPEG and other movies and sounds through FFmpeg, writing of DV frames")
  string(REPLACE "|" ";" row "${row}")
  list(GET row 0 component)
  list(GET row 1 name)
  list(GET row 2 summary)
  get_property(has_modules GLOBAL PROPERTY QV_HAS_MODULES_${component})
  if(has_modules)
    qv_package(${component} ${name} "${summary}" "Modules of QvLibs; put beside the library, which finds them there."
      DEPENDS "${exact}")
    list(APPEND CPACK_COMPONENTS_ALL ${component})
  endif()
endforeach()
set(CPACK_DEBIAN_TITLES_PACKAGE_DEPENDS "${exact}, fonts-dejavu-core | fonts-freefont-ttf")
include(CPack)
