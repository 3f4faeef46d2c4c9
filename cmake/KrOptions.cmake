# Compile options of all our targets.
add_library(KrOptions INTERFACE)
target_include_directories(KrOptions INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)

if(WIN32)
  set(KR_PLATFORM win32)
else()
  set(KR_PLATFORM posix)
endif()
target_include_directories(KrOptions INTERFACE ${PROJECT_SOURCE_DIR}/platform/${KR_PLATFORM})

if(MSVC)
  target_compile_options(KrOptions INTERFACE /W4 /permissive- /utf-8)
else()
  # An interface has no virtual destructor under mingw, so deleting through one must be an error.
  target_compile_options(KrOptions INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror=delete-non-virtual-dtor)
endif()
if(KR_WARNINGS_AS_ERRORS)
  target_compile_options(KrOptions INTERFACE $<IF:$<BOOL:${MSVC}>,/WX,-Werror>)
endif()
if(KR_USE_MFC)
  target_compile_definitions(KrOptions INTERFACE KR_USE_MFC _AFXEXT _UNICODE UNICODE)
endif()
if(MINGW)
  target_link_options(KrOptions INTERFACE -static)
endif()

find_package(Threads REQUIRED)
target_link_libraries(KrOptions INTERFACE Threads::Threads)

# With KR_UNITY_BUILD the compiler sees eight sources of a target as one, but for those of one system, with its headers.
# Names without linkage must therefore be unique in a folder. Call this after the target's sources are set.
function(kr_compile_in_batches target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${KR_UNITY_BUILD} UNITY_BUILD_MODE BATCH UNITY_BUILD_BATCH_SIZE 8)
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "win32/|(Posix|Win32)\\.cpp$")
  set_source_files_properties(${sources} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# With KR_UNITY_BUILD the compiler sees the sources of each folder of a target as one, so that it reads their headers
# once. Names without linkage must therefore be unique in a folder. Call this after the target's sources are set.
function(kr_compile_by_folder target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${KR_UNITY_BUILD} UNITY_BUILD_MODE GROUP)
  set(sources ${ARGN})
  if(NOT sources)
    get_target_property(sources ${target} SOURCES)
  endif()
  foreach(source IN LISTS sources)
    get_filename_component(folder ${source} DIRECTORY)
    if(folder AND source MATCHES "\\.cpp$" AND NOT folder MATCHES "platform")
      string(MAKE_C_IDENTIFIER ${folder} group)
      set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
    endif()
  endforeach()
endfunction()
