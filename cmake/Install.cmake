# What an installation consists of, besides the targets, which say themselves where they go. Components: `library`,
# `development`, `command`, and `simulation`, which is apart because of its licence.
include(CMakePackageConfigHelpers)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/tessit")
install(EXPORT tessit NAMESPACE tessit:: FILE tessit-targets.cmake DESTINATION "${package_folder}" COMPONENT development)
configure_package_config_file(packaging/tessit-config.cmake.in "${PROJECT_BINARY_DIR}/packaging/tessit-config.cmake"
  INSTALL_DESTINATION "${package_folder}")
# Before 1.0 a new minor version may break.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/packaging/tessit-config-version.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/packaging/tessit-config.cmake"
  "${PROJECT_BINARY_DIR}/packaging/tessit-config-version.cmake"
  DESTINATION "${package_folder}" COMPONENT development)

file(RELATIVE_PATH includes_from_here "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
configure_file(packaging/tessit.pc.in "${PROJECT_BINARY_DIR}/packaging/tessit.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/packaging/tessit.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)

install(DIRECTORY examples/library DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT development
  PATTERN build EXCLUDE)
if(WIN32)
  install(FILES packaging/windows/README.txt DESTINATION . COMPONENT command)
endif()

# The terms of what is compiled or linked in go with it. Debian has them beside each package, and our packages and archives are
# not made without them; who passes on a build of another system adds them.
function(tessit_install_terms component file_name debian_package)
  set(optional OPTIONAL)
  if(CMAKE_CROSSCOMPILING OR TESSIT_PACKAGES)
    set(optional)
  endif()
  install(FILES "/usr/share/doc/${debian_package}/copyright" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
    RENAME "${file_name}" COMPONENT ${component} ${optional})
endfunction()
tessit_install_terms(command LICENSE.CLI11 libcli11-dev)
tessit_install_terms(command LICENSE.nlohmann-json nlohmann-json3-dev)
tessit_install_terms(command LICENSE.tomlplusplus libtomlplusplus-dev)
if(WIN32)
  tessit_install_terms(command LICENSE.fmt libfmt-dev)
  tessit_install_terms(library LICENSE.mingw-w64 mingw-w64-common)
  tessit_install_terms(library LICENSE.gcc gcc-mingw-w64-base)
endif()
install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT library)
if(TESSIT_BUILD_SIM)
  tessit_install_terms(simulation LICENSE.simulation.tomlplusplus libtomlplusplus-dev)
  if(TESSIT_SIM_CPU STREQUAL "unicorn")
    install(FILES packaging/LICENSE.simulation DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT simulation)
  endif()
  install(DIRECTORY examples/firmware DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT simulation
    FILES_MATCHING PATTERN "*.hex" PATTERN "*.c" PATTERN "*.h" PATTERN "*.ld" PATTERN "README.md"
    PATTERN build EXCLUDE)
  install(FILES examples/registers.toml DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT simulation)
endif()
