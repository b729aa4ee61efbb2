// printing.cpp - prints the picture: on a printer, or into a metafile.

#include "viewer/printing.h"

#include "viewer/dialogs.h"

#include <algorithm>
#include <commdlg.h>

namespace {

bool job_cancelled = false;

// GDI runs this now and then while a job is written: keeps the program alive and lets Esc
// end the job.
BOOL CALLBACK abort_procedure(HDC, int)
{
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
            // The program's own loop must learn that it is to end.
            PostQuitMessage(static_cast<int>(message.wParam));
            job_cancelled = true;
            break;
        }
        if (message.message == WM_KEYDOWN && message.wParam == VK_ESCAPE) job_cancelled = true;
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
    return job_cancelled ? FALSE : TRUE;
}

struct page_area {
    int32_t width, height; // device pixels
    int32_t x_per_inch, y_per_inch;
};

page_area area_of(HDC dc)
{
    return {GetDeviceCaps(dc, HORZRES), GetDeviceCaps(dc, VERTRES), GetDeviceCaps(dc, LOGPIXELSX),
            GetDeviceCaps(dc, LOGPIXELSY)};
}

// The largest rectangle of the picture's shape, in the middle of the page. Fax pages are
// finer across than down: their resolutions decide the shape.
RECT place_on_page(const page_area& page, const document& picture)
{
    unsigned char block[1064];
    IMGLOW_get_bitmap_header(picture.handle(), block);
    const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(block);
    const bool known = header->biXPelsPerMeter > 0 && header->biYPelsPerMeter > 0;
    const double x_resolution = known ? header->biXPelsPerMeter : 1;
    const double y_resolution = known ? header->biYPelsPerMeter : 1;
    const double width = picture.width() / x_resolution * page.x_per_inch;
    const double height = picture.height() / y_resolution * page.y_per_inch;
    const double scale = std::min(page.width / width, page.height / height);
    const auto w = static_cast<LONG>(width * scale);
    const auto h = static_cast<LONG>(height * scale);
    const LONG x = (page.width - w) / 2, y = (page.height - h) / 2;
    return {x, y, x + w, y + h};
}

int32_t print_page(HDC dc, document& picture)
{
    picture.show_all();
    const RECT at = place_on_page(area_of(dc), picture);
    return IMG_print_bitmap(picture.handle(), dc, at.left, at.top, at.right - at.left,
                            at.bottom - at.top);
}

// The page that is shown comes from the window, with its changes; others from the file.
int32_t print_page_number(HDC dc, document& picture, int32_t page)
{
    if (page == picture.page()) return print_page(dc, picture);
    document other;
    other.set_print_settings(picture.settings());
    const int32_t result = other.open(picture.path(), page);
    return result < 0 ? result : print_page(dc, other);
}

int32_t print_pages(HDC dc, document& picture, int32_t first, int32_t last,
                    const std::function<void(int32_t)>& on_page)
{
    for (int32_t page = first; page <= last; ++page) {
        on_page(page);
        // Not every system asks within a page.
        if (!abort_procedure(dc, 0) || StartPage(dc) <= 0) return code_unsupported;
        const int32_t result = print_page_number(dc, picture, page);
        if (result < 0) return result;
        if (!abort_procedure(dc, 0) || EndPage(dc) <= 0) return code_unsupported;
    }
    return 0;
}

// What the user chose in the print dialog.
struct chosen_printer {
    PRINTDLGA dialog{};

    ~chosen_printer()
    {
        if (dialog.hDC) DeleteDC(dialog.hDC);
        GlobalFree(dialog.hDevMode);
        GlobalFree(dialog.hDevNames);
    }
    bool ask(HWND owner, const document& picture)
    {
        dialog.lStructSize = sizeof dialog;
        dialog.hwndOwner = owner;
        dialog.Flags = PD_RETURNDC | PD_NOSELECTION | PD_USEDEVMODECOPIESANDCOLLATE;
        dialog.nMinPage = 1;
        dialog.nMaxPage = static_cast<WORD>(std::min(picture.page_count(), 65535));
        dialog.nFromPage = dialog.nToPage = static_cast<WORD>(picture.page() + 1);
        return PrintDlgA(&dialog);
    }
    bool has(DWORD flag) const { return (dialog.Flags & flag) != 0; }
};

int32_t print_job(const chosen_printer& printer, document& picture, const char* output,
                  const std::function<void(int32_t)>& on_page)
{
    HDC dc = printer.dialog.hDC;
    const bool range = printer.has(PD_PAGENUMS);
    const int32_t first = range ? printer.dialog.nFromPage - 1 : 0;
    const int32_t last = range ? printer.dialog.nToPage - 1 : picture.page_count() - 1;
    DOCINFOA info{};
    info.cbSize = sizeof info;
    info.lpszDocName = picture.path().c_str();
    info.lpszOutput = output;
    job_cancelled = false;
    SetAbortProc(dc, abort_procedure);
    if (StartDocA(dc, &info) <= 0) return code_unsupported;
    const int32_t result = print_pages(dc, picture, first, last, on_page);
    if (result < 0)
        AbortDoc(dc);
    else
        EndDoc(dc);
    return result;
}

} // namespace

print_result print_document(HWND owner, document& picture,
                            const std::function<void(int32_t)>& on_page, int32_t& code)
{
    chosen_printer printer;
    if (!printer.ask(owner, picture))
        return CommDlgExtendedError() ? print_result::no_printer : print_result::cancelled;
    std::optional<std::string> file;
    if (printer.has(PD_PRINTTOFILE)) {
        file = ask_name(owner, "Printer file", "prn");
        if (!file) return print_result::cancelled;
    }
    EnableWindow(owner, FALSE);
    code = print_job(printer, picture, file ? file->c_str() : nullptr, on_page);
    EnableWindow(owner, TRUE);
    if (job_cancelled) return print_result::cancelled;
    return code < 0 ? print_result::failed : print_result::done;
}

int32_t print_to_metafile(document& picture, const std::string& path)
{
    HDC recorder = CreateEnhMetaFileA(nullptr, path.c_str(), nullptr, "Trevolan Viewer\0Picture\0");
    if (!recorder) return code_create;
    const int32_t result = print_page(recorder, picture);
    HENHMETAFILE metafile = CloseEnhMetaFile(recorder);
    if (!metafile) return code_create;
    DeleteEnhMetaFile(metafile);
    if (result < 0) DeleteFileA(path.c_str());
    return result;
}
