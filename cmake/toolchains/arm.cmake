# 32-bit ARM Linux: `long` and pointers of 4 bytes, `char` without a sign.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(KX_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${KX_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KX_TRIPLE}-g++)
include(${CMAKE_CURRENT_LIST_DIR}/qemu.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
