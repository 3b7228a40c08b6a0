#pragma once

// Windows' headers as this project sees them. Everything includes this file and never <windows.h> itself, because
// windows.h turns some of our own names into macros.

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>

#undef GetMessage
#undef GetComputerName
