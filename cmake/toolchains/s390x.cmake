# s390x Linux: the first byte of a number is its highest.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(KX_TRIPLE s390x-linux-gnu)
set(CMAKE_C_COMPILER ${KX_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KX_TRIPLE}-g++)
include(${CMAKE_CURRENT_LIST_DIR}/qemu.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
