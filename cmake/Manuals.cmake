# install_manual(FILE COMPONENT): compresses a manual page, as packages want it, and installs it in its section.
find_program(GZIP gzip REQUIRED)

function(install_manual file component)
  get_filename_component(name ${file} NAME)
  string(REGEX MATCH "[0-9]$" section ${name})
  set(compressed ${CMAKE_BINARY_DIR}/man/${name}.gz)
  add_custom_command(OUTPUT ${compressed}
    COMMAND ${GZIP} -9nc ${file} > ${compressed} DEPENDS ${file} VERBATIM)
  add_custom_target(manual_${name} ALL DEPENDS ${compressed})
  install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()
