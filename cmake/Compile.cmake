# How everything here is compiled: the language, the warnings, the hardening and the sanitizers.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
find_package(Threads REQUIRED)

set(QVPOST_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
option(QVPOST_WERROR "Treat warnings as errors" OFF)
# The run-time libraries of the sanitizers are shared. The option is reset when the sanitizers change in the same build
# directory.
include(CMakeDependentOption)
cmake_dependent_option(QVPOST_STATIC "Link the programs fully static" ON "NOT QVPOST_SANITIZE" OFF)

# The flags of every target of this project; none of them reaches the users of the library.
add_library(qvpost_warnings INTERFACE)
target_compile_options(qvpost_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor -Wundef
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${QVPOST_WERROR}>:-Werror>)
target_include_directories(qvpost_warnings INTERFACE ${PROJECT_SOURCE_DIR})

# The flags of the product. Its link options are those that its objects require, since they reach every program that is
# linked with the library.
add_library(qvpost_compile INTERFACE)
target_link_libraries(qvpost_compile INTERFACE qvpost_warnings)
# The same with the link options of our own programs.
add_library(qvpost_flags INTERFACE)
target_link_libraries(qvpost_flags INTERFACE qvpost_compile)
if(QVPOST_SANITIZE)
  # The vptr check opens a pipe and reports false errors at the limit of descriptors; the product does not need it.
  set(sanitize -fsanitize=${QVPOST_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(qvpost_compile INTERFACE ${sanitize})
  target_link_options(qvpost_compile INTERFACE ${sanitize})
else()
  target_compile_options(qvpost_compile INTERFACE -fstack-protector-strong -fstack-clash-protection)
  # It needs an optimizing build; a project around this one may build without a type.
  target_compile_definitions(qvpost_compile INTERFACE $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
  target_link_options(qvpost_flags INTERFACE -Wl,-z,relro,-z,now)
  # Unreachable sections are dropped: an empty run costs as many page faults as the program has pages to relocate.
  target_compile_options(qvpost_compile INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(qvpost_flags INTERFACE -Wl,--gc-sections)
endif()

# A program that depends on no file of the system that it updates.
include(CheckLinkerFlag)
function(qvpost_link_static program)
  if(NOT QVPOST_STATIC)
    return()
  endif()
  # Some systems lack the start-up code of a static program that can be loaded at any address.
  set(CMAKE_REQUIRED_FLAGS -fPIE)
  check_linker_flag(CXX -static-pie static_pie_links)
  target_link_options(${program} PRIVATE $<IF:$<BOOL:${static_pie_links}>,-static-pie,-static>)
  check_linker_flag(CXX -Wl,-z,pack-relative-relocs relocations_pack)
  if(relocations_pack)
    target_link_options(${program} PRIVATE -Wl,-z,pack-relative-relocs)
  endif()
endfunction()
