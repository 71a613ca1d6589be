# What the two libraries have in common.

# Version, export header and exported symbols: those of the C++ namespace NAMESPACE, whose public
# headers lie in HEADERS/NAMESPACE.
function(tiomipra_configure_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAMESPACE;HEADERS" "")
  set(namespace ${arg_NAMESPACE})
  set(generated ${CMAKE_CURRENT_BINARY_DIR}/include)

  tiomipra_configure_target(${target})
  add_library(${target}::${target} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH $ORIGIN)
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${arg_HEADERS}>
    $<BUILD_INTERFACE:${generated}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  generate_export_header(${target} EXPORT_FILE_NAME ${generated}/${namespace}/export.hpp)
  string(TOUPPER ${target} upper)

  if(BUILD_SHARED_LIBS)
    set(node ${upper}_${PROJECT_VERSION_MAJOR})
    set(map ${CMAKE_CURRENT_BINARY_DIR}/exports.map)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/exports.map.in ${map} @ONLY)
    target_link_options(${target} PRIVATE LINKER:--version-script=${map})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
  else()
    target_compile_definitions(${target} PUBLIC ${upper}_STATIC_DEFINE)
  endif()

  if(NOT TIOMIPRA_INSTALL)
    return()
  endif()
  install(DIRECTORY ${arg_HEADERS}/${namespace} ${generated}/${namespace}
    TYPE INCLUDE COMPONENT development FILES_MATCHING PATTERN "*.hpp")
  install(TARGETS ${target} EXPORT ${target}Targets
    LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
  install(EXPORT ${target}Targets NAMESPACE ${target}::
    DESTINATION ${TIOMIPRA_INSTALL_CMAKEDIR} COMPONENT development)
endfunction()

# The library's pkg-config file. HEADERS_REQUIRE names packages whose headers the public headers
# include; the STATIC_ parts are only needed to link a static build.
function(tiomipra_install_pkgconfig target)
  if(NOT TIOMIPRA_INSTALL)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DESCRIPTION;HEADERS_REQUIRE;STATIC_REQUIRE"
    "LIBS;STATIC_LIBS")
  set(libs ${arg_LIBS})
  if(NOT BUILD_SHARED_LIBS)
    set(requires ${arg_STATIC_REQUIRE})
    string(TOUPPER "-D${target}_STATIC_DEFINE" definition)
    list(PREPEND libs ${arg_STATIC_LIBS})
  endif()
  list(JOIN libs " " libs)

  # The file finds the prefix from its own place, so that an installed tree may be moved.
  set(folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH up /${folder} /)
  string(REGEX REPLACE "/$" "" up ${up})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${target}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc
    DESTINATION ${folder} COMPONENT development)
endfunction()
