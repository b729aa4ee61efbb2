/* image.h - the exported interface of the Trevolan imaging library, version 4.0.
 *
 * Plain C99, usable from C++. Every function returns a 32-bit signed number: a handle, 0 or
 * another non-negative value on success, a negative error code on failure
 * (IMGX_error_text gives its text). One operation runs at a time: the library keeps its
 * state process-wide and is called from one thread. Callbacks may call it again.
 *
 * Errors:  -1 memory, or an argument that must not be null    -2 file cannot be opened
 *          -3 not the expected format, or data ended early    -6 output cannot be created
 *          -7 type, compression, depth not supported          -9 write came back short
 *         -11 no such page     -12 corrupt data              -13 handle names no image
 *         -14 clipboard or device bitmap                     -16 -17 -18 scanner
 */
#ifndef TREVOLAN_IMAGE_H
#define TREVOLAN_IMAGE_H

#include <stdint.h>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#define IMG_STD __stdcall
#define IMG_C __cdecl
#if defined(TREVOLAN_DLL_EXPORTS)
#define IMG_API __declspec(dllexport)
#elif defined(TREVOLAN_STATIC)
#define IMG_API
#else
#define IMG_API __declspec(dllimport)
#endif
#else
#include "win32_types.h"
#define IMG_STD
#define IMG_C
#define IMG_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A value of the client's that callbacks get back; wide enough for a pointer. */
typedef intptr_t IMG_PRIVATE;

/** Gets the header and colour table of an image once, before its first row. A negative
 *  result ends the load and becomes its result. The memory is the library's: copy it. */
typedef int32_t(IMG_C* IMG_SET_HEADER)(const BITMAPINFOHEADER* header, IMG_PRIVATE private_data);

/** Gets one row in DIB layout; row 0 is the top of the picture. Negative ends the load. */
typedef int32_t(IMG_C* IMG_PUT_RASTER)(const void* row, IMG_PRIVATE private_data, int32_t row_index,
                                       int32_t byte_count);

/** Fills byte_count bytes of one row in DIB layout; row 0 is the top. Negative ends the save. */
typedef int32_t(IMG_C* IMG_GET_RASTER)(IMG_PRIVATE private_data, void* destination,
                                       int32_t row_index, int32_t byte_count);

/** Called once per row of high-level loads and saves; height is the picture's. A negative
 *  result cancels and becomes the result of the call. */
typedef int32_t(IMG_STD* IMG_STATUS)(IMG_PRIVATE client_value, int32_t height);

/* ---- loading ---------------------------------------------------------------------- */

/** Loads page 0 of a file.  Returns a handle; -2 name empty or file not readable;
 *  -7 unknown format; else the reader's code. */
IMG_API int32_t IMG_STD IMG_decompress_bitmap(const char* file_name);

/** Loads from an open file, which stays open, its position undefined.
 *  offset  of the image in the file, bytes, 0 to 0xFFFFFF     page  0 is the first */
IMG_API int32_t IMG_STD IMG_decompress_bitmap_fd(HFILE file, int32_t offset, int32_t page);

/** Loads from a whole file in memory; the block must hold it all. Where its size is known,
 *  IMGX_decompress_bitmap_mem is safer. */
IMG_API int32_t IMG_STD IMG_decompress_bitmap_mem(const void* address, int32_t page);

/** Streams an image to callbacks without making a handle. Non-negative on success. */
IMG_API int32_t IMG_STD IMGLOW_decompress_bitmap(HFILE file, int32_t offset, int32_t page,
                                                 IMG_PUT_RASTER put_raster,
                                                 IMG_PRIVATE private_data,
                                                 IMG_SET_HEADER set_header);
IMG_API int32_t IMG_STD IMGLOW_decompress_bitmap_mem(const void* address, int32_t page,
                                                     IMG_PUT_RASTER put_raster,
                                                     IMG_PRIVATE private_data,
                                                     IMG_SET_HEADER set_header);

/** Copies a packed DIB (header, colour table of full size, rows) into a new image.
 *  Returns its handle; -7 when it is compressed or of another depth or size than we hold;
 *  -1. */
