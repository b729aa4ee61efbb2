// frame.h - the viewer's main window: menu, title, status bar, commands.
#pragma once

#include "viewer/dialogs.h"
#include "viewer/picture_window.h"

#include <memory>
#include <shellapi.h>
#include <string>

class viewer_frame : public message_window {
public:
    bool create(int show);
    void open_file(const std::string& path, int32_t page = 0);
    /// True when an accelerator took the message.
    bool translate(MSG& message) const;

private:
    LRESULT handle(UINT message, WPARAM w, LPARAM l) override;
    void on_create();
    void layout() const;
    void command(int id);
    void file_command(int id);
    bool view_command(int id);
    bool picture_command(int id);
    void scan_command(int id);
    void scan_page();
    void scan_pages();
    bool scan_succeeded(int32_t result) const;
    template <class Operation> void change(const char* what, Operation operation);
    void ask_and_open();
    void save(save_purpose purpose);
    void print_metafile();
    void print();
    void copy();
    void paste();
    void save_clipboard();
    void change_tone();
    void go_to_page(int32_t page);
    void dropped(HDROP drop);
    void update_menu(HMENU menu) const;
    void show_picture();
    void show_title() const;
    void show_status(const std::string& text) const;
    void show_zoom() const;

    HWND status_ = nullptr;
    HACCEL accelerators_ = nullptr;
    document picture_;
    std::unique_ptr<picture_window> view_;
};
