# The device: 32-bit ARM Linux, hard float, with Debian's cross compiler; tests run under qemu-arm.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# No notes that GCC 7 passed some arguments in another way: nothing here is linked with its objects.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_STRIP arm-linux-gnueabihf-strip)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf CACHE STRING "Runs tests")
# For packages: Debian's name of the device, and where the compiler's packages keep its libraries.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS /usr/arm-linux-gnueabihf/lib)
