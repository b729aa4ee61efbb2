/* win32_types.h - the Windows types that the exported interface names, for systems that
   have no <windows.h>. Plain C99; installed beside image.h. */
#ifndef TREVOLAN_WIN32_TYPES_H
#define TREVOLAN_WIN32_TYPES_H

#include <stdint.h>

typedef int HFILE; /* a file descriptor */
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;

#define HFILE_ERROR (-1)

/* 40 bytes; see the Windows SDK. Height is positive: rows run bottom-up. */
typedef struct tagBITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
} BITMAPINFOHEADER;

typedef struct tagRGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
} RGBQUAD;

#endif