IMG_API int32_t IMG_STD IMG_create_handle(const void* packed_dib);

/** Decodes raw fax data from the file's position into a new 1-bit image.
 *  type        1 Group 3 one-dimensional, 2 Group 3 two-dimensional, 4 Group 4
 *  fill_order  1 most significant bit first, 2 least significant bit first
 *  Returns a handle, also where the data end or are damaged: rows not reached are black. */
IMG_API int32_t IMG_STD IMG_decompress_fax(HFILE source, int32_t width, int32_t height,
                                           int32_t type, int32_t fill_order);

/** File-type code (0 to 17) from the first bytes of a file; -2, or -7 when unknown. */
IMG_API int32_t IMG_STD IMGLOW_get_filetype(const char* file_name);
IMG_API int32_t IMG_STD IMGLOW_get_filetype_fd(HFILE file);

/** Number of pages; 1 for formats without pages and for unknown files; -2 not readable. */
IMG_API int32_t IMG_STD IMGLOW_get_pages(const char* file_name);

/** Sets (enable not 0) or switches off the status callback.  Returns 0. */
IMG_API int32_t IMG_STD IMG_set_statusbar(IMG_PRIVATE client_value, IMG_STATUS callback,
                                          int32_t enable);

/* ---- the image object ------------------------------------------------------------- */

/** Size and depth (1, 4, 8 or 24).  Returns a positive number, or -13. Null outs are skipped. */
IMG_API int32_t IMG_STD IMG_bitmap_info(int32_t handle, int32_t* width, int32_t* height,
                                        int32_t* bits_per_pixel);

/** Copies the 40-byte header and the colour table: at most 1064 bytes.  0, -1 or -13. */
IMG_API int32_t IMG_STD IMGLOW_get_bitmap_header(int32_t handle, void* buffer);

/** The crop rectangle: what is shown, printed and saved; pixels, y from the top.  0 or -13.
 *  Stored unchecked; each user clips it to the image or refuses it. */
IMG_API int32_t IMG_STD IMG_get_croprect(int32_t handle, int32_t* x, int32_t* y, int32_t* width,
                                         int32_t* height);
IMG_API int32_t IMG_STD IMG_set_croprect(int32_t handle, int32_t x, int32_t y, int32_t width,
                                         int32_t height);

/** Ternary raster operation for painting; SRCCOPY (0xCC0020) at first.  0 or -13. */
IMG_API int32_t IMG_STD IMGLOW_set_rop(int32_t handle, uint32_t rop);

/** The identification text (200 bytes) and date (40 bytes) for saved files, with their
 *  zeros. Set cuts longer texts.  Returns 0. */
IMG_API int32_t IMG_STD IMGLOW_get_bitmap_name(char* name, char* date);
IMG_API int32_t IMG_STD IMGLOW_set_bitmap_name(const char* name, const char* date);

/** Frees an image; its handle number is used again.  0, -13, or -1 for handle -1. */
IMG_API int32_t IMG_STD IMG_delete_bitmap(int32_t handle);

/* ---- saving ----------------------------------------------------------------------- */

/** Saves the crop rectangle. TIFF (not LZW) and DCX types add a page to an existing file.
 *  type  file-type code, or -1 to choose by the name's last three letters
 *  Returns non-negative; -6 cannot create; -7 type or depth; -9 disk full; -13.
 *  What was written before a failure stays in the file. */
IMG_API int32_t IMG_STD IMG_save_bitmap(int32_t handle, const char* file_name, int32_t type);
IMG_API int32_t IMG_STD IMG_save_bitmap_fd(int32_t handle, HFILE file, int32_t type);

/** Saves into memory; get_save_filesize then tells the bytes written. The block must be
 *  large enough. Here the crop rectangle's y counts from the bottom.  0 or a code. */
IMG_API int32_t IMG_STD IMG_save_bitmap_mem(int32_t handle, void* address, int32_t type);

/** Writes an image whose rows a callback supplies. */
IMG_API int32_t IMG_STD IMGLOW_save_bitmap(HFILE file, const BITMAPINFOHEADER* header, int32_t type,
                                           IMG_GET_RASTER get_raster, IMG_PRIVATE private_data);
