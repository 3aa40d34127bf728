# Code of others that the tool and the tests need: this machine's own packages where the build is for
# this machine; for another target their sources, which `scripts/setup` has fetched.

set(KX_THIRD_PARTY ${CMAKE_SOURCE_DIR}/build/third-party)

# kx_third_party_sources(NAME VARIABLE): the folder of a fetched source package.
function(kx_third_party_sources name variable)
  if(NOT EXISTS ${KX_THIRD_PARTY}/${name})
    message(FATAL_ERROR "${KX_THIRD_PARTY}/${name} is missing: run scripts/setup for this preset")
  endif()
  set(${variable} ${KX_THIRD_PARTY}/${name} PARENT_SCOPE)
endfunction()

# kx_third_party_project(NAME): builds a package that has a build of its own.
function(kx_third_party_project name)
  kx_third_party_sources(${name} folder)
  set(CMAKE_WARN_DEPRECATED OFF)
  set(CMAKE_POLICY_VERSION_MINIMUM 3.5)
  add_subdirectory(${folder} ${CMAKE_BINARY_DIR}/third-party/${name} EXCLUDE_FROM_ALL SYSTEM)
endfunction()

# kx_system_library(NAME HEADER): a library of this machine's that brings no package file, as kx_NAME.
function(kx_system_library name header)
  find_library(KX_${name}_LIBRARY ${name} REQUIRED)
  find_path(KX_${name}_INCLUDE ${header} REQUIRED)
  add_library(kx_${name} INTERFACE)
  target_include_directories(kx_${name} SYSTEM INTERFACE ${KX_${name}_INCLUDE})
  target_link_libraries(kx_${name} INTERFACE ${KX_${name}_LIBRARY})
endfunction()

if(NOT CMAKE_CROSSCOMPILING)
  find_package(GTest REQUIRED)
  find_package(CLI11 REQUIRED)
  find_package(pugixml REQUIRED)
  find_package(nlohmann_json REQUIRED)
  find_package(fmt REQUIRED)
  kx_system_library(lodepng lodepng.h)
  kx_system_library(md4c md4c.h)
  kx_system_library(re2 re2/re2.h)
  kx_system_library(utf8proc utf8proc.h)
  return()
endif()

set(INSTALL_GTEST OFF)
set(BUILD_SHARED_LIBS OFF)
kx_third_party_project(googletest)
kx_third_party_project(pugixml)

kx_third_party_sources(cli11 folder)
add_library(kx_cli11 INTERFACE)
target_include_directories(kx_cli11 SYSTEM INTERFACE ${folder}/include)
add_library(CLI11::CLI11 ALIAS kx_cli11)

kx_third_party_sources(nlohmann-json3 folder)
add_library(kx_json INTERFACE)
target_include_directories(kx_json SYSTEM INTERFACE ${folder}/single_include)
add_library(nlohmann_json::nlohmann_json ALIAS kx_json)

kx_third_party_sources(fmtlib folder)
add_library(kx_fmt INTERFACE)
target_include_directories(kx_fmt SYSTEM INTERFACE ${folder}/include)
target_compile_definitions(kx_fmt INTERFACE FMT_HEADER_ONLY=1)
add_library(fmt::fmt-header-only ALIAS kx_fmt)

# A library of its own, as Debian's is, so that tests that let the tool run out of memory leave it
# alone: it may then make another picture and say nothing. Nobody tests that on Windows, where programs
# need fewer libraries beside them.
kx_third_party_sources(lodepng folder)
set(kind SHARED)
if(WIN32)
  set(kind STATIC)
endif()
add_library(kx_lodepng ${kind} EXCLUDE_FROM_ALL ${folder}/lodepng.cpp)
set_target_properties(kx_lodepng PROPERTIES CXX_VISIBILITY_PRESET default)
target_include_directories(kx_lodepng SYSTEM PUBLIC ${folder})

kx_third_party_sources(md4c folder)
add_library(kx_md4c STATIC EXCLUDE_FROM_ALL ${folder}/src/md4c.c)
target_include_directories(kx_md4c SYSTEM PUBLIC ${folder}/src)
target_compile_definitions(kx_md4c PRIVATE MD4C_USE_UTF8)

# Its own build has tests and an installation in it, which nobody here needs.
kx_third_party_sources(re2 folder)
file(GLOB KX_RE2_SOURCES CONFIGURE_DEPENDS ${folder}/re2/*.cc)
list(APPEND KX_RE2_SOURCES ${folder}/util/rune.cc ${folder}/util/strutil.cc)
# Debian leaves out what is generated, and generates it from its own Unicode tables.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
find_program(KX_PERL perl REQUIRED)
foreach(table perl_groups.pl unicode_casefold.py unicode_groups.py)
  get_filename_component(name ${table} NAME_WE)
  set(source ${CMAKE_BINARY_DIR}/third-party/re2/${name}.cc)
  set(program ${Python3_EXECUTABLE})
  if(table MATCHES "pl$")
    set(program ${KX_PERL})
  endif()
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/third-party/re2)
  add_custom_command(OUTPUT ${source}
    COMMAND ${program} ${folder}/re2/make_${table} > ${source} DEPENDS ${folder}/re2/make_${table})
  list(APPEND KX_RE2_SOURCES ${source})
endforeach()
add_library(kx_re2 STATIC EXCLUDE_FROM_ALL ${KX_RE2_SOURCES})
target_include_directories(kx_re2 SYSTEM PUBLIC ${folder})
target_link_libraries(kx_re2 PUBLIC Threads::Threads)

kx_third_party_sources(utf8proc folder)
add_library(kx_utf8proc STATIC EXCLUDE_FROM_ALL ${folder}/utf8proc.c)
target_include_directories(kx_utf8proc SYSTEM PUBLIC ${folder})
target_compile_definitions(kx_utf8proc PUBLIC UTF8PROC_STATIC)
