# The same programs in Microsoft's ABI, built by clang and linked by lld against KrRiffUtils.lib.
if(NOT KR_LLVM_LIB)
  message(FATAL_ERROR "The tests of Microsoft's ABI need llvm-lib")
endif()
find_program(KR_CLANG NAMES clang++-19 clang++-20 clang++-18 REQUIRED DOC "Compiles for Microsoft's ABI")
find_program(KR_LLD_LINK NAMES lld-link-19 lld-link-20 lld-link-18 REQUIRED DOC "Microsoft's linker, as LLVM has it")
find_program(KR_LLVM_NM NAMES llvm-nm-19 llvm-nm-20 llvm-nm-18 REQUIRED DOC "Lists symbols")
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libkernel32.a OUTPUT_VARIABLE kernel32
  OUTPUT_STRIP_TRAILING_WHITESPACE)

set(ms_runtime_library ${CMAKE_CURRENT_BINARY_DIR}/msvcrt.lib)
add_custom_command(OUTPUT ${ms_runtime_library}
  COMMAND ${KR_LLVM_LIB} /nologo /machine:x64 /def:${CMAKE_CURRENT_SOURCE_DIR}/ms/msvcrt.def /out:${ms_runtime_library}
  DEPENDS ms/msvcrt.def VERBATIM)
set(KR_MS_FLAGS --target=x86_64-pc-windows-msvc -std=c++17 -O2 -ffreestanding -fno-exceptions -fno-rtti -Wall -Wextra
  -Werror -Wno-non-virtual-dtor -Wno-delete-non-abstract-non-virtual-dtor)

# add_executable for Microsoft's ABI; INCLUDES are folders of headers.
function(kr_add_microsoft_executable name source)
  set(objects "")
  foreach(file ${source} ms/Start.cpp)
    get_filename_component(stem ${file} NAME_WE)
    set(object ${CMAKE_CURRENT_BINARY_DIR}/${name}-${stem}.obj)
    set(includes "")
    foreach(folder IN LISTS ARGN ITEMS ${PROJECT_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR})
      list(APPEND includes -I ${folder})
    endforeach()
    add_custom_command(OUTPUT ${object}
      COMMAND ${KR_CLANG} ${KR_MS_FLAGS} ${includes} -isystem ${CMAKE_CURRENT_SOURCE_DIR}/ms/include
        -c ${CMAKE_CURRENT_SOURCE_DIR}/${file} -o ${object}
      DEPENDS ${file} slots.inc KrHostObjects.h KrHostPlatform.h ${public_headers} ${swapped}.stamp VERBATIM)
    list(APPEND objects ${object})
  endforeach()
  set(program ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}.exe)
  set(import_library ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/KrRiffUtils.lib)
  add_custom_command(OUTPUT ${program}
    COMMAND ${KR_LLD_LINK} /nologo /subsystem:console /entry:KrStart /nodefaultlib /out:${program} ${objects}
      ${import_library} ${ms_runtime_library} ${kernel32}
    DEPENDS ${objects} ${ms_runtime_library} KrMicrosoftImportLibrary VERBATIM)
  add_custom_target(Build${name} ALL DEPENDS ${program})
  add_dependencies(Build${name} KrMicrosoftImportLibrary KrSwappedHeaders)
endfunction()

# CMake runs only its own targets through the emulator, so it is named here.
function(kr_add_microsoft_test name program output)
  kr_add_abi_test(${name} "${CMAKE_CROSSCOMPILING_EMULATOR};${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${program}.exe"
    "${output}")
endfunction()

kr_add_microsoft_executable(KrMicrosoftHost Host.cpp)
kr_add_microsoft_executable(KrMicrosoftSlotProbe SlotProbe.cpp)
kr_add_microsoft_executable(KrMicrosoftSwappedSlotProbe SlotProbe.cpp ${swapped})
kr_add_microsoft_test(MicrosoftHost KrMicrosoftHost "host: [1-9][0-9]+ checks, 0 failed")
kr_add_microsoft_test(MicrosoftSlots KrMicrosoftSlotProbe "${all_right}")
kr_add_microsoft_test(MicrosoftSlotsSwapped KrMicrosoftSwappedSlotProbe "${swap_found}")

add_test(NAME SlotTables COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/check_slots.py
  ${PROJECT_SOURCE_DIR}/include ${KR_CLANG} ${CMAKE_CXX_COMPILER})
add_test(NAME SlotTablesSwapped COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/check_slots.py
  ${swapped} ${KR_CLANG} ${CMAKE_CXX_COMPILER})
set_tests_properties(SlotTablesSwapped PROPERTIES
  PASS_REGULAR_EXPRESSION "IKrRiffReader: clang has .*, listed is .*57 slots of 6 interfaces, 1 wrong")
add_test(NAME ExportedNames COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/check_names.py
  ${KR_EXPORTS_LIST} ${PROJECT_SOURCE_DIR}/include ${KR_CLANG} ${KR_LLVM_NM} ${CMAKE_CXX_COMPILER} ${CMAKE_NM})
add_test(NAME HeadersInCMicrosoft COMMAND ${KR_BASH} ${PROJECT_SOURCE_DIR}/tests/bindings/check-c-headers.sh
  ${KR_CLANG} ${PROJECT_SOURCE_DIR} --target=x86_64-pc-windows-msvc -ffreestanding -isystem ${CMAKE_CURRENT_SOURCE_DIR}/ms/include)
add_test(NAME PublicHeadersMicrosoft COMMAND ${KR_BASH} ${PROJECT_SOURCE_DIR}/tests/include/check-headers.sh
  ${KR_CLANG} ${PROJECT_SOURCE_DIR}/include --target=x86_64-pc-windows-msvc)
