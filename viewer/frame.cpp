// frame.cpp - the viewer's main window: menu, title, status bar, commands.

#include "viewer/frame.h"

#include "viewer/printing.h"
#include "viewer/progress.h"
#include "viewer/resource.h"

#include <algorithm>
#include <cmath>
#include <commctrl.h>

namespace {

constexpr const char* class_name = "TrevolanViewer";
constexpr const char* program_name = "Trevolan Viewer";
constexpr const char* cannot_scan = "Scanning did not succeed";
constexpr double zoom_step = 1.25;
constexpr int part_text = 0, part_zoom = 1, part_progress = 2;

std::string temporary_directory()
{
    char directory[MAX_PATH];
    GetTempPathA(MAX_PATH, directory);
    return directory;
}

} // namespace

bool viewer_frame::create(int show)
{
    WNDCLASSA window_class{};
    window_class.lpfnWndProc = procedure;
    window_class.hInstance = GetModuleHandleA(nullptr);
    window_class.hIcon = LoadIcon(nullptr, IDI_APPLICATION);
    window_class.hCursor = LoadCursor(nullptr, IDC_ARROW);
    window_class.hbrBackground = nullptr;
    window_class.lpszMenuName = MAKEINTRESOURCEA(IDR_MENU);
    window_class.lpszClassName = class_name;
    RegisterClassA(&window_class);
    accelerators_ = LoadAcceleratorsA(window_class.hInstance, MAKEINTRESOURCEA(IDR_ACCELERATORS));
    CreateWindowExA(WS_EX_ACCEPTFILES, class_name, program_name,
                    WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT, 900, 700,
                    nullptr, nullptr, window_class.hInstance, static_cast<message_window*>(this));
    if (!window_) return false;
    ShowWindow(window_, show);
    UpdateWindow(window_);
    return true;
}

bool viewer_frame::translate(MSG& message) const
{
    return TranslateAcceleratorA(window_, accelerators_, &message) != 0;
}

LRESULT viewer_frame::handle(UINT message, WPARAM w, LPARAM l)
{
    switch (message) {
    case WM_CREATE: on_create(); return 0;
    case WM_SIZE:
        SendMessageA(status_, WM_SIZE, 0, 0);
        layout();
        return 0;
    case WM_SETFOCUS: SetFocus(view_->get()); return 0;
    case WM_COMMAND: command(LOWORD(w)); return 0;
    case WM_INITMENU: update_menu(reinterpret_cast<HMENU>(w)); return 0;
    case WM_MOUSEWHEEL: return SendMessageA(view_->get(), message, w, l);
    case WM_DROPFILES: dropped(reinterpret_cast<HDROP>(w)); return 0;
    case WM_CLOSE:
        if (may_lose_changes(window_, picture_)) DestroyWindow(window_);
        return 0;
    case WM_DESTROY: PostQuitMessage(0); return 0;
    default: return DefWindowProcA(window_, message, w, l);
    }
}

void viewer_frame::on_create()
{
    status_ = CreateWindowExA(0, STATUSCLASSNAMEA, "", WS_CHILD | WS_VISIBLE | SBARS_SIZEGRIP, 0, 0,
                              0, 0, window_, nullptr, GetModuleHandleA(nullptr), nullptr);
    view_ = std::make_unique<picture_window>(window_, picture_);
    view_->on_zoom = [this] { show_zoom(); };
    show_status("Open a picture with Ctrl+O, or drop one here.");
}

void viewer_frame::layout() const
{
    RECT area{}, bar{};
    GetClientRect(window_, &area);
    GetWindowRect(status_, &bar);
    const int32_t bar_height = bar.bottom - bar.top;
    const int parts[] = {static_cast<int>(area.right) - 280, static_cast<int>(area.right) - 180,
                         -1};
    SendMessageA(status_, SB_SETPARTS, 3, reinterpret_cast<LPARAM>(parts));
    MoveWindow(view_->get(), 0, 0, area.right, std::max<LONG>(0, area.bottom - bar_height), TRUE);
}

