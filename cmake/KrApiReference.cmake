# Target KrApi: the reference of the public headers with the pages for hosts, in HTML. An undocumented item fails the build. It is
# installed if it was built before.
option(KR_BUILD_API "Build the API reference with everything else" OFF)
find_program(KR_DOXYGEN NAMES doxygen DOC "Makes the API reference")
if(KR_DOXYGEN)
  configure_file(${PROJECT_SOURCE_DIR}/docs/api/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
  set(all "")
  if(KR_BUILD_API)
    set(all ALL)
  endif()
  add_custom_target(KrApi ${all} COMMAND ${KR_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
    COMMENT "API reference: ${PROJECT_BINARY_DIR}/api/html/index.html" VERBATIM)
  if(KR_INSTALL)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/api/html/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/api OPTIONAL)
  endif()
elseif(PROJECT_IS_TOP_LEVEL)
  add_custom_target(KrApi COMMAND ${CMAKE_COMMAND} -E echo "The API reference needs Doxygen: install it and configure again"
    COMMAND ${CMAKE_COMMAND} -E false VERBATIM)
endif()
