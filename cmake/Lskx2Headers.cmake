# Public headers made by the build, into ${PROJECT_BINARY_DIR}/include beside the
# hand-written include/livescannerkx2.h, and installed with it:
#   livescannerkx2_errors.h   the result codes, from the catalogue list base/ErrorCatalogue.def
#   livescannerkx2_version.h  the version macros, from the project's version
set(LSKX2_GENERATED_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include)
set(LSKX2_GENERATED_HEADERS ${LSKX2_GENERATED_INCLUDE_DIR}/livescannerkx2_errors.h
                            ${LSKX2_GENERATED_INCLUDE_DIR}/livescannerkx2_version.h)
configure_file(${PROJECT_SOURCE_DIR}/include/livescannerkx2_version.h.in
  ${LSKX2_GENERATED_INCLUDE_DIR}/livescannerkx2_version.h @ONLY)

set(catalogue ${PROJECT_SOURCE_DIR}/base/ErrorCatalogue.def)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${catalogue})
file(READ ${catalogue} text)
# Code and catalogue name only: the texts may hold semicolons, CMake's list separator.
string(REGEX MATCHALL "\nLSKX2_ERROR\\(-?[0-9]+, [A-Za-z0-9_]+," rows "${text}")
set(body "")
foreach(row IN LISTS rows)
  string(REGEX REPLACE "\nLSKX2_ERROR\\((-?[0-9]+), ([A-Za-z0-9_]+)," "\\1;\\2" row "${row}")
  list(GET row 0 code)
  list(GET row 1 name)
  string(REGEX REPLACE "^FPC_" "" name "${name}")
  string(APPEND body "  LS_KX2_${name} = ${code},\n")
endforeach()
file(WRITE ${PROJECT_BINARY_DIR}/livescannerkx2_errors.h.new
"/* Made by the build from the library's catalogue of result codes; do not edit. */
#ifndef LIVESCANNERKX2_ERRORS_H
#define LIVESCANNERKX2_ERRORS_H

/**
 * Result codes of the LS_KX2 functions: 0 for success, negative otherwise.
 * LS_KX2GetErrorDescriptionA/W give the text of each. The catalogue is shared with other
 * components, so most codes are never returned by this library, and a few codes have two
 * names.
 */
enum LS_KX2_ERROR {
${body}};

#endif
")
# Rewritten only when it changes, so a new configure rebuilds nothing.
configure_file(${PROJECT_BINARY_DIR}/livescannerkx2_errors.h.new
  ${LSKX2_GENERATED_INCLUDE_DIR}/livescannerkx2_errors.h COPYONLY)
include_directories(${LSKX2_GENERATED_INCLUDE_DIR})