void viewer_frame::show_status(const std::string& text) const
{
    SendMessageA(status_, SB_SETTEXTA, part_text, reinterpret_cast<LPARAM>(text.c_str()));
}

void viewer_frame::show_zoom() const
{
    std::string text;
    if (picture_.is_open())
        text = std::to_string(std::lround(view_->scale() * 100)) + " %" +
               (view_->fits() ? ", fitted" : "");
    SendMessageA(status_, SB_SETTEXTA, part_zoom, reinterpret_cast<LPARAM>(text.c_str()));
}

void viewer_frame::show_title() const
{
    std::string title = program_name;
    if (picture_.is_open()) {
        title = file_name_of(picture_.path()) + (picture_.modified() ? "*" : "");
        if (picture_.page_count() > 1)
            title += " - page " + std::to_string(picture_.page() + 1) + " of " +
                     std::to_string(picture_.page_count());
        title += " - " + std::to_string(picture_.width()) + " x " +
                 std::to_string(picture_.height()) + ", " + std::to_string(picture_.bits()) +
                 (picture_.bits() == 1 ? " bit - " : " bits - ") + program_name;
    }
    SetWindowTextA(window_, title.c_str());
}

void viewer_frame::show_picture()
{
    view_->picture_changed();
    show_title();
    show_zoom();
}

void viewer_frame::open_file(const std::string& path, int32_t page)
{
    int32_t result;
    {
        const progress_bar progress(status_, part_progress);
        result = picture_.open(path, page);
    }
    if (result == progress_bar::cancelled) return show_status("Loading was cancelled.");
    if (result < 0) return tell_error(window_, file_name_of(path) + " cannot be opened", result);
    show_status(path);
    view_->fit();
    show_picture();
}

void viewer_frame::ask_and_open()
{
    if (!may_lose_changes(window_, picture_)) return;
    if (const auto path = ask_file_to_open(window_)) open_file(*path);
}

void viewer_frame::dropped(HDROP drop)
{
    char path[1024];
    const UINT length = DragQueryFileA(drop, 0, path, sizeof path);
    DragFinish(drop);
    if (length && may_lose_changes(window_, picture_)) open_file(path);
}

void viewer_frame::save(save_purpose purpose)
{
    const auto choice = ask_file_to_save(window_, picture_.path(), purpose);
    if (!choice) return;
    if (!(choice->type.write_depths & picture_.bits()))
        return tell(window_, "This type cannot hold pictures of " +
                                 std::to_string(picture_.bits()) +
                                 (picture_.bits() == 1 ? " bit" : " bits") +
                                 " a pixel. Change the colours first (menu Colours).");
    int32_t result;
    {
        const progress_bar progress(status_, part_progress);
        result = purpose == save_purpose::picture ? picture_.save(choice->path, choice->type)
                                                  : picture_.add_to(choice->path, choice->type);
    }
    view_->picture_changed();
    show_title();
    if (result == progress_bar::cancelled) return show_status("Saving was cancelled.");
    if (result < 0) return tell_error(window_, "The picture cannot be saved", result);
    show_status("Saved as " + choice->path);
}

void viewer_frame::print()
{
    int32_t code = 0;
    const auto on_page = [this](int32_t page) {
        show_status("Printing page " + std::to_string(page + 1) + ". Esc cancels.");
    };
    switch (print_document(window_, picture_, on_page, code)) {
    case print_result::done: show_status("Printed."); break;
    case print_result::cancelled: show_status("Printing was cancelled."); break;
    case print_result::no_printer:
        tell(window_, "No printer is installed. The page can be printed to a metafile instead.");
        break;
    case print_result::failed: tell_error(window_, "The picture cannot be printed", code); break;
    }
    view_->picture_changed();
}

void viewer_frame::print_metafile()
{
    const auto path = ask_name(window_, "Enhanced metafile", "emf");
    if (!path) return;
    const int32_t result = print_to_metafile(picture_, *path);
    view_->picture_changed();
    if (result < 0) return tell_error(window_, "The picture cannot be printed", result);
    show_status("Printed to " + *path);
}

