#include "formats/jpeg/jpeg_reader.h"
int32_t open_jpg_at(uint32_t, const row_sink&, HFILE, const jpeg_page_resolution*)
{
    return err_unsupported;
}
