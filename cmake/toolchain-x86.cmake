# 32-bit x86 build on an x86-64 host. Test programs run under qemu-i386
# because the host kernel cannot run 32-bit programs directly.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
