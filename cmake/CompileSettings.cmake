# vlcmd_settings: what every target of ours is compiled with. Code from elsewhere does not link it.
# vlcmd_checks:   assertions of the standard library on, undefined behaviour trapped; for the tests and the debug build.

add_library(vlcmd_settings INTERFACE)
target_compile_definitions(vlcmd_settings INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601
  PSAPI_VERSION=2)
target_include_directories(vlcmd_settings INTERFACE "${PROJECT_SOURCE_DIR}/src")

add_library(vlcmd_checks INTERFACE)

if(MSVC)
  # The resource compiler takes none of these.
  target_compile_options(vlcmd_settings INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:/W4 /WX /permissive- /utf-8 /EHsc /Zc:__cplusplus>)
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  # Both are for code that is not optimised: the compiler refuses /RTC1 together with /O2.
  target_compile_definitions(vlcmd_checks INTERFACE $<$<CONFIG:Debug>:_ITERATOR_DEBUG_LEVEL=2>)
  target_compile_options(vlcmd_checks INTERFACE $<$<AND:$<CONFIG:Debug>,$<COMPILE_LANGUAGE:CXX>>:/RTC1>)
else()
  target_compile_options(vlcmd_settings INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Werror
    -ffunction-sections -fdata-sections>)
  target_link_options(vlcmd_settings INTERFACE -static -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(vlcmd_settings INTERFACE -Wl,--high-entropy-va)
  else()
    # The old floating-point unit calculates with more digits than a double holds, and rounds otherwise.
    target_compile_options(vlcmd_settings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-msse2 -mfpmath=sse>)
  endif()
  target_compile_definitions(vlcmd_checks INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(vlcmd_checks INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fsanitize=undefined -fsanitize-undefined-trap-on-error>)
endif()