void viewer_frame::copy()
{
    HGLOBAL block = picture_.packed_dib();
    view_->picture_changed();
    if (!block) return tell_error(window_, "The picture cannot be copied", code_memory);
    if (OpenClipboard(window_)) {
        EmptyClipboard();
        if (SetClipboardData(CF_DIB, block)) block = nullptr;
        CloseClipboard();
    }
    if (!block) return show_status("Copied.");
    GlobalFree(block);
    tell_error(window_, "The picture cannot be copied", code_clipboard);
}

void viewer_frame::paste()
{
    if (!may_lose_changes(window_, picture_)) return;
    // Through a file, because the clipboard holds bitmaps of many kinds.
    const temporary_file file(temporary_directory());
    int32_t result = IMG_save_clipboard(file.name(), window_);
    if (result >= 0) result = picture_.adopt(IMG_decompress_bitmap(file.name()), "Clipboard");
    if (result < 0) return tell_error(window_, "The clipboard cannot be pasted", result);
    view_->fit();
    show_picture();
    show_status("Pasted.");
}

void viewer_frame::save_clipboard()
{
    const auto path = ask_name(window_, "Windows bitmap", "bmp");
    if (!path) return;
    const int32_t result = IMG_save_clipboard(path->c_str(), window_);
    if (result < 0) return tell_error(window_, "The clipboard cannot be saved", result);
    show_status("Clipboard saved as " + *path);
}

void viewer_frame::go_to_page(int32_t page)
{
    page = std::clamp(page, 0, picture_.page_count() - 1);
    if (page == picture_.page() || !may_lose_changes(window_, picture_)) return;
    open_file(std::string(picture_.path()), page);
}

template <class Operation> void viewer_frame::change(const char* what, Operation operation)
{
    const HCURSOR old = SetCursor(LoadCursor(nullptr, IDC_WAIT));
    const int32_t result = picture_.change(operation);
    SetCursor(old);
    show_picture();
    if (result < 0) tell_error(window_, what, result);
}

void viewer_frame::change_tone()
{
    const auto tone = ask_tone(window_);
    if (!tone) return;
    change("Contrast and brightness cannot be changed",
           [&](int32_t handle) { return IMG_set_lut(handle, tone->contrast, tone->brightness); });
}

void viewer_frame::file_command(int id)
{
    switch (id) {
    case IDM_OPEN: ask_and_open(); break;
    case IDM_SAVE_AS: save(save_purpose::picture); break;
    case IDM_APPEND: save(save_purpose::add_page); break;
    case IDM_PRINT: print(); break;
    case IDM_PRINT_METAFILE: print_metafile(); break;
    case IDM_PRINT_TONE:
        if (const auto settings = ask_print_settings(window_, picture_.settings()))
            picture_.set_print_settings(*settings);
        break;
    case IDM_CLOSE:
        if (!may_lose_changes(window_, picture_)) break;
        picture_.close();
        show_picture();
        show_status("");
        break;
    case IDM_EXIT: SendMessageA(window_, WM_CLOSE, 0, 0); break;
    case IDM_COPY: copy(); break;
    case IDM_PASTE: paste(); break;
    case IDM_SAVE_CLIPBOARD: save_clipboard(); break;
    case IDM_REVERT:
        if (picture_.has_file()) open_file(std::string(picture_.path()), picture_.page());
        break;
    case IDM_ABOUT:
        tell(window_, std::string("Trevolan Viewer\nTrevolan imaging library ") + IMGX_version() +
                          "\n\nWheel: zoom. Shift and wheel: scroll. Drag: zoom into a "
                          "rectangle. Esc: cancel loading, saving and printing.");
        break;
    default: break;
    }
}

