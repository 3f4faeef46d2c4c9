# The installed files, and their archive for Windows.
include(CMakePackageConfigHelpers)

install(TARGETS KrRiffUtils EXPORT KrRiffUtils
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS KrRiffUtilsC EXPORT KrRiffUtilsC
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/KrRiffUtils DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs FILES_MATCHING PATTERN *.md PATTERN *.svg PATTERN *.schema.json
  PATTERN api EXCLUDE)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

# find_package(KrRiffUtils), whose components have files of their own. A package of the library alone lacks the files of the component Tools.
set(KR_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KrRiffUtils)
install(EXPORT KrRiffUtils NAMESPACE KrRiffUtils:: DESTINATION ${KR_PACKAGE_DIR} FILE KrRiffUtilsTargets.cmake)
install(EXPORT KrRiffUtilsC NAMESPACE KrRiffUtils:: DESTINATION ${KR_PACKAGE_DIR} FILE KrRiffUtilsCTargets.cmake)
configure_package_config_file(cmake/KrRiffUtilsConfig.cmake.in ${PROJECT_BINARY_DIR}/KrRiffUtilsConfig.cmake
  INSTALL_DESTINATION ${KR_PACKAGE_DIR} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_BINDIR)
if(TARGET kravi)
  install(TARGETS kravi EXPORT KrRiffUtilsTools RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(EXPORT KrRiffUtilsTools NAMESPACE KrRiffUtils:: DESTINATION ${KR_PACKAGE_DIR} FILE KrRiffUtilsToolsTargets.cmake)
endif()
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KrRiffUtilsConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KrRiffUtilsConfig.cmake ${PROJECT_BINARY_DIR}/KrRiffUtilsConfigVersion.cmake
  DESTINATION ${KR_PACKAGE_DIR})

# pkg-config. Paths are relative to the file, so that the tree can be moved.
if(NOT MSVC)
  set(KR_PC_MORE "") # a static library leaves it to the host
  if(NOT BUILD_SHARED_LIBS)
    set(KR_PC_MORE "-lstdc++ -lm -lpthread")
    foreach(library IN LISTS CMAKE_DL_LIBS)
      string(APPEND KR_PC_MORE " -l${library}")
    endforeach()
  endif()
  file(RELATIVE_PATH KR_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  foreach(KR_PC_NAME KrRiffUtils KrRiffUtilsC)
    set(KR_PC_REQUIRES "")
    if(KR_PC_NAME STREQUAL "KrRiffUtilsC" AND NOT BUILD_SHARED_LIBS)
      set(KR_PC_REQUIRES KrRiffUtils)
    endif()
    configure_file(cmake/KrRiffUtils.pc.in ${PROJECT_BINARY_DIR}/${KR_PC_NAME}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${KR_PC_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  endforeach()
endif()

# The import libraries for Microsoft's linkers, next to those for mingw. Same functions; those in C++ have other names.
if(MINGW AND BUILD_SHARED_LIBS)
  find_program(KR_LLVM_LIB NAMES llvm-lib-19 llvm-lib-20 llvm-lib-18 llvm-lib DOC "Makes KrRiffUtils.lib and KrRiffUtilsC.lib")
  if(KR_LLVM_LIB)
    set(ms_import_libraries "")
    foreach(definition ${KR_MODULE_DEFINITION} ${PROJECT_BINARY_DIR}/KrRiffUtilsC.def)
      get_filename_component(library ${definition} NAME_WE)
      set(library ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/${library}.lib)
      list(APPEND ms_import_libraries ${library})
      add_custom_command(OUTPUT ${library}
        COMMAND ${KR_LLVM_LIB} /nologo /machine:x64 /def:${definition} /out:${library}
        DEPENDS ${definition} COMMENT "Making ${library}" VERBATIM)
    endforeach()
    add_custom_target(KrMicrosoftImportLibrary ALL DEPENDS ${ms_import_libraries})
    install(FILES ${ms_import_libraries} DESTINATION ${CMAKE_INSTALL_LIBDIR})
  else()
    message(STATUS "No llvm-lib: KrRiffUtils.lib and KrRiffUtilsC.lib, for Microsoft's linkers, are not built")
  endif()
endif()

if(NOT PROJECT_IS_TOP_LEVEL)
  return() # the archive is that of the project
endif()
set(CPACK_PACKAGE_NAME KrRiffUtils)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME KrRiffUtils-${PROJECT_VERSION}-win64)
else()
  set(CPACK_GENERATOR TGZ)
  set(CPACK_PACKAGE_FILE_NAME KrRiffUtils-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
endif()
include(CPack)
