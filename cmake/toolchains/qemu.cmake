# Programs for another processor run under qemu, on the C library of its compiler. That one comes
# without converters of code pages; `scripts/setup` fetches them.
set(KX_CONVERTERS ${CMAKE_CURRENT_LIST_DIR}/../../build/third-party/gconv-${CMAKE_SYSTEM_PROCESSOR})
get_filename_component(KX_CONVERTERS ${KX_CONVERTERS} ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-${CMAKE_SYSTEM_PROCESSOR};-L;/usr/${KX_TRIPLE};-E;GCONV_PATH=${KX_CONVERTERS})
