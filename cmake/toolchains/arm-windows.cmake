# Windows on the handheld's processor: clang with the headers of MinGW-w64. There is no C++ runtime to
# link with, so only objects are made.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(KX_TRIPLE x86_64-w64-mingw32)
file(GLOB KX_GCC_FOLDER /usr/lib/gcc/${KX_TRIPLE}/*-posix)
foreach(language C CXX)
  set(CMAKE_${language}_COMPILER_TARGET thumbv7-w64-windows-gnu)
endforeach()
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_RC_COMPILER ${KX_TRIPLE}-windres)
set(CMAKE_C_FLAGS_INIT "-isystem /usr/${KX_TRIPLE}/include")
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${KX_GCC_FOLDER}/include/c++ \
-isystem ${KX_GCC_FOLDER}/include/c++/${KX_TRIPLE} -isystem /usr/${KX_TRIPLE}/include")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(KX_OBJECTS_ONLY ON CACHE BOOL "" FORCE)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
