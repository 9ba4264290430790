# 64-bit ARM.
set(TELNO_ARCHITECTURE arm64)
set(TELNO_TRIPLET aarch64-linux-gnu)
set(TELNO_EMULATOR qemu-aarch64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
