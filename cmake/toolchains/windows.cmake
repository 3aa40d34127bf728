# 64-bit Windows by MinGW-w64 with its posix threads; its programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(KX_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KX_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KX_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KX_TRIPLE}-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../scripts/run-windows)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
