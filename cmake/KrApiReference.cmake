# Target KrApi: the reference of the public headers, in HTML. An undocumented item fails the build.
find_program(KR_DOXYGEN NAMES doxygen DOC "Makes the API reference")
if(KR_DOXYGEN)
  configure_file(${PROJECT_SOURCE_DIR}/docs/api/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
  add_custom_target(KrApi COMMAND ${KR_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
    COMMENT "API reference: ${PROJECT_BINARY_DIR}/api/html/index.html" VERBATIM)
endif()
