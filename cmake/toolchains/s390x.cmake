# s390x Linux: the first byte of a number is its highest.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(KX_TRIPLE s390x-linux-gnu)
set(CMAKE_C_COMPILER ${KX_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KX_TRIPLE}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x;-L;/usr/${KX_TRIPLE})
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
