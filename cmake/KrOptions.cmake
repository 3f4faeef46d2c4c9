# Options that every target of ours is compiled with.
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
  # An interface has no virtual destructor under mingw, so deleting through one must not pass.
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
