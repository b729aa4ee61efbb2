// dialogs.cpp - what the viewer asks and tells the user.

#include "viewer/dialogs.h"

#include "viewer/resource.h"

#include <algorithm>
#include <commdlg.h>

namespace {

constexpr const char* program_name = "Trevolan Viewer";

// A list of "description, pattern" pairs as the file dialogs want it.
class filter_list {
public:
    void add(const std::string& description, const std::string& pattern)
    {
        text_ += description + " (" + pattern + ")";
        text_ += '\0';
        text_ += pattern;
        text_ += '\0';
    }
    const char* get() const { return text_.c_str(); }

private:
    std::string text_;
};

std::string patterns_of(const char* extensions)
{
    std::string patterns = "*.";
    for (const char* p = extensions; *p; ++p) {
        if (*p == ' ')
            patterns += ";*.";
        else
            patterns += *p;
    }
    return patterns;
}

filter_list open_filters()
{
    std::string all;
    filter_list result;
    IMGX_TYPE_INFO info;
    for (int32_t i = 0; IMGX_get_type_info(i, &info) == 0; ++i) {
        const std::string patterns = patterns_of(info.extensions);
        if (!info.reads || all.find(patterns) != std::string::npos) continue;
        all += (all.empty() ? "" : ";") + patterns;
    }
    result.add("All pictures", all);
    result.add("All files", "*.*");
    return result;
}

std::string base_name(const std::string& path)
{
    const std::string name = file_name_of(path);
    return name.substr(0, name.find_last_of('.'));
}

struct file_dialog {
    char path[1024] = {};
    OPENFILENAMEA open{};

    file_dialog(HWND owner, const char* filters, DWORD flags)
    {
        open.lStructSize = sizeof open;
        open.hwndOwner = owner;
        open.lpstrFilter = filters;
        open.nFilterIndex = 1;
        open.lpstrFile = path;
        open.nMaxFile = sizeof path;
        open.Flags = flags | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
    }
};

// The values of a dialog while it runs.
struct tone_fields {
    tone_choice tone;
    print_settings print;
};

int32_t number_in(HWND dialog, int item, int32_t least, int32_t most)
{
    return std::clamp(static_cast<int32_t>(GetDlgItemInt(dialog, item, nullptr, TRUE)), least,
                      most);
}

void set_number(HWND dialog, int item, int32_t value)
{
    SetDlgItemInt(dialog, item, static_cast<UINT>(value), TRUE);
}

INT_PTR CALLBACK tone_dialog(HWND dialog, UINT message, WPARAM w, LPARAM l)
{
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrA(dialog, GWLP_USERDATA, l);
        set_number(dialog, IDC_CONTRAST, 0);
        set_number(dialog, IDC_BRIGHTNESS, 0);
        return TRUE;
    }
    if (message != WM_COMMAND || (LOWORD(w) != IDOK && LOWORD(w) != IDCANCEL)) return FALSE;
    auto* fields = reinterpret_cast<tone_fields*>(GetWindowLongPtrA(dialog, GWLP_USERDATA));
    fields->tone.contrast = number_in(dialog, IDC_CONTRAST, -128, 127);
    fields->tone.brightness = number_in(dialog, IDC_BRIGHTNESS, -128, 127);
    EndDialog(dialog, LOWORD(w));
    return TRUE;
}

void init_print_tone(HWND dialog, const print_settings& present)
{
    set_number(dialog, IDC_GAMMA, present.gamma ? present.gamma : 100);
    set_number(dialog, IDC_BRIGHTNESS, present.brightness);
    set_number(dialog, IDC_DOT_GAIN, present.dot_gain);
    for (const char* name : {"Halftone", "Ordered", "Diffusion"})
        SendDlgItemMessageA(dialog, IDC_DITHER, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name));
    SendDlgItemMessageA(dialog, IDC_DITHER, CB_SETCURSEL, static_cast<WPARAM>(present.dither), 0);
}

