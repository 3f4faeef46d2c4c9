# The library: compiled once, linked into the shared library and, for the inner tests, statically.
add_library(KrRiffUtilsObjects OBJECT
  module/KrFactories.cpp
  module/KrModule.cpp
  base/KrReentrantLock.cpp
  base/KrTurn.cpp
  format/KrAviHeaders.cpp
  format/KrAviIndexes.cpp
  format/KrFrameTables.cpp
  format/KrPrivateChunks.cpp
  format/KrPrivateValues.cpp
  platform/KrFiles.cpp
  platform/KrPlatform.cpp
  pool/KrdsMediaSample.cpp
  pool/KrdsMediaSamplePool.cpp
  reader/KrAudioChunkPattern.cpp
  reader/KrBlockMemory.cpp
  reader/KrChunkLookup.cpp
  reader/KrChunkNodes.cpp
  reader/KrChunkSearch.cpp
  reader/KrChunkTree.cpp
  reader/KrFileCursor.cpp
  reader/KrFileLayout.cpp
  reader/KrFirstChunks.cpp
  reader/KrGrowingIndex.cpp
  reader/KrGrowth.cpp
  reader/KrHeaderParser.cpp
  reader/KrIndexBlock.cpp
  reader/KrIndexDirectory.cpp
  reader/KrIndexLoader.cpp
  reader/KrIndexLocator.cpp
  reader/KrOldStreamIndex.cpp
  reader/KrOldIndexBase.cpp
  reader/KrPrivateChunkScan.cpp
  reader/KrRecordingEnd.cpp
  reader/KrRiffReader.cpp
  reader/KrRiffReaderStreams.cpp
  reader/KrStreamChunkDetection.cpp
  reader/KrStreamStatistics.cpp
  reader/KrStreamIndexes.cpp
  reader/KrStreamTable.cpp
  reader/KrSuperIndex.cpp
  reader/KrVideoFormat.cpp
  riffutils/KrPrivateChunkQuery.cpp
  riffutils/KrReaderCache.cpp
  riffutils/KrRiffUtils.cpp
  writer/KrAviWriter.cpp
  writer/KrFileTail.cpp
  writer/KrFlusher.cpp
  writer/KrFreeRun.cpp
  writer/KrGrowingFile.cpp
  writer/KrHeaderFields.cpp
  writer/KrHeaderLayout.cpp
  writer/KrInterleaver.cpp
  writer/KrObservedFile.cpp
  writer/KrOldIndex.cpp
  writer/KrPatches.cpp
  writer/KrRecordingStatus.cpp
  writer/KrRiffFileChunk.cpp
  writer/KrSampleQueue.cpp
  writer/KrSampleWriter.cpp
  writer/KrSegments.cpp
  writer/KrStreamIndex.cpp
  writer/KrSubmissions.cpp
  writer/KrWriteBatch.cpp
  writer/KrWriterSetup.cpp)
if(WIN32)
  target_sources(KrRiffUtilsObjects PRIVATE
    platform/win32/KrClockWin32.cpp
    platform/win32/KrFilesWin32.cpp
    platform/win32/KrFineSleep.cpp
    platform/win32/KrLargePagesWin32.cpp
    platform/win32/KrModuleHoldWin32.cpp
    platform/win32/KrNativePath.cpp
    platform/win32/KrSyncWin32.cpp
    platform/win32/KrWritableFileWin32.cpp)
  if(KR_USE_MFC)
    set(KR_MODULE_HOOK platform/win32/KrModuleMfc.cpp)
  else()
    set(KR_MODULE_HOOK platform/win32/KrModuleWin32.cpp)
  endif()
else()
  target_sources(KrRiffUtilsObjects PRIVATE
    platform/posix/KrClockPosix.cpp
    platform/posix/KrFilesPosix.cpp
    platform/posix/KrLargePagesPosix.cpp
    platform/posix/KrModuleHoldPosix.cpp
    platform/posix/KrNativePath.cpp
    platform/posix/KrSyncPosix.cpp
    platform/posix/KrWritableFilePosix.cpp)
  set(KR_MODULE_HOOK platform/posix/KrModulePosix.cpp)
endif()
kr_compile_by_folder(KrRiffUtilsObjects)
target_link_libraries(KrRiffUtilsObjects PUBLIC KrOptions KrAVUtils KrKernel KrWinUtils ${CMAKE_DL_LIBS})

# A shared library, with hooks and exports of its own.
function(kr_add_shared_library)
  add_library(KrRiffUtils SHARED ${KR_MODULE_HOOK})
  target_link_libraries(KrRiffUtils PRIVATE KrRiffUtilsObjects)
  kr_add_version_resource(KrRiffUtils VFT_DLL KrRiffUtils.dll "${PROJECT_DESCRIPTION}")
  if(WIN32)
    target_sources(KrRiffUtils PRIVATE ${KR_MODULE_DEFINITION})
  endif()
  if(MINGW)
    set_target_properties(KrRiffUtils PROPERTIES PREFIX "" IMPORT_PREFIX "lib")
  elseif(NOT MSVC)
    target_link_options(KrRiffUtils PRIVATE -Wl,--version-script=${KR_VERSION_SCRIPT})
    if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize") # clang leaves the sanitizer's functions to the program
      target_link_options(KrRiffUtils PRIVATE -Wl,--no-undefined)
    endif()
    set_target_properties(KrRiffUtils PROPERTIES LINK_DEPENDS ${KR_VERSION_SCRIPT})
  endif()
endfunction()

# One archive that holds all of it, but for sibling libraries of the suite's own. Nothing unloads it, so it has no hook.
function(kr_add_static_library)
  add_library(KrRiffUtils STATIC $<TARGET_OBJECTS:KrRiffUtilsObjects>)
  foreach(sibling KrAVUtils KrKernel KrWinUtils)
    get_target_property(type ${sibling} TYPE)
    if(type STREQUAL "INTERFACE_LIBRARY")
      get_target_property(libraries ${sibling} INTERFACE_LINK_LIBRARIES)
      target_link_libraries(KrRiffUtils PRIVATE ${libraries})
    else()
      target_sources(KrRiffUtils PRIVATE $<TARGET_OBJECTS:${sibling}>)
    endif()
  endforeach()
  target_link_libraries(KrRiffUtils PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
endfunction()

if(BUILD_SHARED_LIBS)
  kr_add_shared_library()
else()
  kr_add_static_library()
endif()
target_include_directories(KrRiffUtils INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                                 $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(KrRiffUtils INTERFACE cxx_std_17)
set_target_properties(KrRiffUtils PROPERTIES VERSION ${PROJECT_VERSION}
                                             SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
add_library(KrRiffUtils::KrRiffUtils ALIAS KrRiffUtils)
