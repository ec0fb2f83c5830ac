# What cmake --install puts where, and the target uninstall. The components are those of the Debian packages: program,
# python (what belongs to the commands of the Python package, which pip installs), doc.
include(GNUInstallDirs)
set(VEX_ZSH_FOLDER ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh looks for completions")

set(DESTINATIONS ${CMAKE_INSTALL_BINDIR})
install(CODE "set(VEX_BUILD \"${PROJECT_BINARY_DIR}\")" ALL_COMPONENTS)
install(SCRIPT cmake/new_folders.cmake ALL_COMPONENTS)
install(TARGETS vex vex-sample vex-archive RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
configure_file(bin/vex-status ${PROJECT_BINARY_DIR}/vex-status COPYONLY) # beside vex, for who does not install
install(PROGRAMS bin/vex-status DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)

function(install_file FILE COMPONENT DESTINATION)
  install(FILES ${FILE} DESTINATION ${DESTINATION} COMPONENT ${COMPONENT} ${ARGN})
  set(DESTINATIONS ${DESTINATIONS} ${DESTINATION} PARENT_SCOPE)
endfunction()

function(component_of NAME)
  set(COMPONENT program PARENT_SCOPE)
  if(NAME MATCHES "^_?(vexfile|vex-batch)(\\.1|\\.bash)?$")
    set(COMPONENT python PARENT_SCOPE)
  endif()
endfunction()

# A file for bash stands alone: those that it names in its line "# Behind:" are put in front of it.
function(join_completion FILE OUT)
  file(STRINGS ${FILE} PARTS REGEX "^# Behind: ")
  string(REGEX REPLACE "^# Behind: " "" PARTS "${PARTS}")
  separate_arguments(PARTS)
  list(TRANSFORM PARTS PREPEND ${PROJECT_SOURCE_DIR}/completion/)
  file(WRITE ${OUT} "")
  foreach(PART ${PARTS} ${FILE})
    file(READ ${PART} TEXT)
    file(APPEND ${OUT} "${TEXT}\n")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PART})
  endforeach()
endfunction()

file(GLOB FILES CONFIGURE_DEPENDS docs/man/*.1 docs/man/*.5 completion/*.bash completion/_*)
list(REMOVE_ITEM FILES ${PROJECT_SOURCE_DIR}/completion/engine.bash)
foreach(FILE ${FILES})
  get_filename_component(NAME ${FILE} NAME)
  component_of(${NAME})
  if(NAME MATCHES "\\.([15])$")
    install_file(${FILE} ${COMPONENT} ${CMAKE_INSTALL_MANDIR}/man${CMAKE_MATCH_1})
  elseif(NAME MATCHES "(.*)\\.bash$")
    set(NAME ${CMAKE_MATCH_1})
    join_completion(${FILE} ${PROJECT_BINARY_DIR}/completion/${NAME})
    install_file(${PROJECT_BINARY_DIR}/completion/${NAME} ${COMPONENT}
      ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  else()
    install_file(${FILE} ${COMPONENT} ${VEX_ZSH_FOLDER})
  endif()
endforeach()

file(GLOB_RECURSE FILES RELATIVE ${PROJECT_SOURCE_DIR}/docs CONFIGURE_DEPENDS
  docs/*.md docs/*.png docs/*.svg docs/examples/read_vex.*)
foreach(FILE ${FILES})
  get_filename_component(FOLDER ${FILE} DIRECTORY)
  set(FOLDER ${CMAKE_INSTALL_DOCDIR}/${FOLDER})
  string(REGEX REPLACE "/$" "" FOLDER ${FOLDER})
  install_file(docs/${FILE} doc ${FOLDER})
endforeach()

list(REMOVE_DUPLICATES DESTINATIONS)
file(WRITE ${PROJECT_BINARY_DIR}/install_destinations.txt "${DESTINATIONS}")
add_custom_target(uninstall
  ${CMAKE_COMMAND} -D VEX_BUILD=${PROJECT_BINARY_DIR} -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake VERBATIM)
