# Checks that no sanitizer affects: the interface, the package, the documents, and other programs that read our files.

# Checks that need no emulator are run by the host's own shell; never as a bare target, which CTest would
# pass to the emulator.
find_program(KR_BASH bash REQUIRED)
add_test(NAME Exports COMMAND ${KR_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/exports/check-exports.sh
  $<TARGET_FILE:KrRiffUtils> ${KR_EXPORTED_NAMES})
add_test(NAME ExportsC COMMAND ${KR_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/exports/check-exports.sh
  $<TARGET_FILE:KrRiffUtilsC> ${PROJECT_BINARY_DIR}/KrRiffUtilsC.exports)
add_test(NAME PublicHeaders COMMAND ${KR_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/include/check-headers.sh
  ${CMAKE_CXX_COMPILER} ${PROJECT_SOURCE_DIR}/include)
add_test(NAME HeadersInC COMMAND ${KR_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/bindings/check-c-headers.sh
  ${CMAKE_C_COMPILER} ${PROJECT_SOURCE_DIR})
add_test(NAME Locks COMMAND ${KR_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/check-locks.sh ${PROJECT_SOURCE_DIR})
add_test(NAME Arrows COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/arrows.py --names)

add_subdirectory(abi)

# Hosts in other languages, whose compilers are large.
if(KR_FULL_TESTS AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME Languages COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/bindings/languages_test.py
    ${PROJECT_SOURCE_DIR} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} $<TARGET_FILE_DIR:KrRiffUtilsC> $<TARGET_FILE:KrCheckAvi>)
  kr_set_test_surroundings(Languages)
endif()

# Independent programs read what the writer made. They are programs of the build machine.
if(NOT CMAKE_CROSSCOMPILING)
  add_executable(KrMakeFiles peers/MakeFiles.cpp)
  target_link_libraries(KrMakeFiles PRIVATE KrTestSupport KrRiffUtilsObjects GTest::gtest)
  add_executable(KrListStreams peers/ListStreams.cpp)
  target_link_libraries(KrListStreams PRIVATE KrRiffUtils)
endif()
if(TARGET KrMakeFiles)
  add_test(NAME FromMemory COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/bindings/corpus_test.py
    $<TARGET_FILE:KrCTests> $<$<BOOL:${KR_FULL_TESTS}>:--whole> $<$<BOOL:${KR_FULL_TESTS}>:$<TARGET_FILE:KrMakeFiles>>
    COMMAND_EXPAND_LISTS)
  kr_set_test_surroundings(FromMemory)
  set_tests_properties(FromMemory PROPERTIES TIMEOUT 3600)
endif()
if(KR_TEST_PEERS AND TARGET KrMakeFiles)
  add_test(NAME Peers COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/peers/peers_test.py
    $<TARGET_FILE:KrMakeFiles>)
  add_test(NAME PeersStreams COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/peers/streams_test.py
    $<TARGET_FILE:KrListStreams> $<$<BOOL:${KR_FULL_TESTS}>:--many> COMMAND_EXPAND_LISTS)
  set_tests_properties(PeersStreams PROPERTIES TIMEOUT 3600)
  if(TARGET kravi)
    add_test(NAME PeersVerified COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/peers/verify_test.py
      $<TARGET_FILE:kravi> $<TARGET_FILE:KrMakeFiles>)
    # A few files of other programs; KR_FULL_TESTS takes all.
    add_test(NAME KraviCarries COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/peers/carry_test.py
      $<TARGET_FILE:kravi> $<TARGET_FILE:KrCheckAvi> $<$<BOOL:${KR_FULL_TESTS}>:--all>
      COMMAND_EXPAND_LISTS)
    set_tests_properties(KraviCarries PROPERTIES TIMEOUT 3600)

    if(KR_FULL_TESTS)
      add_test(NAME KraviInfo COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/peers/info_test.py
        $<TARGET_FILE:kravi>)
    endif()
    add_test(NAME KraviPeers COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/peers/copies_test.py
      $<TARGET_FILE:kravi>)
  endif()
endif()

# The copies that kravi.exe makes of the same files.
if(KR_FULL_TESTS AND CMAKE_CROSSCOMPILING AND TARGET kravi)
  add_test(NAME KraviCarries COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/peers/carry_test.py
    $<TARGET_FILE:kravi> $<TARGET_FILE:KrCheckAvi> --all --launcher ${CMAKE_CROSSCOMPILING_EMULATOR})
  kr_set_test_surroundings(KraviCarries)
  set_tests_properties(KraviCarries PROPERTIES TIMEOUT 3600)
endif()

if(KR_DOXYGEN AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME ApiReference COMMAND ${KR_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile)
  add_test(NAME ApiPages COMMAND ${KR_BASH} ${CMAKE_CURRENT_SOURCE_DIR}/docs/check-reference.sh
    ${PROJECT_BINARY_DIR}/api/html ${PROJECT_SOURCE_DIR})
  set_tests_properties(ApiPages PROPERTIES DEPENDS ApiReference)
endif()

# The package: the installed tree or the archive, without the sources.
set(package_tools "")
if(MINGW)
  set(package_tools --windows --clang=${KR_CLANG} --linker=${KR_LLD_LINK} --librarian=${KR_LLVM_LIB}
    --launcher=${CMAKE_CROSSCOMPILING_EMULATOR})
endif()
add_test(NAME Package COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package/package_test.py
  --build=${CMAKE_BINARY_DIR} --cmake=${CMAKE_COMMAND} --compiler=${CMAKE_CXX_COMPILER}
  --ccompiler=${CMAKE_C_COMPILER} --version=${PROJECT_VERSION}
  --flags=${CMAKE_CXX_FLAGS} --sources=${PROJECT_SOURCE_DIR} $<$<BOOL:${KR_FULL_TESTS}>:--full> ${package_tools})
kr_set_test_surroundings(Package)
set_tests_properties(Package PROPERTIES PASS_REGULAR_EXPRESSION "[1-9][0-9]* passed, 0 failed")

# What other packagers use. With KR_FULL_TESTS the Debian packages are built.
if(NOT CMAKE_CROSSCOMPILING AND TARGET kravi)
  add_test(NAME Recipes COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package/recipes_test.py
    ${PROJECT_SOURCE_DIR} ${CMAKE_BINARY_DIR} ${CMAKE_COMMAND} ${KR_EXPORTED_NAMES} ${PROJECT_BINARY_DIR}/KrRiffUtilsC.exports
    $<$<BOOL:${KR_FULL_TESTS}>:--debian>)
  kr_set_test_surroundings(Recipes)
  if(KR_FULL_TESTS)
    add_test(NAME Packagers COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package/packagers_test.py
      ${PROJECT_SOURCE_DIR} ${CMAKE_COMMAND})
    kr_set_test_surroundings(Packagers)
  endif()
endif()

# Runs the commands and code in README and docs.
if(TARGET kravi AND NOT CMAKE_CROSSCOMPILING)
  separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_FLAGS}")
  add_test(NAME Documents COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/docs/docs_test.py
    ${PROJECT_SOURCE_DIR} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY} ${CMAKE_CXX_COMPILER} ${flags})
endif()