INT_PTR CALLBACK print_tone_dialog(HWND dialog, UINT message, WPARAM w, LPARAM l)
{
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrA(dialog, GWLP_USERDATA, l);
        init_print_tone(dialog, reinterpret_cast<tone_fields*>(l)->print);
        return TRUE;
    }
    if (message != WM_COMMAND || (LOWORD(w) != IDOK && LOWORD(w) != IDCANCEL)) return FALSE;
    auto* fields = reinterpret_cast<tone_fields*>(GetWindowLongPtrA(dialog, GWLP_USERDATA));
    print_settings& print = fields->print;
    print.gamma = number_in(dialog, IDC_GAMMA, 10, 1000);
    // 100 leaves the picture as it is, and so does none; none saves the work.
    if (print.gamma == 100) print.gamma = 0;
    print.brightness = number_in(dialog, IDC_BRIGHTNESS, -128, 127);
    print.dot_gain = number_in(dialog, IDC_DOT_GAIN, 0, 100);
    const LRESULT dither = SendDlgItemMessageA(dialog, IDC_DITHER, CB_GETCURSEL, 0, 0);
    print.dither = std::max(0, static_cast<int32_t>(dither));
    EndDialog(dialog, LOWORD(w));
    return TRUE;
}

bool confirms(HWND owner, const std::string& question)
{
    return MessageBoxA(owner, question.c_str(), program_name, MB_OKCANCEL | MB_ICONQUESTION) ==
           IDOK;
}

bool run_dialog(HWND owner, int id, DLGPROC procedure, tone_fields& fields)
{
    return DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(id), owner, procedure,
                           reinterpret_cast<LPARAM>(&fields)) == IDOK;
}

} // namespace

std::optional<std::string> ask_file_to_open(HWND owner)
{
    const filter_list filters = open_filters();
    file_dialog dialog(owner, filters.get(), OFN_FILEMUSTEXIST);
    if (!GetOpenFileNameA(&dialog.open)) return std::nullopt;
    return dialog.path;
}

std::optional<save_choice> ask_file_to_save(HWND owner, const std::string& suggestion,
                                            save_purpose purpose)
{
    std::vector<save_type> types = save_types();
    if (purpose == save_purpose::add_page)
        std::erase_if(types, [](const save_type& t) { return !t.multi_page; });
    filter_list filters;
    for (const save_type& t : types)
        filters.add(t.description, "*." + t.extension);
    file_dialog dialog(owner, filters.get(),
                       purpose == save_purpose::picture ? DWORD{OFN_OVERWRITEPROMPT} : 0UL);
    lstrcpynA(dialog.path, base_name(suggestion).c_str(), sizeof dialog.path);
    dialog.open.lpstrDefExt = "";
    if (!GetSaveFileNameA(&dialog.open)) return std::nullopt;
    const size_t index = dialog.open.nFilterIndex > 0 ? dialog.open.nFilterIndex - 1 : 0;
    save_choice choice{dialog.path, types[std::min(index, types.size() - 1)]};
    if (file_name_of(choice.path).find('.') == std::string::npos)
        choice.path += "." + choice.type.extension;
    return choice;
}

std::optional<std::string> ask_name(HWND owner, const char* title, const char* extension)
{
    filter_list filters;
    filters.add(title, std::string("*.") + extension);
    file_dialog dialog(owner, filters.get(), OFN_OVERWRITEPROMPT);
    dialog.open.lpstrDefExt = extension;
    if (!GetSaveFileNameA(&dialog.open)) return std::nullopt;
    return dialog.path;
}

std::optional<tone_choice> ask_tone(HWND owner)
{
    tone_fields fields;
    if (!run_dialog(owner, IDD_TONE, tone_dialog, fields)) return std::nullopt;
    return fields.tone;
}

std::optional<print_settings> ask_print_settings(HWND owner, const print_settings& present)
{
    tone_fields fields;
    fields.print = present;
    if (!run_dialog(owner, IDD_PRINT_TONE, print_tone_dialog, fields)) return std::nullopt;
    return fields.print;
}

bool may_replace(HWND owner, const std::string& path)
{
    if (GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES) return true;
    return confirms(owner, file_name_of(path) + " exists. Replace it?");
}

void tell(HWND owner, const std::string& text)
{
    MessageBoxA(owner, text.c_str(), program_name, MB_OK | MB_ICONINFORMATION);
}

void tell_error(HWND owner, const std::string& what_failed, int32_t code)
{
    const std::string text = what_failed + ":\n" + IMGX_error_text(code) + ".";
    MessageBoxA(owner, text.c_str(), program_name, MB_OK | MB_ICONWARNING);
}

bool may_lose_changes(HWND owner, const document& picture)
{
    if (!picture.is_open() || !picture.modified()) return true;
    return confirms(owner, "The picture has changes that are not saved. Go on without them?");
}
