# What every target of the project is built with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)  # the build folder may be moved

# The folder of fileio/platform and kxo/platform that this system takes.
if(WIN32)
  set(KX_SYSTEM win32)
else()
  set(KX_SYSTEM posix)
endif()

add_library(kx_options INTERFACE)
target_compile_options(kx_options INTERFACE -Wall -Wextra -Wpedantic -Werror)
# When it optimises, GCC 12 takes joining a literal and a std::string for overlapping copies.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(kx_options INTERFACE -Wno-restrict)
endif()
# Lengths beyond 2 GiB and times beyond 2038 also where the system's own types have 32 bits.
target_compile_definitions(kx_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(KX_SANITIZE)
  target_compile_options(kx_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kx_options INTERFACE -fsanitize=address,undefined)
  if(CMAKE_C_COMPILER_ID STREQUAL "Clang")
    # Its check of called functions exports their types. Programs in C load the library, which is not.
    target_compile_options(kx_options INTERFACE -fno-sanitize=function)
    target_link_options(kx_options INTERFACE $<$<LINK_LANGUAGE:C>:-fsanitize-link-c++-runtime>)
    target_link_libraries(kx_options INTERFACE $<$<LINK_LANGUAGE:C>:stdc++>)
  endif()
endif()
if(KX_FUZZ)
  target_compile_options(kx_options INTERFACE
    -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kx_options INTERFACE -fsanitize=address,undefined)
endif()

# CException::Delete() may be called on null and answers for that itself: neither it nor its callers
# may take a called member as proof that the pointer is not null.
add_library(kx_may_delete_null INTERFACE)
target_compile_options(kx_may_delete_null INTERFACE -fno-delete-null-pointer-checks)

# The tests make such calls on purpose. UBSan's checks of the object pointer would stop at them;
# what a null pointer leads to otherwise, AddressSanitizer still reports. The library tests a thrown
# pointer before it uses it, so there these checks stay on.
add_library(kx_calls_on_null INTERFACE)
target_link_libraries(kx_calls_on_null INTERFACE kx_may_delete_null)
if(KX_SANITIZE OR KX_FUZZ)
  target_compile_options(kx_calls_on_null INTERFACE -fno-sanitize=null,vptr)
endif()

# kx_compile_together(TARGET [SOURCE...]): where KX_UNITY is on, the target's sources in a folder are
# one to the compiler, since most of a source's time goes into the headers that they share. Not the
# listed ones, whose own names their neighbours use as well.
function(kx_compile_together target)
  if(NOT KX_UNITY)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  list(REMOVE_ITEM sources ${ARGN})
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source)
    cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE folder)
    cmake_path(GET folder PARENT_PATH folder)
    string(MAKE_C_IDENTIFIER ${folder} group)
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
  endforeach()
endfunction()

# kx_copy_runtime(FOLDER NAME...): puts DLLs of the compiler's runtime into a folder.
function(kx_copy_runtime folder)
  foreach(name IN LISTS ARGN)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}.dll
      OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${file}")
      message(FATAL_ERROR "the compiler has no ${name}.dll")
    endif()
    file(COPY ${file} DESTINATION ${folder})
  endforeach()
endfunction()
