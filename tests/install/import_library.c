/* import_library.c - calls the DLL as a client of Microsoft's compiler does: decorated
   names from the calling convention, no C runtime. Ends with 42 when the calls work. */
__declspec(dllimport) int __stdcall IMG_delete_bitmap(int handle);
__declspec(dllimport) int __stdcall IMGLOW_get_filetype(const char* file_name);
__declspec(dllimport) int __stdcall IMGX_set_interchange(int enable);
__declspec(dllimport) int __stdcall get_save_filesize(void);
__declspec(dllimport) const char* __stdcall IMGX_version(void);

int __stdcall start(void)
{
    if (IMGX_version()[0] != '4') return 1;
    if (IMG_delete_bitmap(-1) != -1 || IMG_delete_bitmap(5) != -13) return 2;
    if (IMGLOW_get_filetype("no such file.bmp") != -2) return 3;
    if (IMGX_set_interchange(1) != 0 || IMGX_set_interchange(0) != 1) return 4;
    get_save_filesize();
    return 42;
}
