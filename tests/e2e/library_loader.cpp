// Loads the libraries that its words name, as a program does that says nothing of where to look for them. Built once as
// it is, and once, as guarded_loader, with the tool's own precautions.

#ifdef VLCMD_GUARDED
#include "win/system_library.h"
#else
#include "win/windows_api.h"
#endif

int wmain(int argc, wchar_t** argv)
{
    for (int i = 1; i < argc; ++i) {
        LoadLibraryW(argv[i]);
#ifdef VLCMD_GUARDED
        static_cast<void>(win::LoadSystemLibrary(argv[i]));
#endif
    }
    return 0;
}