bool viewer_frame::view_command(int id)
{
    switch (id) {
    case IDM_FIT: view_->fit(); return true;
    case IDM_ACTUAL_SIZE: view_->actual_size(); return true;
    case IDM_ZOOM_IN: view_->zoom_by(zoom_step); return true;
    case IDM_ZOOM_OUT: view_->zoom_by(1 / zoom_step); return true;
    case IDM_NEXT_PAGE: go_to_page(picture_.page() + 1); return true;
    case IDM_PREVIOUS_PAGE: go_to_page(picture_.page() - 1); return true;
    case IDM_FIRST_PAGE: go_to_page(0); return true;
    case IDM_LAST_PAGE: go_to_page(picture_.page_count() - 1); return true;
    default: return false;
    }
}

bool viewer_frame::picture_command(int id)
{
    const struct {
        int id;
        const char* failure;
        int32_t (*operation)(int32_t handle);
    } operations[] = {
        {IDM_ROTATE_RIGHT, "The picture cannot be turned",
         [](int32_t h) { return IMG_rotate_bitmap(h, 90); }},
        {IDM_ROTATE_LEFT, "The picture cannot be turned",
         [](int32_t h) { return IMG_rotate_bitmap(h, 270); }},
        {IDM_ROTATE_180, "The picture cannot be turned",
         [](int32_t h) { return IMG_rotate_bitmap(h, 180); }},
        {IDM_FLIP_X, "The picture cannot be mirrored",
         [](int32_t h) { return IMG_flip_bitmapx(h); }},
        {IDM_FLIP_Y, "The picture cannot be mirrored",
         [](int32_t h) { return IMG_flip_bitmapy(h); }},
        {IDM_INVERT, "The picture cannot be inverted",
         [](int32_t h) { return IMG_invert_bitmap(h); }},
        {IDM_SHARPEN, "The picture cannot be sharpened",
         [](int32_t h) { return IMG_sharpen_bitmap(h, 64); }},
        {IDM_SMOOTH, "The picture cannot be smoothed",
         [](int32_t h) { return IMG_sharpen_bitmap(h, -64); }},
        {IDM_GRAY, "The picture cannot be made grey", [](int32_t h) { return IMG_color_gray(h); }},
        {IDM_MONO_HALFTONE, "The picture cannot be made black and white",
         [](int32_t h) { return IMG_halftone_mono(h); }},
        {IDM_MONO_ORDERED, "The picture cannot be made black and white",
         [](int32_t h) { return IMG_bayer_mono(h); }},
        {IDM_MONO_DIFFUSION, "The picture cannot be made black and white",
         [](int32_t h) { return IMG_diffusion_mono(h); }},
        {IDM_COLORS_256, "The colours cannot be reduced",
         [](int32_t h) { return IMG_popularity_color(h); }},
        {IDM_COLORS_16, "The colours cannot be reduced",
         [](int32_t h) { return IMG_diffusion_color(h); }},
        {IDM_PROMOTE_8, "The depth cannot be changed", [](int32_t h) { return IMG_promote_8(h); }},
        {IDM_PROMOTE_24, "The depth cannot be changed",
         [](int32_t h) { return IMG_promote_24(h); }},
    };
    for (const auto& o : operations)
        if (o.id == id) {
            change(o.failure, o.operation);
            return true;
        }
    if (id != IDM_TONE) return false;
    change_tone();
    return true;
}

// A scan that the user has cancelled is nothing to be warned of.
bool viewer_frame::scan_succeeded(int32_t result) const
{
    if (result == code_scan_cancelled)
        show_status("Scanning was cancelled.");
    else if (result < 0)
        tell_error(window_, cannot_scan, result);
    return result >= 0;
}

void viewer_frame::scan_page()
{
    if (!may_lose_changes(window_, picture_)) return;
    const int32_t result = IMG_scan_acquire(window_, 1);
    if (!scan_succeeded(result)) return;
    picture_.adopt(result, "Scanned page");
    view_->fit();
    show_picture();
    show_status("Scanned.");
}