IMG_API int32_t IMG_STD IMGLOW_save_bitmap_mem(void* address, const BITMAPINFOHEADER* header,
                                               int32_t type, IMG_GET_RASTER get_raster,
                                               IMG_PRIVATE private_data);

/** JPEG quality for later saves. */
IMG_API int32_t IMG_STD IMGLOW_set_comp_quality(int32_t quality);

/** Position of the memory stream: after a save to memory, the bytes written. */
IMG_API int32_t IMG_STD get_save_filesize(void);

/* ---- processing and colour -------------------------------------------------------- */
/* All work on every depth unless a depth is excluded, keep the handle, and return 0 or
 *   -1  memory ran out      -7  the depth is not taken      -13  the handle names no image
 * A call that fails leaves the image as it was. Header fields beside size and depth stay;
 * the resolution and the crop rectangle do too unless told otherwise. */

/** Turns the picture and its crop rectangle clockwise.
 *  degrees  90, 180 or 270. Any other angle mirrors the picture about the diagonal from its
 *           bottom left to its top right corner. */
IMG_API int32_t IMG_STD IMG_rotate_bitmap(int32_t handle, int32_t degrees);

/** Mirror left to right, and top to bottom, with the crop rectangle. */
IMG_API int32_t IMG_STD IMG_flip_bitmapx(int32_t handle);
IMG_API int32_t IMG_STD IMG_flip_bitmapy(int32_t handle);

/** Scales to width x height pixels by taking the nearest pixel to the left and below; the
 *  crop rectangle becomes the whole picture.  -1 also for sizes outside 1 to 32767. */
IMG_API int32_t IMG_STD IMG_resize_bitmap(int32_t handle, int32_t width, int32_t height);

/** Changes contrast and brightness; 4, 8 and 24 bits.
 *  contrast    -128 flat grey, 0 none, 127 about double
 *  brightness  steps of 2 levels, 0 none
 *  Pictures with a colour table change in the table only, always counted from the colours
 *  of the first call; in 24 bits the pixels change and calls add up. Any values are
 *  accepted; levels are clamped. */
IMG_API int32_t IMG_STD IMG_set_lut(int32_t handle, int32_t contrast, int32_t brightness);

/** Flips every bit of the pixels: in a palette picture indices change, not colours. */
IMG_API int32_t IMG_STD IMG_invert_bitmap(int32_t handle);

/** Sharpens by unsharp masking, or smooths; a 1-bit picture stays as it is.
 *  strength  16 to 128, the less the milder, in steps of 16: sharpen; below 16: smooth,
 *            0 mildly, -128 most; magnitudes from 144 on count as 128
 *  -7 for a palette picture whose colours are not all grey. */
IMG_API int32_t IMG_STD IMG_sharpen_bitmap(int32_t handle, int32_t strength);

/** Convolves with a 3 x 3 kernel, sums clamped to 0 to 255; 4, 8 and 24 bits. Palette
 *  pictures in colours become 8-bit grey first; grey ones of 4 bits stay as they are.
 *  type    0 the client's kernel, 1 to 9 built in: 1 and 2 edges, 3 horizontal, 4 vertical,
 *          5 and 6 diagonal lines, 7 sharpen, 8 brighten, 9 diagonal edges
 *  kernel  nine weights, row below first, each row left to right; read for type 0 only
 *  -1 also for another type, or type 0 without a kernel. */
IMG_API int32_t IMG_STD IMG_process_bitmap(int32_t handle, int32_t type, const signed char* kernel);

/** To 8 bits with the ramp of 256 greys; 4, 8 and 24 bits. A grey picture of 8 bits gets
 *  40 levels darker. */
IMG_API int32_t IMG_STD IMG_color_gray(int32_t handle);

/** To black and white (1 bit) by an ordered 8 x 8 pattern, by a halftone pattern of 8 x 8,
 *  and by error diffusion; 4, 8 and 24 bits. */
