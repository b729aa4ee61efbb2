// picture_window.h - the window that shows the picture: zoom, scroll, and the rectangle that
// the mouse draws to zoom into.
#pragma once

#include "viewer/document.h"
#include "viewer/message_window.h"

#include <functional>

class picture_window : public message_window {
public:
    picture_window(HWND parent, document& picture);

    /// Called when the zoom has changed.
    std::function<void()> on_zoom;

    /// Screen pixels per image pixel.
    double scale() const { return scale_; }
    bool fits() const { return fit_; }

    void fit();
    void actual_size();
    /// Zooms by a factor, keeping the middle of the window in place.
    void zoom_by(double factor);
    /// Shows another picture, or the present one after a change of its size.
    void picture_changed();

private:
    LRESULT handle(UINT message, WPARAM w, LPARAM l) override;
    void paint();
    void paint_margins(HDC dc, const RECT& target) const;
    void scroll(UINT message, WPARAM w);
    void key(WPARAM key);
    void wheel(WPARAM w, LPARAM l);
    void draw_rubber_band() const;
    void end_rubber_band();
    void zoom_at(double factor, POINT place);
    void set_view(double scale, double centre_x, double centre_y);
    bool place_crop(double centre_x, double centre_y);
    double fitting_scale() const;
    RECT client() const;
    RECT target() const;
    void image_point(POINT place, double& x, double& y) const;

    document& picture_;
    double scale_ = 1;
    bool fit_ = true;
    bool placing_ = false; // scroll bars that come or go resize the window from within
    bool dragging_ = false;
    POINT drag_from_{}, drag_to_{};
};
