# 32-bit ARM with hardware floating point: the card.
set(TELNO_ARCHITECTURE armhf)
set(TELNO_TRIPLET arm-linux-gnueabihf)
set(TELNO_EMULATOR qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # notes about gcc 6, which no library here was built with
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
