// show.cpp - the show command: a preview in the terminal. Each character cell shows two
// points, one above the other, as an upper half block in two colours. Rows are averaged
// while they are decoded, so the picture is never held whole.

#include "platform/host.h"
#include "tool/progress.h"
#include "tool/transfer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

struct point_sum {
    uint64_t red = 0, green = 0, blue = 0, count = 0;
};

struct preview {
    int32_t width = 0, height = 0, bits = 0;
    int32_t columns = 0, lines = 0; // points
    std::array<RGBQUAD, 256> colors{};
    std::vector<point_sum> points;
    std::vector<int32_t> column_of; // of each pixel column
};

// The largest size in the window that keeps the shape; unequal resolutions, as of fax pages,
// are evened out.
void choose_size(preview& p, int32_t x_dpi, int32_t y_dpi)
{
    const host_window window = host_window_size();
    const double wide = p.width;
    double high = p.height;
    if (x_dpi > 0 && y_dpi > 0) high = high * x_dpi / y_dpi;
    const double across = std::max(1, window.columns);
    const double down = std::max(2, 2 * (window.rows - 2));
    const double scale = std::min({across / wide, down / high, 1.0});
    p.columns = std::max(1, static_cast<int32_t>(std::lround(wide * scale)));
    p.lines = std::max(1, static_cast<int32_t>(std::lround(high * scale)));
    p.columns = std::min(p.columns, p.width);
    p.lines = std::min(p.lines, p.height);
}

int32_t IMG_C begin_preview(const BITMAPINFOHEADER* header, IMG_PRIVATE private_data)
{
    auto& p = *reinterpret_cast<preview*>(private_data);
    p.width = header->biWidth;
    p.height = header->biHeight;
    p.bits = header->biBitCount;
    if (p.bits != 24) std::memcpy(p.colors.data(), header + 1, sizeof(RGBQUAD) << p.bits);
    choose_size(p, header->biXPelsPerMeter, header->biYPelsPerMeter);
    p.points.assign(static_cast<size_t>(p.columns) * static_cast<size_t>(p.lines), {});
    p.column_of.resize(static_cast<size_t>(p.width));
    for (int32_t x = 0; x < p.width; ++x)
        p.column_of[static_cast<size_t>(x)] =
            static_cast<int32_t>(int64_t{x} * p.columns / p.width);
    return 1;
}

RGBQUAD pixel_at(const preview& p, const uint8_t* row, int32_t x)
{
    if (p.bits == 24) return {row[3 * x], row[3 * x + 1], row[3 * x + 2], 0};
    const int64_t first = int64_t{x} * p.bits;
    const int32_t index = row[first / 8] >> (8 - p.bits - first % 8) & ((1 << p.bits) - 1);
    return p.colors[static_cast<size_t>(index)];
}

int32_t IMG_C add_row(const void* data, IMG_PRIVATE private_data, int32_t row_index,
                      int32_t byte_count)
{
    auto& p = *reinterpret_cast<preview*>(private_data);
    if (const int32_t code = progress_step(p.height); code < 0) return code;
    if (row_index < 0 || row_index >= p.height || byte_count <= 0) return 0;
    const auto* row = static_cast<const uint8_t*>(data);
    const auto whole =
        static_cast<int32_t>(std::min<int64_t>(p.width, int64_t{byte_count} * 8 / p.bits));
    point_sum* line = p.points.data() + int64_t{row_index} * p.lines / p.height * p.columns;
    for (int32_t x = 0; x < whole; ++x) {
        const RGBQUAD color = pixel_at(p, row, x);
        point_sum& point = line[p.column_of[static_cast<size_t>(x)]];
        point.red += color.rgbRed;
        point.green += color.rgbGreen;
        point.blue += color.rgbBlue;
        ++point.count;
    }
    return 0;
}

// "R;G;B", the mean of a point's pixels.
std::string color_of(const preview& p, int32_t column, int32_t line)
{
    const point_sum& point = p.points[static_cast<size_t>(line) * static_cast<size_t>(p.columns) +
                                      static_cast<size_t>(column)];
    const uint64_t count = std::max<uint64_t>(1, point.count);
    return std::to_string(point.red / count) + ";" + std::to_string(point.green / count) + ";" +
           std::to_string(point.blue / count);
}

void print_preview(const preview& p)
{
    std::string text;
    for (int32_t line = 0; line < p.lines; line += 2) {
        std::string present;
        for (int32_t column = 0; column < p.columns; ++column) {
            // A last line without a partner leaves the lower half as the terminal has it.
            const std::string colors =
                "\x1b[38;2;" + color_of(p, column, line) +
                (line + 1 < p.lines ? ";48;2;" + color_of(p, column, line + 1) : ";49") + "m";
            if (colors != present) text += colors;
            present = colors;
            text += "\xE2\x96\x80"; // U+2580, upper half block
        }
        text += "\x1b[0m\n";
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
}

} // namespace

int run_show(const std::vector<std::string>& files, int32_t page, const tool_settings& settings)
{
    int worst = exit_done;
    for (const std::string& name : files) {
        const int code = guarded([&] {
            progress_file(name);
            source_file source(name, settings.offset);
            source.require_page(page);
            preview p;
            progress_phase("reading");
            const int32_t result =
                source.stream(page, add_row, reinterpret_cast<IMG_PRIVATE>(&p), begin_preview);
            progress_clear();
            // What was decoded before the damage is worth a look.
            if (!p.points.empty() && result != code_cancelled) print_preview(p);
            require(result, name, "reading page " + std::to_string(page));
            std::printf("%s: page %d, %d x %d, %d bit\n", name.c_str(), static_cast<int>(page),
                        static_cast<int>(p.width), static_cast<int>(p.height),
                        static_cast<int>(p.bits));
        });
        worst = std::max(worst, code);
        if (code == exit_cancelled) break;
    }
    return worst;
}
