# How everything here is compiled: the language, the warnings, the hardening and the sanitizers, each said once.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
find_package(Threads REQUIRED)

set(QVPOST_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
option(QVPOST_WERROR "Treat warnings as errors" OFF)
option(QVPOST_COVERAGE "Count the lines that run" OFF)
set(static_default ON)
if(QVPOST_SANITIZE OR QVPOST_COVERAGE)
  set(static_default OFF)
endif()
option(QVPOST_STATIC "Link the programs fully static" ${static_default})

# What every target of ours is held to; nothing of it reaches the users of the library.
add_library(qvpost_warnings INTERFACE)
target_compile_options(qvpost_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor -Wundef
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${QVPOST_WERROR}>:-Werror>)
target_include_directories(qvpost_warnings INTERFACE ${PROJECT_SOURCE_DIR})

# The product, and what is linked with it.
add_library(qvpost_flags INTERFACE)
target_link_libraries(qvpost_flags INTERFACE qvpost_warnings)
if(QVPOST_SANITIZE)
  # The check of virtual tables opens a pipe, and errs at the limit of descriptors; nothing here has one.
  set(sanitize -fsanitize=${QVPOST_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(qvpost_flags INTERFACE ${sanitize})
  target_link_options(qvpost_flags INTERFACE ${sanitize})
else()
  target_compile_options(qvpost_flags INTERFACE -fstack-protector-strong -fstack-clash-protection)
  target_compile_definitions(qvpost_flags INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
  target_link_options(qvpost_flags INTERFACE -Wl,-z,relro,-z,now)
  # What nothing reaches is left out: an empty run costs as many page faults as the program has pages to relocate.
  target_compile_options(qvpost_flags INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(qvpost_flags INTERFACE -Wl,--gc-sections)
endif()
if(QVPOST_COVERAGE)
  target_compile_options(qvpost_flags INTERFACE --coverage -O0 -U_FORTIFY_SOURCE)
  target_link_options(qvpost_flags INTERFACE --coverage)
endif()

# A program that needs no file of the system that it works on.
include(CheckLinkerFlag)
function(qvpost_link_static program)
  if(NOT QVPOST_STATIC)
    return()
  endif()
  target_link_options(${program} PRIVATE -static-pie)
  check_linker_flag(CXX -Wl,-z,pack-relative-relocs relocations_pack)
  if(relocations_pack)
    target_link_options(${program} PRIVATE -Wl,-z,pack-relative-relocs)
  endif()
endfunction()
