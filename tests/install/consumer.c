/* consumer.c - uses the installed library: makes an image, asks for its size, frees it. */
#include <image.h>

#include <stdio.h>
#include <string.h>

int main(void)
{
    struct {
        BITMAPINFOHEADER header;
        RGBQUAD colors[2];
        uint8_t rows[3 * 4];
    } dib;
    int32_t handle, width = 0, height = 0, bits = 0;

    memset(&dib, 0, sizeof dib);
    dib.header.biSize = sizeof dib.header;
    dib.header.biWidth = 17;
    dib.header.biHeight = 3;
    dib.header.biPlanes = 1;
    dib.header.biBitCount = 1;
    handle = IMG_create_handle(&dib);
    if (handle < 0 || IMG_bitmap_info(handle, &width, &height, &bits) < 0) return 1;
    if (IMG_delete_bitmap(handle) != 0 || IMG_delete_bitmap(handle) != -13) return 2;
    printf("trevolan %s: %d x %d, %d bit\n", IMGX_version(), (int)width, (int)height, (int)bits);
    return width == 17 && height == 3 && bits == 1 ? 0 : 3;
}
