# The sources of the test programs, by name.
set(KR_TEST_SUPPORT_SOURCES
  support/KrAviBuilder.cpp
  support/KrAviRecords.cpp
  support/KrByteWriter.cpp
  support/KrCountingFileSystem.cpp
  support/KrFaultyFileSystem.cpp
  support/KrFileContent.cpp
  support/KrMemoryFileSystem.cpp
  support/KrSimpleAvi.cpp
  support/KrTempFolder.cpp
)

if(WIN32)
  list(APPEND KR_TEST_SUPPORT_SOURCES support/win32/KrOsTestFilesWin32.cpp)
else()
  list(APPEND KR_TEST_SUPPORT_SOURCES support/posix/KrOsTestFilesPosix.cpp)
endif()

set(KR_PUBLIC_TEST_SOURCES
  include/ArrayOperationsTest.cpp
  include/ArrayTest.cpp
  include/DWordArrayTest.cpp
  include/RecordLayoutsTest.cpp
  reader/HeaderParseAudioTest.cpp
  reader/HeaderParseFileTest.cpp
  reader/HeaderParseListTest.cpp
  reader/HeaderParseVideoTest.cpp
  reader/PixelAspectTest.cpp
  reader/StreamDetectionTest.cpp
  reader/VideoFormatTest.cpp
  riffutils/QueryAnswersTest.cpp
  riffutils/QueryChunkChecksTest.cpp
  riffutils/QueryLookupTest.cpp
  riffutils/QueryPathTest.cpp
  riffutils/QueryReaderTest.cpp
  riffutils/ReaderCacheTest.cpp
)

set(KR_INNER_TEST_SOURCES
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
  platform/EqualIgnoringCaseTest.cpp
  platform/FileSystemScopeTest.cpp
  platform/FilesTest.cpp
  platform/LongPathTest.cpp
  platform/OsTypesTest.cpp
  reader/ChunkLookupFaultsInnerTest.cpp
  reader/ChunkLookupInnerTest.cpp
  reader/ChunkLookupReferenceInnerTest.cpp
  reader/ChunkLookupZerosInnerTest.cpp
  reader/HeaderParseDamageInnerTest.cpp
  reader/HeaderParseInnerTest.cpp
  reader/PixelAspectInnerTest.cpp
  reader/StreamDetectionInnerTest.cpp
  reader/VideoFormatInnerTest.cpp
  siblings/AVUtilsInnerTest.cpp
  support/AviBuilderTest.cpp
  support/AviRecordsTest.cpp
  support/FileContentTest.cpp
  support/FileSystemFakesTest.cpp
  support/RefTest.cpp
  support/SimpleAviTest.cpp
  support/TempFolderTest.cpp
)

set(KR_MODULE_TEST_SOURCES
)

