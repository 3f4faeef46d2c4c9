# The sources of the test programs, by name.
set(KR_TEST_SUPPORT_SOURCES
  support/KrAviBuilder.cpp
  support/KrAviChecker.cpp
  support/KrAviCheckerRules.cpp
  support/KrAviCheckerUnfinished.cpp
  support/KrAviRecords.cpp
  support/KrByteWriter.cpp
  support/KrCopyChecker.cpp
  support/KrCountingFileSystem.cpp
  support/KrCrashFileSystem.cpp
  support/KrFaultyFileSystem.cpp
  support/KrFileContent.cpp
  support/KrMemoryFileSystem.cpp
  support/KrMemoryFileSystemFiles.cpp
  support/KrSimpleAvi.cpp
  support/KrTempFolder.cpp
  support/KrWrittenHeader.cpp
)

set(KR_PUBLIC_TEST_SOURCES
  module/ReaderFactoryTest.cpp
  include/ArrayOperationsTest.cpp
  include/ArrayTest.cpp
  include/DWordArrayTest.cpp
  include/RecordLayoutsTest.cpp
  pool/MediaSamplePoolTest.cpp
  reader/AllStreamsTest.cpp
  reader/AudioStatisticsTest.cpp
  reader/BigFileTest.cpp
  reader/ChunkSearchTest.cpp
  reader/ChunkTreeDamageTest.cpp
  reader/ChunkTreeLastSegmentTest.cpp
  reader/ChunkTreeSegmentsTest.cpp
  reader/ChunkTreeTest.cpp
  reader/HeaderParseAudioTest.cpp
  reader/HeaderParseFileTest.cpp
  reader/HeaderParseListTest.cpp
  reader/HeaderParseVideoTest.cpp
  reader/OldIndexLoadTest.cpp
  reader/OpenDmlIndexLoadTest.cpp
  reader/PixelAspectTest.cpp
  reader/RawReadTest.cpp
  reader/ReaderLockTest.cpp
  reader/ReaderOpenTest.cpp
  reader/StreamDetectionTest.cpp
  reader/StreamInfoTest.cpp
  reader/VideoFormatTest.cpp
  riffutils/HostReaderTest.cpp
  riffutils/QueryAnswersTest.cpp
  riffutils/QueryChunkChecksTest.cpp
  riffutils/QueryLookupTest.cpp
  riffutils/QueryPathTest.cpp
  riffutils/QueryReaderTest.cpp
  riffutils/ReaderCacheStressTest.cpp
  riffutils/ReaderCacheTest.cpp
  writer/WriterTest.cpp
  include/HostObjectsTest.cpp
)

