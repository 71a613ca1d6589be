# The CMake package for consumers and, in a build for /usr, the Debian packages.

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

# Only there GNUInstallDirs takes Debian's folders; scripts/package makes such a build.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The tiomipra authors <authors@tiomipra.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE tiomipra)
# Older than a package of the same version by Debian itself would be.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0upstream1)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/tevo)

set(CPACK_COMPONENTS_ALL libraries development command)
# With the default, each package describes itself alone.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")

set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME libtiomipra${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(debian ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(WRITE ${debian}/triggers "activate-noawait ldconfig\n")
foreach(library tevo tiomipra)
  string(APPEND shlibs "lib${library} ${PROJECT_VERSION_MAJOR} "
    "${CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME} (>= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE ${debian}/shlibs ${shlibs})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${debian}/triggers ${debian}/shlibs)
set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION "depth from calibrated stereo cameras - shared libraries
Turns the images of a calibrated stereo pair into metric 3D points: reads
calibrations, rectifies images, computes disparities by block matching or
semi-global matching as OpenCV does, and reprojects them in one pass.
.
This package contains the libraries vision and tevo, its logging.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtiomipra-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libopencv-dev)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS libraries)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "depth from calibrated stereo cameras - development files
Turns the images of a calibrated stereo pair into metric 3D points.
.
This package contains headers, CMake package, pkg-config files,
documentation and an example.")

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME tiomipra)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION science)
set(CPACK_COMPONENT_COMMAND_DEPENDS libraries)
set(CPACK_COMPONENT_COMMAND_DESCRIPTION "depth from two cameras, from chessboard to point cloud
Calibrates a stereo rig with photographs of a chessboard, says whether the
calibration is good and still holds, and turns pairs of images or videos into
disparities, depth images and coloured point clouds.
.
This package contains the command, its manual pages and documentation.")

if(TARGET tiomipra_python)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-tiomipra)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ${TIOMIPRA_PYTHON_DEPENDS})
  set(CPACK_COMPONENT_PYTHON_DEPENDS libraries command)
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "depth from two cameras - Python module
Calibrates a stereo rig with photographs of a chessboard, rectifies and matches
its images, and gives depths and coloured point clouds, all as numpy arrays.
.
This package contains the Python package tiomipra, its types and a notebook.")
  # Byte code is made where the package is installed, as Debian has it.
  foreach(script postinst prerm)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/python.${script} ${debian}/python/${script} COPYONLY
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
      WORLD_EXECUTE)
    list(APPEND CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${debian}/python/${script})
  endforeach()
endif()

# What Debian wants in each package's own folder, and what its users want to read there. The files
# have no place in a plain installation.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.Debian.in ${debian}/changelog.Debian @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${debian}/changelog COPYONLY)
foreach(file changelog changelog.Debian)
  execute_process(COMMAND gzip -9nc ${debian}/${file}
    OUTPUT_FILE ${debian}/${file}.gz COMMAND_ERROR_IS_FATAL ANY)
endforeach()
foreach(lower ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${lower} component)
  set(folder_${lower} ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright
    ${debian}/changelog.gz ${debian}/changelog.Debian.gz
    DESTINATION ${folder_${lower}} COMPONENT ${lower} EXCLUDE_FROM_ALL)
endforeach()
foreach(component development command)
  install(FILES ${PROJECT_SOURCE_DIR}/README.md
    DESTINATION ${folder_${component}} COMPONENT ${component} EXCLUDE_FROM_ALL)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs
    DESTINATION ${folder_${component}} COMPONENT ${component} EXCLUDE_FROM_ALL
    PATTERN Doxyfile EXCLUDE)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples
  DESTINATION ${folder_development} COMPONENT development EXCLUDE_FROM_ALL
  PATTERN *.ipynb EXCLUDE)
if(TARGET tiomipra_python)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/python.md
    DESTINATION ${folder_python} COMPONENT python EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_SOURCE_DIR}/examples/notebook.ipynb
    DESTINATION ${folder_python}/examples COMPONENT python EXCLUDE_FROM_ALL)
endif()

include(CPack)