void viewer_frame::scan_pages()
{
    const auto choice = ask_file_to_save(window_, "page", save_purpose::scan_pages);
    if (!choice) return;
    const bool one_file = choice->type.scans_into_one_file;
    // Each page of its own file gets a number and the library's extension.
    std::string prefix = choice->path;
    const std::string extension = "." + choice->type.extension;
    if (!one_file && prefix.ends_with(extension)) prefix.resize(prefix.size() - extension.size());
    if (!may_replace(window_, one_file ? choice->path : prefix + "????????.img")) return;

    const replacement_file file(choice->path);
    // Told before the scanner runs, not after its last page.
    if (!file.can_be_written()) return tell_error(window_, cannot_scan, code_create);
    const int32_t result =
        IMG_scan_pages(window_, one_file ? file.name() : prefix.c_str(), choice->type.code, 1);
    // Pages that came before a failure are kept.
    const int32_t arrived = one_file ? IMGLOW_get_pages(file.name()) : 0;
    const int32_t placed = arrived > 0 ? file.put_in_place() : 0;
    if (scan_succeeded(placed < 0 ? placed : result))
        show_status("Scanned " + (one_file ? std::to_string(arrived) + " pages into " + choice->path
                                           : "from " + prefix + "00000000.img"));
}

void viewer_frame::scan_command(int id)
{
    switch (id) {
    case IDM_SCAN_SELECT: scan_succeeded(IMG_scan_open_source(window_)); break;
    case IDM_SCAN_PAGE: scan_page(); break;
    default: scan_pages();
    }
}

void viewer_frame::command(int id)
{
    if (id >= IDM_SCAN_SELECT && id <= IDM_SCAN_PAGES) return scan_command(id);
    // Accelerators reach us also while their menu items are grey.
    const bool needs_picture = id != IDM_OPEN && id != IDM_EXIT && id != IDM_PASTE &&
                               id != IDM_SAVE_CLIPBOARD && id != IDM_ABOUT && id != IDM_PRINT_TONE;
    if (needs_picture && !picture_.is_open()) return;
    if (!view_command(id) && !picture_command(id)) file_command(id);
}

void viewer_frame::update_menu(HMENU menu) const
{
    const auto enable = [&](int id, bool on) {
        EnableMenuItem(menu, static_cast<UINT>(id), on ? MF_ENABLED : MF_GRAYED);
    };
    const bool open = picture_.is_open();
    for (const int id : {IDM_SAVE_AS, IDM_APPEND, IDM_CLOSE, IDM_PRINT, IDM_PRINT_METAFILE,
                         IDM_COPY, IDM_FIT, IDM_ACTUAL_SIZE, IDM_ZOOM_IN, IDM_ZOOM_OUT})
        enable(id, open);
    for (int id = IDM_ROTATE_RIGHT; id <= IDM_TONE; ++id)
        enable(id, open);
    enable(IDM_REVERT, open && picture_.modified() && picture_.has_file());
    const bool reducible = open && picture_.bits() > 1;
    for (const int id : {IDM_GRAY, IDM_MONO_HALFTONE, IDM_MONO_ORDERED, IDM_MONO_DIFFUSION,
                         IDM_COLORS_16, IDM_TONE})
        enable(id, reducible);
    enable(IDM_COLORS_256, open && picture_.bits() == 24);
    enable(IDM_PROMOTE_8, open && picture_.bits() < 8);
    enable(IDM_PROMOTE_24, open && picture_.bits() < 24);
    enable(IDM_NEXT_PAGE, open && picture_.page() + 1 < picture_.page_count());
    enable(IDM_LAST_PAGE, open && picture_.page() + 1 < picture_.page_count());
    enable(IDM_PREVIOUS_PAGE, open && picture_.page() > 0);
    enable(IDM_FIRST_PAGE, open && picture_.page() > 0);
    const bool clipboard =
        IsClipboardFormatAvailable(CF_DIB) || IsClipboardFormatAvailable(CF_BITMAP);
    enable(IDM_PASTE, clipboard);
    enable(IDM_SAVE_CLIPBOARD, clipboard);
    CheckMenuItem(menu, IDM_FIT,
                  static_cast<UINT>(open && view_->fits() ? MF_CHECKED : MF_UNCHECKED));
}
