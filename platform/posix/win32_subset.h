// win32_subset.h - the types, constants and kernel calls of Windows that the portable part
// uses, for systems without <windows.h>. Each call behaves as its Windows namesake does
// with the arguments that this library passes.
#pragma once

#include "platform/posix/win32_types.h"

#include <cstddef>
#include <cstdint>

using UINT = unsigned int;
using BOOL = int;
using HGLOBAL = void*; // a small positive number in the handle table, never an address
using HGDIOBJ = void*;
using HPALETTE = void*;
using LPCSTR = const char*;

struct OFSTRUCT {
    BYTE cBytes;
    BYTE fFixedDisk;
    WORD nErrCode;
    WORD Reserved1;
    WORD Reserved2;
    char szPathName[128];
};

constexpr UINT GMEM_MOVEABLE = 0x0002;
constexpr UINT GMEM_ZEROINIT = 0x0040;
constexpr UINT GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;

constexpr UINT OF_READ = 0x0000;
constexpr UINT OF_WRITE = 0x0001;
constexpr UINT OF_READWRITE = 0x0002;
constexpr UINT OF_CREATE = 0x1000;
constexpr UINT OF_EXIST = 0x4000;

constexpr int FILE_BEGIN = 0;
constexpr int FILE_CURRENT = 1;
constexpr int FILE_END = 2;

constexpr DWORD BI_RGB = 0;
constexpr DWORD BI_RLE8 = 1;
constexpr DWORD BI_RLE4 = 2;
constexpr DWORD SRCCOPY = 0x00CC0020;

HGLOBAL GlobalAlloc(UINT flags, size_t bytes);
void* GlobalLock(HGLOBAL handle);
BOOL GlobalUnlock(HGLOBAL handle);
HGLOBAL GlobalFree(HGLOBAL handle);
HGLOBAL GlobalHandle(const void* address);
size_t GlobalSize(HGLOBAL handle);

HFILE OpenFile(LPCSTR name, OFSTRUCT* reopen, UINT mode);
UINT _lread(HFILE file, void* buffer, UINT count);
UINT _lwrite(HFILE file, const char* buffer, UINT count);
LONG _llseek(HFILE file, LONG offset, int origin);
HFILE _lclose(HFILE file);

// There are no GDI objects here, so no handle of one is ever live.
inline BOOL DeleteObject(HGDIOBJ)
{
    return 0;
}