IMG_API int32_t IMG_STD IMG_bayer_mono(int32_t handle);
IMG_API int32_t IMG_STD IMG_halftone_mono(int32_t handle);
IMG_API int32_t IMG_STD IMG_diffusion_mono(int32_t handle);

/** To 8 bits with a fixed table of 8 reds x 8 greens x 4 blues and error diffusion; 4, 8
 *  and 24 bits. */
IMG_API int32_t IMG_STD IMG_mediancut_color(int32_t handle);

/** To 8 bits with black and the 255 most frequent colours (4 bits a channel), each pixel
 *  the nearest of them; 24 bits only. */
IMG_API int32_t IMG_STD IMG_popularity_color(int32_t handle);

/** To 4 bits with the 16 fixed colours, by an ordered pattern or by error diffusion; 4, 8
 *  and 24 bits. */
IMG_API int32_t IMG_STD IMG_bayer_color(int32_t handle);
IMG_API int32_t IMG_STD IMG_diffusion_color(int32_t handle);

/** To 8 bits with the same colours, and to 24 bits; 1, 4 and 8 bits. */
IMG_API int32_t IMG_STD IMG_promote_8(int32_t handle);
IMG_API int32_t IMG_STD IMG_promote_24(int32_t handle);

/* ---- the library's own additions -------------------------------------------------- */

/** Loads from memory of known size: nothing beyond it is read, and it ends there like a
 *  file.  A handle, or a code. */
IMG_API int32_t IMG_STD IMGX_decompress_bitmap_mem(const void* address, uint32_t size,
                                                   int32_t page);

/** IMGLOW_decompress_bitmap_mem for memory of known size. */
IMG_API int32_t IMG_STD IMGX_stream_bitmap_mem(const void* address, uint32_t size, int32_t page,
                                               IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                                               IMG_SET_HEADER set_header);

/** IMGLOW_get_filetype_fd and IMGLOW_get_pages for memory of known size. */
IMG_API int32_t IMG_STD IMGX_get_filetype_mem(const void* address, uint32_t size);
IMG_API int32_t IMG_STD IMGX_get_pages_mem(const void* address, uint32_t size);

/** Number of pages of the image at an open file's position, which is undefined afterwards. */
IMG_API int32_t IMG_STD IMGX_get_pages_fd(HFILE file);

/** What a page is made of, beside what its header tells. */
typedef struct IMGX_PAGE_INFO {
    int32_t type;           /* file-type code of this page; -7 for a compression without one */
    int32_t compression;    /* TIFF: number of the compression; 0 for other formats */
    int32_t components;     /* JPEG: colour components; 0 for other data */
    int32_t sampling[4];    /* JPEG: per component, horizontal factor x 16 + vertical factor */
    const char* extensions; /* of the format, as in IMGX_TYPE_INFO */
} IMGX_PAGE_INFO;

/** Describes one page of an open file, whose position is undefined afterwards; arguments as
 *  IMG_decompress_bitmap_fd.  0, -7 for an unknown format, or the reader's code. */
IMG_API int32_t IMG_STD IMGX_get_page_info(HFILE file, int32_t offset, int32_t page,
                                           IMGX_PAGE_INFO* info);

/** Cuts an image down to a rectangle, exact to the pixel at every depth; y from the top. The
 *  crop rectangle then is the whole new image, and its present colour table the one that
 *  tone changes start from.  0; -1 memory, or the rectangle is empty or
 *  not inside the image; -13. */
IMG_API int32_t IMG_STD IMGX_crop_bitmap(int32_t handle, int32_t x, int32_t y, int32_t width,
                                         int32_t height);

/** Saves into memory of known size.  Bytes written, -9 when it is full, or a code. */
IMG_API int32_t IMG_STD IMGX_save_bitmap_mem(int32_t handle, void* address, uint32_t capacity,
                                             int32_t type);

/** Interchange mode: files as their published standards have them, for other programs to
 *  read without a warning, and files read as those standards mean them. Off at the start:
 *  then every byte is the library's classic one.  Returns the previous setting. */
IMG_API int32_t IMG_STD IMGX_set_interchange(int32_t enable);

