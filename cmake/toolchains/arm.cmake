# 32-bit ARM Linux: `long` and pointers of 4 bytes, `char` without a sign.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(KX_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${KX_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KX_TRIPLE}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;/usr/${KX_TRIPLE})
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
