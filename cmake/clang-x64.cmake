# clang and its linker for the target of mingw-x64.cmake, with the headers, the libraries and the resource compiler of
# mingw-w64: a second opinion on sources that a compiler other than GCC will build.

include("${CMAKE_CURRENT_LIST_DIR}/mingw-x64.cmake")

# clang does not find what GCC keeps in a folder of Debian's naming.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name OUTPUT_VARIABLE gcc_library
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET gcc_library PARENT_PATH gcc_folder)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${mingw})
set(CMAKE_CXX_COMPILER_TARGET ${mingw})

# What GCC takes for granted of its library for this target: how it keeps what is of one thread, and that it has the
# comparison of types itself.
set(CMAKE_CXX_FLAGS_INIT "-femulated-tls -D__GXX_TYPEINFO_EQUALITY_INLINE=0")
foreach(folder "${gcc_folder}/include/c++" "${gcc_folder}/include/c++/${mingw}")
  string(APPEND CMAKE_CXX_FLAGS_INIT " -stdlib++-isystem ${folder}")
endforeach()
foreach(kind EXE SHARED MODULE)
  # GCC's library stands on that of the threads.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -L${gcc_folder} -lpthread")
endforeach()

# Each source is read with what it includes itself and nothing else.
set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