/** True tones: colour reduction with tones as the eye expects them. Off at the start: then
 *  bright 24-bit pixels leave the weighted sum of their grey, 8-bit ones get 40 levels darker,
 *  errors below zero wrap to white in the diffusions, popular colours are counted in 16 bits
 *  and lose their low four, the ordered 16 colours darken a part of white, and the diffused ones
 *  leave a row out. Concerns IMG_color_gray, IMG_process_bitmap where it turns grey first,
 *  IMG_bayer_color, IMG_popularity_color and the error diffusions.
 *  Returns the previous setting. */
IMG_API int32_t IMG_STD IMGX_set_true_tones(int32_t enable);

/** Tone for printing and for saves by file name or file.
 *  dot_gain    0 none; printing only
 *  gamma       hundredths: 100 leaves the picture as it is, 0 is unset
 *  brightness  -255 to 255, steps of 2 levels
 *  Returns 0 or -13. */
IMG_API int32_t IMG_STD IMGX_set_print_tone(int32_t handle, int32_t dot_gain, int32_t gamma,
                                            int32_t brightness);

/** Dots of IMG_print_bitmap on printers of one bit per pixel: 0 halftone (at first),
 *  1 ordered, 2 diffusion.  0, -13, or -7 for another number. */
IMG_API int32_t IMG_STD IMGX_set_print_dither(int32_t handle, int32_t dither);

/** One row of the table of file types. */
typedef struct IMGX_TYPE_INFO {
    int32_t code;            /* file-type code */
    const char* name;        /* short name, such as "tiff-g4" */
    const char* description; /* such as "TIFF, CCITT Group 4" */
    const char* extensions;  /* without dots, the usual one first, separated by spaces */
    int32_t reads;           /* 1 when files of the type are read */
    int32_t writes;          /* 1 when they are written, 2 when only in interchange mode */
    int32_t multi_page;      /* 1 when pages can be added to a file, 2 when only in
                                interchange mode */
    int32_t write_depths;    /* sum of the depths that can be written: 1, 4, 8, 24 */
} IMGX_TYPE_INFO;

/** Row number index of the table.  0, or -7 behind the last row. */
IMG_API int32_t IMG_STD IMGX_get_type_info(int32_t index, IMGX_TYPE_INFO* info);

/** Text of a result code, never null.  Version text "4.0.0". */
IMG_API const char* IMG_STD IMGX_error_text(int32_t code);
IMG_API const char* IMG_STD IMGX_version(void);

/* ---- Windows only ----------------------------------------------------------------- */

#ifdef _WIN32
/** Makes the image's palette, selects it into the device context and realises it.
 *  0, -1 or -13. */
IMG_API int32_t IMG_STD IMG_bitmap_palette(int32_t handle, HDC dc);

/** Makes an image of a GDI bitmap: 1, 4 and 8 bits stay, more become 24. The bitmap must not
 *  be selected into a device context.
 *  palette  its logical palette, or null
 *  Returns a handle, -14 when the bitmap cannot be read, -1. */
IMG_API int32_t IMG_STD IMG_create_handle_ddb(HBITMAP bitmap, HPALETTE palette);

/** Makes a GDI bitmap like the screen's, of width x height, that shows the crop rectangle
 *  with the image's raster operation and palette. The caller deletes it. The display
 *  rectangle becomes (0, 0, width, height).
 *  Returns the bitmap's handle as a number, which may have its highest bit set; a number from
 *  -1 to -18 is a code: -13, -1, or -7 for a size that is not positive. */
IMG_API int32_t IMG_STD IMG_dib_to_ddb(int32_t handle, int32_t width, int32_t height);

/** Draws a GDI bitmap in full size at (x, y), logical units.  0, -14 when it cannot be read or
 *  drawn, -1. */
IMG_API int32_t IMG_STD IMG_display_ddb(HBITMAP bitmap, HDC dc, int32_t x, int32_t y);

/** Saves the clipboard's DIB, or where there is none its bitmap, as a BMP file. Depths of 16
 *  and 32 bits become 24.
 *  Returns 1; -14 when the clipboard cannot be opened or holds no bitmap, and then no file is
 *  made; -1 when the file cannot be created or memory ran out; -9 disk full. */
