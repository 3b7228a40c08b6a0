// A library that somebody has put beside a program under the name of one of Windows' own. When it runs, it leaves a
// file of its own path and ".ran".

#include "win/windows_api.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void* /*reserved*/)
{
    if (reason == DLL_PROCESS_ATTACH) {
        constexpr wchar_t kExtension[] = L".ran";
        constexpr DWORD kSize = 1024;
        wchar_t path[kSize + ARRAYSIZE(kExtension)] = {};
        lstrcatW(path + GetModuleFileNameW(library, path, kSize), kExtension);
        CloseHandle(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
    return TRUE;
}
