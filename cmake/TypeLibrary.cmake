# vlcmd_compile_idl(<idl> <header> <type library>)
#
# Makes the C++ header and the type library of an interface description, both in one folder: with midl under Visual C++,
# with widl elsewhere. widl takes the imported descriptions and the standard type library from Wine's development files.

if(NOT MSVC)
  find_program(WIDL NAMES x86_64-w64-mingw32-widl widl REQUIRED)
  find_path(WIDL_IMPORTS oaidl.idl HINTS /usr/include/wine/wine/windows /usr/include/wine-development/windows REQUIRED
    NO_CMAKE_FIND_ROOT_PATH)
  find_path(WIDL_LIBRARIES stdole2.tlb HINTS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows REQUIRED
    NO_CMAKE_FIND_ROOT_PATH)
endif()

if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(widl_bits -m64)
  set(midl_environment x64)
else()
  set(widl_bits -m32)
  set(midl_environment win32)
endif()

function(vlcmd_compile_idl idl header typelib)
  if(MSVC)
    # midl wants the folder and the names apart. It makes proxy code, too, which nobody compiles.
    cmake_path(GET header PARENT_PATH folder)
    cmake_path(GET header FILENAME header_name)
    cmake_path(GET typelib FILENAME typelib_name)
    add_custom_command(OUTPUT "${header}" "${typelib}"
      COMMAND midl /nologo /char signed /env ${midl_environment} /out "${folder}" /h "${header_name}"
              /tlb "${typelib_name}" /iid "${header_name}.iid.c" /proxy "${header_name}.proxy.c"
              /dlldata "${header_name}.dlldata.c" "${idl}"
      DEPENDS "${idl}" VERBATIM)
  else()
    add_custom_command(OUTPUT "${header}"
      COMMAND "${WIDL}" "-I${WIDL_IMPORTS}" ${widl_bits} -h -o "${header}" "${idl}"
      DEPENDS "${idl}" VERBATIM)
    add_custom_command(OUTPUT "${typelib}"
      COMMAND "${WIDL}" "-I${WIDL_IMPORTS}" "-L${WIDL_LIBRARIES}" ${widl_bits} -t -o "${typelib}" "${idl}"
      DEPENDS "${idl}" VERBATIM)
  endif()
endfunction()