IMG_API int32_t IMG_STD IMG_save_clipboard(const char* file_name, HWND window);

/** Paints the crop rectangle into a rectangle, logical units, with the image's raster
 *  operation and palette; only what the clip box shows is worked on. Rows and columns drop
 *  out where it shrinks; 1-bit pages turn grey instead on devices of more than 4 bits with
 *  raster operation SRCCOPY.  0 whatever the device did, -13, -1. */
IMG_API int32_t IMG_STD IMG_display_bitmap(int32_t handle, HDC dc, int32_t x, int32_t y,
                                           int32_t width, int32_t height);

/** Zooms about the centre of the crop rectangle and sets the window's scroll bars.
 *  percent  up to 100 the whole image; 200 half its width, in the window's shape
 *  Returns 0, or a negative handle itself, -13 for a dead one. The window is not repainted. */
IMG_API int32_t IMG_STD IMG_zoom_bitmap(int32_t handle, HWND window, int32_t percent);

/** Answers WM_HSCROLL and WM_VSCROLL: moves crop rectangle, window contents and bar.
 *  wparam, lparam, message  as the window got them
 *  Returns the direction for IMG_repaint_scroll: 1 or 2 after a horizontal scroll, 3 or 4
 *  after a vertical one, 0 when nothing moved; a negative handle itself, -13 for a dead one. */
IMG_API int32_t IMG_STD IMG_scroll_bitmap(int32_t handle, HWND window, uint32_t wparam,
                                          int32_t lparam, int32_t message);

/** Repaints the strip that a scroll exposed, within WM_PAINT, where the picture fills the
 *  client area.
 *  direction  what IMG_scroll_bitmap returned; any other number repaints everything
 *  paint      as BeginPaint filled it
 *  Returns 0, or the code of IMG_dib_to_ddb. */
IMG_API int32_t IMG_STD IMG_repaint_scroll(int32_t handle, HDC dc, HWND window, int32_t direction,
                                           PAINTSTRUCT* paint);

/** Prints the crop rectangle into a rectangle of the page, logical units, toned by
 *  IMGX_set_print_tone. Printers of one bit per pixel get the dots of IMGX_set_print_dither.
 *  The caller starts and ends document and page; its abort procedure is honoured.
 *  Returns 0, -13, -1, or -7 when the device refused or the job was cancelled. */
IMG_API int32_t IMG_STD IMG_print_bitmap(int32_t handle, HDC printer, int32_t x, int32_t y,
                                         int32_t width, int32_t height);

/** The same by the device's own means: one stretch, no tone, no dots of ours. */
IMG_API int32_t IMG_STD IMG_print_bitmap_fast(int32_t handle, HDC printer, int32_t x, int32_t y,
                                              int32_t width, int32_t height);

/* ---- scanning through the TWAIN source manager; Windows only ------------------------
 * Each call opens TWAIN32.DLL's source manager, runs the window messages of this thread
 * until the source is done, and closes everything again, whatever fails. One acquisition
 * runs at a time: a call from inside another gives -16.
 * Errors: -17 no source manager   -16 manager or source cannot be opened or enabled
 *         -18 cancelled, or nothing transferred   -1 no usable picture */

/** Shows the manager's dialog for choosing a source.  0, also when it is cancelled. */
IMG_API int32_t IMG_STD IMG_scan_open_source(HWND window);

/** Scans one page into a new image.  show_ui  not 0: the source shows its own dialog. */
IMG_API int32_t IMG_STD IMG_scan_acquire(HWND window, int32_t show_ui);

/** Scans pages into files until the source has no more.
 *  prefix  name of the one file, for types that hold pages (0, 7, 8, 10, 11, 16); for the
 *          others what stands before "%08d.img", null for nothing
 *  Returns the handle that the last page had (the image is deleted already), or the code of
 *  what ended the run: a transfer's, a save's, -6 where one file has no name. */
IMG_API int32_t IMG_STD IMG_scan_pages(HWND window, const char* prefix, int32_t type,
                                       int32_t show_ui);
#endif

#ifdef __cplusplus
}
#endif

#endif