set(KR_INNER_TEST_SOURCES
  base/ImmortalInnerTest.cpp
  base/ObjectInnerTest.cpp
  reader/OwnReaderInnerTest.cpp
  base/KrAllocationsInner.cpp
  module/ReaderFactoryMemoryInnerTest.cpp
  base/ReentrantLockInnerTest.cpp
  base/RefInnerTest.cpp
  format/BitmapHeaderInnerTest.cpp
  format/BytesInnerTest.cpp
  format/ChunkHeaderInnerTest.cpp
  format/FourCCInnerTest.cpp
  format/FrameRatesInnerTest.cpp
  format/FrameSizesInnerTest.cpp
  format/MainHeaderInnerTest.cpp
  format/OldIndexInnerTest.cpp
  format/PrivateChunksInnerTest.cpp
  format/StdIndexInnerTest.cpp
  format/StreamHeaderInnerTest.cpp
  format/SuperIndexInnerTest.cpp
  format/WaveFormatInnerTest.cpp
  platform/ClockTest.cpp
  platform/FileSystemScopeTest.cpp
  platform/FilesTest.cpp
  platform/FollowedFilesTest.cpp
  platform/IsSamePathTest.cpp
  platform/LongPathTest.cpp
  platform/OsTypesTest.cpp
  platform/Utf8Test.cpp
  platform/WritableFileSpaceTest.cpp
  platform/WritableFilesTest.cpp
  pool/MediaSampleInnerTest.cpp
  pool/MediaSamplePoolInnerTest.cpp
  pool/MediaSamplePoolMemoryInnerTest.cpp
  reader/AudioStatisticsInnerTest.cpp
  reader/AudioStatisticsLoadInnerTest.cpp
  reader/BigFileInnerTest.cpp
  reader/BlockMemoryInnerTest.cpp
  reader/ChunkLookupFaultsInnerTest.cpp
  reader/ChunkLookupInnerTest.cpp
  reader/ChunkLookupReferenceInnerTest.cpp
  reader/ChunkLookupZerosInnerTest.cpp
  reader/ChunkNodesInnerTest.cpp
  reader/ChunkSearchInnerTest.cpp
  reader/ChunkTreeInnerTest.cpp
  reader/FileCursorInnerTest.cpp
  reader/GrowingFileInnerTest.cpp
  reader/GrowingIndexInnerTest.cpp
  reader/GrowingStateInnerTest.cpp
  reader/HeaderCopyInnerTest.cpp
  reader/HeaderParseDamageInnerTest.cpp
  reader/HeaderParseInnerTest.cpp
  reader/HostileFileCountsInnerTest.cpp
  reader/HostileFileShapesInnerTest.cpp
  reader/IndexLoadArrayInnerTest.cpp
  reader/IndexLoadClaimsInnerTest.cpp
  reader/IndexLoadOldInnerTest.cpp
  reader/IndexLoadOpenDmlInnerTest.cpp
  reader/IndexLoadSlicesInnerTest.cpp
  reader/IndexLocateInnerTest.cpp
  reader/IndexLocateOldInnerTest.cpp
  reader/PixelAspectInnerTest.cpp
  reader/PrivateChunkScanInnerTest.cpp
  reader/RawReadInnerTest.cpp
  reader/ReadCountInnerTest.cpp
  reader/ReaderFaultOpenInnerTest.cpp
  reader/ReaderFaultStepsInnerTest.cpp
  reader/ReaderFaultsInnerTest.cpp
  reader/ReaderLockBusyInnerTest.cpp
  reader/ReaderLockExitsInnerTest.cpp
  reader/ReaderMemoryInnerTest.cpp
  reader/ReaderOpenInnerTest.cpp
  reader/StreamDetectionInnerTest.cpp
  reader/StreamIndexLoadInnerTest.cpp
  reader/StreamOldIndexInnerTest.cpp
  reader/StreamTableGrowthInnerTest.cpp
  reader/StreamTableInnerTest.cpp
  reader/StreamInfoInnerTest.cpp
  reader/VideoFormatInnerTest.cpp
  riffutils/QueryLockInnerTest.cpp
  riffutils/ReaderCacheInnerTest.cpp
  riffutils/ReaderCacheThreadsInnerTest.cpp
  reliability/HostileLimitsInnerTest.cpp
  reliability/LongRecordingInnerTest.cpp
  reliability/ThreadsInnerTest.cpp
  reliability/WriterFaultTableInnerTest.cpp
  siblings/AVUtilsInnerTest.cpp
  siblings/AudioSampleCountsInnerTest.cpp
  siblings/PoolManagerInnerTest.cpp
  siblings/WinUtilsInnerTest.cpp
  siblings/WorkerThreadInnerTest.cpp
  support/AviBuilderTest.cpp
  support/FileContentTest.cpp
  support/FileSystemFakesTest.cpp
  support/WritingFakesTest.cpp
  writer/AviCheckerInnerTest.cpp
  writer/PatchesInnerTest.cpp
  writer/RecordingAudioInnerTest.cpp
  writer/RecordingJoinedInnerTest.cpp
  writer/RecordingLimitInnerTest.cpp
  writer/RecordingOptionsInnerTest.cpp
  writer/RecordingStatusInnerTest.cpp
  writer/SubmissionsInnerTest.cpp
  writer/WriterDirectInnerTest.cpp
  writer/WriterFaultInnerTest.cpp
  writer/WriterHostsInnerTest.cpp
  writer/WriterIndexInnerTest.cpp
  writer/WriterLayoutInnerTest.cpp
  writer/WriterMemoryInnerTest.cpp
  writer/WriterOpenInnerTest.cpp
  writer/WriterQueueInnerTest.cpp
  writer/WriterRollOverInnerTest.cpp
  writer/WriterSegmentFaultInnerTest.cpp
  writer/WriterSegmentInnerTest.cpp
  writer/WriterTimeInnerTest.cpp
  writer/WriterWithoutWorkerInnerTest.cpp
  writer/WriterWorkerInnerTest.cpp
)

# The C interface.
set(KR_C_TEST_SOURCES
  base/KrAllocationsInner.cpp
  bindings/CCallbacksInnerTest.cpp
  bindings/CHandlesInnerTest.cpp
  bindings/CInputInnerTest.cpp
  bindings/CReaderInnerTest.cpp
  bindings/CWriterInnerTest.cpp
)

set(KR_MODULE_TEST_SOURCES
  module/UnloadTest.cpp
  module/LiveWriterTest.cpp
)

