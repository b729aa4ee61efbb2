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

// The extension that was typed counts more than the list, which is often left as it stands:
// the type of the list where it goes by that extension too, else the first that does.
const save_type& type_for(const std::string& path, const std::vector<save_type>& types,
                          size_t listed)
{
    const std::string name = file_name_of(path);
    const std::string extension = name.substr(name.find_last_of('.') + 1);
    const auto fits = [&](const save_type& type) {
        return lstrcmpiA(type.extension.c_str(), extension.c_str()) == 0;
    };
    if (fits(types[listed])) return types[listed];
    const auto found = std::find_if(types.begin(), types.end(), fits);
    return found == types.end() ? types[listed] : *found;
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

struct number_field {
    int item;
    int32_t least, most;
    int32_t* value;
};

// A dialog of numbers, one with the choice of dots.
struct number_dialog {
    std::vector<number_field> fields;
    int32_t* dither = nullptr;

    bool run(HWND owner, int id)
    {
        return DialogBoxParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(id), owner, procedure,
                               reinterpret_cast<LPARAM>(this)) == IDOK;
    }

private:
    static INT_PTR CALLBACK procedure(HWND dialog, UINT message, WPARAM w, LPARAM l)
    {
        if (message == WM_INITDIALOG) {
            SetWindowLongPtrA(dialog, GWLP_USERDATA, l);
            reinterpret_cast<const number_dialog*>(l)->show(dialog);
            return TRUE;
        }
        const int button = LOWORD(w);
        if (message != WM_COMMAND || (button != IDOK && button != IDCANCEL)) return FALSE;
        const LONG_PTR self = GetWindowLongPtrA(dialog, GWLP_USERDATA);
        if (button == IDOK) reinterpret_cast<const number_dialog*>(self)->take(dialog);
        EndDialog(dialog, button);
        return TRUE;
    }
    void show(HWND dialog) const
    {
        for (const number_field& f : fields)
            SetDlgItemInt(dialog, f.item, static_cast<UINT>(*f.value), TRUE);
        if (!dither) return;
        for (const char* name : {"Halftone", "Ordered", "Diffusion"})
            SendDlgItemMessageA(dialog, IDC_DITHER, CB_ADDSTRING, 0,
                                reinterpret_cast<LPARAM>(name));
        SendDlgItemMessageA(dialog, IDC_DITHER, CB_SETCURSEL, static_cast<WPARAM>(*dither), 0);
    }
    void take(HWND dialog) const
    {
        for (const number_field& f : fields) {
            const UINT number = GetDlgItemInt(dialog, f.item, nullptr, TRUE);
            *f.value = std::clamp(static_cast<int32_t>(number), f.least, f.most);
        }
        if (!dither) return;
        const LRESULT chosen = SendDlgItemMessageA(dialog, IDC_DITHER, CB_GETCURSEL, 0, 0);
        *dither = std::max(0, static_cast<int32_t>(chosen));
    }
};

bool confirms(HWND owner, const std::string& question)
{
    return MessageBoxA(owner, question.c_str(), program_name, MB_OKCANCEL | MB_ICONQUESTION) ==
           IDOK;
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
    save_choice choice{dialog.path,
                       type_for(dialog.path, types, std::min(index, types.size() - 1))};
    if (file_name_of(choice.path).find('.') == std::string::npos) {
        choice.path += "." + choice.type.extension;
        // The dialog has asked about the name without it.
        if (purpose == save_purpose::picture && !may_replace(owner, choice.path))
            return std::nullopt;
    }
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
    tone_choice tone;
    number_dialog dialog{
        {{IDC_CONTRAST, -128, 127, &tone.contrast}, {IDC_BRIGHTNESS, -128, 127, &tone.brightness}}};
    if (!dialog.run(owner, IDD_TONE)) return std::nullopt;
    return tone;
}

std::optional<print_settings> ask_print_settings(HWND owner, const print_settings& present)
{
    // 100 leaves the picture as it is, and so does none; none saves the work.
    print_settings settings = present;
    if (settings.gamma == 0) settings.gamma = 100;
    number_dialog dialog{{{IDC_GAMMA, 10, 1000, &settings.gamma},
                          {IDC_BRIGHTNESS, -128, 127, &settings.brightness},
                          {IDC_DOT_GAIN, 0, 100, &settings.dot_gain}},
                         &settings.dither};
    if (!dialog.run(owner, IDD_PRINT_TONE)) return std::nullopt;
    if (settings.gamma == 100) settings.gamma = 0;
    return settings;
}

bool may_replace(HWND owner, const std::string& pattern)
{
    WIN32_FIND_DATAA found;
    HANDLE search = FindFirstFileA(pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return true;
    FindClose(search);
    return confirms(owner, std::string(found.cFileName) + " exists. Replace it?");
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
