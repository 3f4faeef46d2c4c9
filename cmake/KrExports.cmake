# cmake/exports.list names every exported function. From it come the linker's version script (ELF) and the
# module definition (Windows): whatever the list does not name stays inside.
set(KR_EXPORTS_LIST ${PROJECT_SOURCE_DIR}/cmake/exports.list)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KR_EXPORTS_LIST})
file(STRINGS ${KR_EXPORTS_LIST} KR_EXPORTS)

set(version_script "{\n  global:\n")
set(module_definition "LIBRARY KrRiffUtils.dll\nEXPORTS\n")
foreach(name IN LISTS KR_EXPORTS)
  string(APPEND version_script "    ${name};\n")
  string(APPEND module_definition "  ${name}\n")
endforeach()
string(APPEND version_script "  local: *;\n};\n")

set(KR_VERSION_SCRIPT ${CMAKE_BINARY_DIR}/KrRiffUtils.map)
set(KR_MODULE_DEFINITION ${CMAKE_BINARY_DIR}/KrRiffUtils.def)
file(CONFIGURE OUTPUT ${KR_VERSION_SCRIPT} CONTENT "${version_script}" @ONLY)
file(CONFIGURE OUTPUT ${KR_MODULE_DEFINITION} CONTENT "${module_definition}" @ONLY)
