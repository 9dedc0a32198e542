# Debian's packages, one for each component of an installation, and an archive of all: `scripts/packages`.
option(TESSIT_PACKAGES "Install also what only Debian's packages have" OFF)

set(CPACK_PACKAGE_VENDOR tessit)
# Who builds them answers for them.
set(maintainer "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
if(NOT DEFINED ENV{DEBFULLNAME} OR NOT DEFINED ENV{DEBEMAIL})
  set(maintainer "The tessit authors <authors@tessit.invalid>")
endif()
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_COMPONENTS_ALL library development command simulation python)
if(WIN32)
  set(CPACK_PACKAGING_INSTALL_PREFIX "")
  math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
  set(CPACK_PACKAGE_FILE_NAME "tessit-${PROJECT_VERSION}-windows-${bits}-bit")
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

find_program(GZIP gzip)

# `depends` comes besides the libraries that the package's files are linked with.
macro(tessit_package component package section depends description)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${depends}")
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${description}")
  if(TESSIT_PACKAGES)
    set(package_name ${package})
    set(folder "${PROJECT_BINARY_DIR}/packaging/${package}")
    configure_file(packaging/changelog.in "${folder}/changelog" @ONLY)
    execute_process(COMMAND "${GZIP}" -9nf "${folder}/changelog" COMMAND_ERROR_IS_FATAL ANY)
    install(FILES "${folder}/changelog.gz" packaging/copyright DESTINATION share/doc/${package}
      COMPONENT ${component})
  endif()
endmacro()

set(this_version "= ${PROJECT_VERSION}")
tessit_package(library libjlinkarm-birch-tessit0 libs ""
  "Birch microcontrollers over a J-Link probe, the library
 Programs, erases, inspects, protects, recovers and debugs Birch
 microcontrollers through SEGGER's J-Link library, which it loads at
 run time.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/triggers")
tessit_package(development libjlinkarm-birch-tessit-dev libdevel "libjlinkarm-birch-tessit0 (${this_version})"
  "Birch microcontrollers over a J-Link probe, for developers
 Header, CMake package and pkg-config file of the library.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
tessit_package(command tessit electronics "libjlinkarm-birch-tessit0 (${this_version})"
  "Birch microcontrollers over a J-Link probe, the command
 Programs, verifies, reads, erases, protects, recovers and debugs Birch
 microcontrollers, on one board or on many at once.")
set(CPACK_DEBIAN_COMMAND_PACKAGE_RECOMMENDS tessit-simulation)
tessit_package(simulation tessit-simulation electronics ""
  "Birch microcontrollers over a J-Link probe, simulated
 A J-Link library with simulated probes and chips, which execute firmware:
 for trying tessit out, and for tests without boards. It is linked with
 Unicorn, which is under the GPL.")
tessit_package(python python3-tessit python "python3 (>= 3.9), libjlinkarm-birch-tessit0 (${this_version})"
  "Birch microcontrollers over a J-Link probe, for Python
 Probes, chips, firmware and simulated benches for test engineers, with
 fixtures for pytest.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/packaging/python/postinst;${PROJECT_SOURCE_DIR}/packaging/python/prerm")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "tessit, tessit-simulation")
if(TESSIT_PACKAGES)
  set(metadata "${PROJECT_BINARY_DIR}/packaging/python")
  file(REMOVE_RECURSE "${metadata}")
  file(MAKE_DIRECTORY "${metadata}")
  execute_process(COMMAND /usr/bin/python3 setup.py -q dist_info --output-dir "${metadata}"
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}/python" ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
  install(DIRECTORY python/tessit "${metadata}/" DESTINATION lib/python3/dist-packages COMPONENT python
    PATTERN __pycache__ EXCLUDE PATTERN top_level.txt EXCLUDE)
endif()
include(CPack)