# Those of the sources above whose tests have threads or a worker, for the thread sanitizer.
set(KR_THREAD_TEST_SOURCES
  base/KrAllocationsInner.cpp
  base/ObjectInnerTest.cpp
  module/ReaderFactoryTest.cpp
  base/ReentrantLockInnerTest.cpp
  platform/FilesTest.cpp
  platform/WritableFilesTest.cpp
  pool/MediaSampleInnerTest.cpp
  pool/MediaSamplePoolTest.cpp
  reader/GrowingFileInnerTest.cpp
  reader/GrowingStateInnerTest.cpp
  reader/ReaderFaultOpenInnerTest.cpp
  reader/ReaderFaultsInnerTest.cpp
  reader/ReaderLockBusyInnerTest.cpp
  reader/ReaderLockExitsInnerTest.cpp
  reader/ReaderLockTest.cpp
  reader/ReaderMemoryInnerTest.cpp
  reader/StreamTableInnerTest.cpp
  reliability/ThreadsInnerTest.cpp
  riffutils/HostReaderTest.cpp
  riffutils/QueryLockInnerTest.cpp
  riffutils/QueryReaderTest.cpp
  riffutils/ReaderCacheInnerTest.cpp
  riffutils/ReaderCacheStressTest.cpp
  riffutils/ReaderCacheThreadsInnerTest.cpp
  siblings/PoolManagerInnerTest.cpp
  siblings/WorkerThreadInnerTest.cpp
  writer/RecordingAudioInnerTest.cpp
  writer/RecordingJoinedInnerTest.cpp
  writer/RecordingLimitInnerTest.cpp
  writer/RecordingStatusInnerTest.cpp
  writer/WriterDirectInnerTest.cpp
  writer/WriterFaultInnerTest.cpp
  writer/WriterHostsInnerTest.cpp
  writer/WriterLayoutInnerTest.cpp
  writer/WriterOpenInnerTest.cpp
  writer/WriterQueueInnerTest.cpp
  writer/WriterTest.cpp
  writer/WriterTimeInnerTest.cpp
  writer/WriterWorkerInnerTest.cpp
)

# A source with threads that is not in this list would never run under the thread sanitizer.
foreach(source IN LISTS KR_PUBLIC_TEST_SOURCES KR_INNER_TEST_SOURCES)
  if(NOT source IN_LIST KR_THREAD_TEST_SOURCES)
    file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/${source} lines LIMIT_COUNT 1
      REGEX "std::j?thread|std::async|KrThreadGate|EKrWorker::Thread|CKrRecorder (m_)?[a-z]+;|CKrWorkerThread")
    if(lines)
      message(FATAL_ERROR "${source} has threads and is not in KR_THREAD_TEST_SOURCES: ${lines}")
    endif()
  endif()
endforeach()

if(WIN32)
  list(APPEND KR_TEST_SUPPORT_SOURCES support/win32/KrOsTestFilesWin32.cpp)
  list(APPEND KR_PUBLIC_TEST_SOURCES win32/DirectShowSampleTest.cpp win32/LeaksTest.cpp)
  list(APPEND KR_INNER_TEST_SOURCES win32/VideoForWindowsTest.cpp win32/ViewFlushTest.cpp win32/FineSleepTest.cpp win32/DriveFolderTest.cpp win32/LockLeaksInnerTest.cpp)
  list(PREPEND KR_MODULE_TEST_SOURCES module/KrLoadedLibraryWin32.cpp win32/VersionResourceTest.cpp)
else()
  list(APPEND KR_TEST_SUPPORT_SOURCES support/posix/KrOsTestFilesPosix.cpp)
  list(APPEND KR_INNER_TEST_SOURCES posix/NameFlushTest.cpp posix/WriteLimitTest.cpp)
  list(APPEND KR_MODULE_TEST_SOURCES module/KrLoadedLibraryPosix.cpp)
endif()

# Of kravi: changes of files in place.
set(KR_MEND_TEST_SOURCES
  mend/KrCrashDisk.cpp
  mend/MendedFileTest.cpp)

# Built with locks, conditions and atomics driven by a seeded scheduler.
set(KR_SCHEDULED_TEST_SOURCES
  scheduler/CScheduledTest.cpp
  scheduler/CacheScheduledTest.cpp
  scheduler/KrPowerCut.cpp
  scheduler/KrScheduler.cpp
  scheduler/KrSyncScheduled.cpp
  scheduler/PoolScheduledTest.cpp
  scheduler/PowerCutKraviScheduledTest.cpp
  scheduler/PowerCutScheduledTest.cpp
  scheduler/ReaderScheduledTest.cpp
  scheduler/RecordingScheduledTest.cpp
  scheduler/SchedulerScheduledTest.cpp
  scheduler/WriterScheduledTest.cpp)
