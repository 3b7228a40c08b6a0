// The functions that Microsoft's headers declare deprecated, as far as mingw-w64 has them: the compiler warns of each use
// (C4996), which the project makes an error.

#include <corecrt.h>

// mingw-w64 defines these in its header, where it is too late to call them deprecated.
extern "C" {
static __inline __declspec(deprecated) char* ctime(const time_t*);
static __inline __declspec(deprecated) struct tm* gmtime(const time_t*);
static __inline __declspec(deprecated) struct tm* localtime(const time_t*);
}

#include <direct.h>
#include <io.h>
#include <process.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/timeb.h>
#include <time.h>
#include <wchar.h>

#include <winsock2.h>

#include <windows.h>

#define DEPRECATED(function) __declspec(deprecated) decltype(function) function

extern "C" {

// Windows: what tells its version (sysinfoapi.h), and the sockets of older days (winsock2.h).
DEPRECATED(GetVersion);
DEPRECATED(GetVersionExA);
DEPRECATED(GetVersionExW);
DEPRECATED(WSAAddressToStringA);
DEPRECATED(WSAStringToAddressA);
DEPRECATED(WSAAsyncGetHostByAddr);
DEPRECATED(WSAAsyncGetHostByName);
DEPRECATED(WSAAsyncGetProtoByName);
DEPRECATED(WSAAsyncGetProtoByNumber);
DEPRECATED(WSAAsyncGetServByName);
DEPRECATED(WSAAsyncGetServByPort);
DEPRECATED(WSAAsyncSelect);
DEPRECATED(WSACancelAsyncRequest);
DEPRECATED(WSACancelBlockingCall);
DEPRECATED(WSADuplicateSocketA);
DEPRECATED(WSAEnumProtocolsA);
DEPRECATED(WSAIsBlocking);
DEPRECATED(WSASetBlockingHook);
DEPRECATED(WSASocketA);
DEPRECATED(WSAUnhookBlockingHook);
DEPRECATED(gethostbyaddr);
DEPRECATED(gethostbyname);
DEPRECATED(inet_addr);
DEPRECATED(inet_ntoa);

// The C runtime: what writes without knowing the size of its buffer, or keeps its answer in a place of its own.
DEPRECATED(_creat);
DEPRECATED(_i64toa);
DEPRECATED(_i64tow);
DEPRECATED(_itoa);
DEPRECATED(_itow);
DEPRECATED(_ltoa);
DEPRECATED(_ltow);
DEPRECATED(_makepath);
DEPRECATED(_mktemp);
DEPRECATED(_open);
DEPRECATED(_searchenv);
DEPRECATED(_snprintf);
DEPRECATED(_snwprintf);
DEPRECATED(_sopen);
DEPRECATED(_splitpath);
DEPRECATED(_strdate);
DEPRECATED(_strerror);
DEPRECATED(_strlwr);
DEPRECATED(_strnset);
DEPRECATED(_strset);
DEPRECATED(_strtime);
DEPRECATED(_strupr);
DEPRECATED(_ui64toa);
DEPRECATED(_ui64tow);
DEPRECATED(_ultoa);
DEPRECATED(_ultow);
DEPRECATED(_umask);
DEPRECATED(_vsnprintf);
DEPRECATED(_vsnwprintf);
DEPRECATED(_wasctime);
DEPRECATED(_wcreat);
DEPRECATED(_wcserror);
DEPRECATED(_wcslwr);
DEPRECATED(_wcsnset);
DEPRECATED(_wcsset);
DEPRECATED(_wcsupr);
DEPRECATED(_wfopen);
DEPRECATED(_wfreopen);
DEPRECATED(_wgetenv);
DEPRECATED(_wmakepath);
DEPRECATED(_wmktemp);
DEPRECATED(_wopen);
DEPRECATED(_wsearchenv);
DEPRECATED(_wsopen);
DEPRECATED(_wsplitpath);
DEPRECATED(_wstrdate);
DEPRECATED(_wstrtime);
DEPRECATED(_wtmpnam);
DEPRECATED(asctime);
DEPRECATED(fopen);
DEPRECATED(freopen);
DEPRECATED(fscanf);
DEPRECATED(fwscanf);
DEPRECATED(getenv);
DEPRECATED(mbsrtowcs);
DEPRECATED(mbstowcs);
DEPRECATED(scanf);
DEPRECATED(setbuf);
DEPRECATED(sprintf);
DEPRECATED(sscanf);
DEPRECATED(strcat);
DEPRECATED(strcpy);
DEPRECATED(strerror);
DEPRECATED(strncat);
DEPRECATED(strncpy);
DEPRECATED(strtok);
DEPRECATED(swscanf);
DEPRECATED(tmpfile);
DEPRECATED(tmpnam);
DEPRECATED(vsprintf);
DEPRECATED(wcrtomb);
DEPRECATED(wcscat);
DEPRECATED(wcscpy);
DEPRECATED(wcsncat);
DEPRECATED(wcsncpy);
DEPRECATED(wcsrtombs);
DEPRECATED(wcstok);
DEPRECATED(wcstombs);
DEPRECATED(wctomb);
DEPRECATED(wscanf);

// The C runtime: names of POSIX without the underscore that the C standard wants there.
DEPRECATED(access);
DEPRECATED(chdir);
DEPRECATED(chmod);
DEPRECATED(chsize);
DEPRECATED(close);
DEPRECATED(creat);
DEPRECATED(dup);
DEPRECATED(dup2);
DEPRECATED(execv);
DEPRECATED(fdopen);
DEPRECATED(fileno);
DEPRECATED(filelength);
DEPRECATED(getcwd);
DEPRECATED(getpid);
DEPRECATED(isatty);
DEPRECATED(itoa);
DEPRECATED(lseek);
DEPRECATED(ltoa);
DEPRECATED(memccpy);
DEPRECATED(memicmp);
DEPRECATED(mkdir);
DEPRECATED(mktemp);
DEPRECATED(open);
DEPRECATED(putenv);
DEPRECATED(read);
DEPRECATED(rmdir);
DEPRECATED(setmode);
DEPRECATED(sopen);
DEPRECATED(strcmpi);
DEPRECATED(strdup);
DEPRECATED(stricmp);
DEPRECATED(strlwr);
DEPRECATED(strnicmp);
DEPRECATED(strupr);
DEPRECATED(swab);
DEPRECATED(tell);
DEPRECATED(tempnam);
DEPRECATED(umask);
DEPRECATED(unlink);
DEPRECATED(wcsdup);
DEPRECATED(wcsicmp);
DEPRECATED(wcslwr);
DEPRECATED(wcsnicmp);
DEPRECATED(wcsupr);
DEPRECATED(write);

} // extern "C"

#undef DEPRECATED
