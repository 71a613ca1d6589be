# The CMake package for consumers and the three Debian packages.

include(CMakePackageConfigHelpers)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tiomipraConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/tiomipraConfig.cmake
  INSTALL_DESTINATION ${TIOMIPRA_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tiomipraConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/tiomipraConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tiomipraConfigVersion.cmake
  DESTINATION ${TIOMIPRA_INSTALL_CMAKEDIR} COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The tiomipra authors <authors@tiomipra.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/tevo)

set(CPACK_COMPONENTS_ALL libraries development command)

set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME libtiomipra${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
foreach(library tevo tiomipra)
  string(APPEND shlibs "lib${library} ${PROJECT_VERSION_MAJOR} "
    "${CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME} (>= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/debian/shlibs ${shlibs})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_BINARY_DIR}/debian/triggers ${CMAKE_CURRENT_BINARY_DIR}/debian/shlibs)
set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION
  "Shared libraries: calibration, rectification, disparity, depth, logging.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtiomipra-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libopencv-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS libraries)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Headers, CMake package and pkg-config files.")

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME tiomipra)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION science)
set(CPACK_COMPONENT_COMMAND_DEPENDS libraries)
set(CPACK_COMPONENT_COMMAND_DESCRIPTION
  "Calibrates a stereo rig and turns its images into depth.")

# Debian wants copyright and changes of each package in that package's own folder. The files have no
# place in a plain installation.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
foreach(component LIBRARIES DEVELOPMENT COMMAND)
  string(TOLOWER ${component} lower)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright
    ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}
    COMPONENT ${lower} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
