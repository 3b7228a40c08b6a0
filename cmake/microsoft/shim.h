// Read before every source when clang plays Microsoft's compiler (cmake/check-microsoft.py): it has the headers of
// mingw-w64 and GCC's library speak Microsoft's dialect, and calls deprecated what Microsoft's headers call so.

// What GCC says about its atomics and clang, as Microsoft's compiler, does not.
#define __GCC_ATOMIC_BOOL_LOCK_FREE 2
#define __GCC_ATOMIC_CHAR_LOCK_FREE 2
#define __GCC_ATOMIC_CHAR8_T_LOCK_FREE 2
#define __GCC_ATOMIC_CHAR16_T_LOCK_FREE 2
#define __GCC_ATOMIC_CHAR32_T_LOCK_FREE 2
#define __GCC_ATOMIC_WCHAR_T_LOCK_FREE 2
#define __GCC_ATOMIC_SHORT_LOCK_FREE 2
#define __GCC_ATOMIC_INT_LOCK_FREE 2
#define __GCC_ATOMIC_LONG_LOCK_FREE 2
#define __GCC_ATOMIC_LLONG_LOCK_FREE 2
#define __GCC_ATOMIC_POINTER_LOCK_FREE 2
#define __GCC_ATOMIC_TEST_AND_SET_TRUEVAL 1
#define __GCC_DESTRUCTIVE_SIZE 64
#define __GCC_CONSTRUCTIVE_SIZE 64

// The C headers themselves, without what GCC's library puts around them: it would take the functions into std before they
// are called deprecated.
#define _GLIBCXX_INCLUDE_NEXT_C_HEADERS

#include <_mingw.h>
#define __MINGW_IMPORT extern __declspec(dllimport)
// Plain declarations of printf and its like, which mingw-w64 otherwise defines in terms of others.
#undef __USE_MINGW_ANSI_STDIO
#define __USE_MINGW_ANSI_STDIO 0
#include <stdio.h>
#include <wchar.h>

// The identifier of an interface is an attribute, which __uuidof reads, and not the specialisation of a template.
#undef __CRT_UUID_DECL
#define __CRT_UUID_DECL(type, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)
#include <rpc.h>
#include <rpcndr.h>
#undef DECLSPEC_UUID
#define DECLSPEC_UUID(x) __declspec(uuid(x))
#undef MIDL_INTERFACE
#define MIDL_INTERFACE(x) struct __declspec(uuid(x))

#include "deprecated.h"

#undef _GLIBCXX_INCLUDE_NEXT_C_HEADERS
