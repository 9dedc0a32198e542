# What the command tells of itself as soon as it is built: the manual page, and how shells complete its words.
set(told "${PROJECT_BINARY_DIR}/told")
file(MAKE_DIRECTORY "${told}")
add_custom_command(TARGET tessit POST_BUILD VERBATIM
  COMMAND tessit manual > "${told}/tessit.1"
  COMMAND tessit completion bash > "${told}/tessit.bash"
  COMMAND tessit completion zsh > "${told}/_tessit"
  COMMAND tessit completion fish > "${told}/tessit.fish")
install(FILES "${told}/tessit.bash" DESTINATION share/bash-completion/completions RENAME tessit COMPONENT command)
install(FILES "${told}/_tessit" DESTINATION share/zsh/vendor-completions COMPONENT command)
install(FILES "${told}/tessit.fish" DESTINATION share/fish/vendor_completions.d COMPONENT command)
if(TESSIT_PACKAGES) # Debian has its manual pages compressed
  find_program(GZIP gzip REQUIRED)
  add_custom_command(TARGET tessit POST_BUILD VERBATIM
    COMMAND "${GZIP}" -9nf "${told}/tessit.1")
  install(FILES "${told}/tessit.1.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT command)
else()
  install(FILES "${told}/tessit.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT command)
endif()
if(TESSIT_BUILD_SIM)
  add_dependencies(tessit jlinkarm_sim) # which has the text of the example bench
  add_custom_command(TARGET tessit POST_BUILD VERBATIM
    COMMAND "${CMAKE_COMMAND}" -E rm -f "${told}/bench.toml"
    COMMAND tessit sim init "${told}/bench.toml" > "${told}/bench.log")
  install(FILES "${told}/bench.toml" DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT simulation)
endif()
