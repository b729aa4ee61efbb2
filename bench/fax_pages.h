// fax_pages.h - bi-level pages as scanners and fax machines see them, rendered by Ghostscript
// when a benchmark runs: text, drawings, halftones and error diffusion.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

struct fax_page {
    int width = 0, height = 0;
    std::vector<uint8_t> rows; // 1 bits white, rows of whole bytes

    size_t row_bytes() const { return (static_cast<size_t>(width) + 7) / 8; }
    const uint8_t* row(int y) const { return rows.data() + row_bytes() * static_cast<size_t>(y); }
};

enum class fax_content { text, drawing, halftone, diffusion };

inline const char* fax_program(fax_content content)
{
    switch (content) {
    case fax_content::text:
        return R"(/Times-Roman findfont 11 scalefont setfont
/y 790 def 1 1 56 { /n exch def 60 y moveto
(Quarterly accounts, line ) show n 9 string cvs show
( of the report on freight, storage and customs duties; see page ) show n 7 mul 40 mod 9 string cvs show
(.) show /y y 13 sub def } for showpage)";
    case fax_content::drawing:
        return R"(0.6 setlinewidth 1 1 40 { /n exch def 300 400 n 6 mul 0 360 arc stroke
30 n 20 mul moveto 560 820 n 20 mul sub lineto stroke } for
/Helvetica findfont 9 scalefont setfont 1 1 30 { /n exch def
n 17 mul 40 n 23 mul 60 add moveto (R) show n 9 string cvs show } for
2 setlinewidth 50 50 500 740 rectstroke showpage)";
    default:
        return R"(0 1 59 { /i exch def 0 1 83 { /k exch def
i 13 mul k 7 mul add sin i k mul 3 mul cos mul 2 div 0.5 add setgray
i 10 mul k 10 mul 10 10 rectfill } for } for
0.15 setgray /Times-Bold findfont 90 scalefont setfont 60 400 moveto (Fax page) show showpage)";
    }
}

inline fax_page read_netpbm(std::FILE* in, std::vector<uint8_t>* grey)
{
    fax_page page;
    char kind = 0;
    if (std::fscanf(in, "P%c", &kind) != 1) std::abort();
    const auto number = [&] {
        int value = 0;
        while (std::fscanf(in, " #%*[^\n]") == 0 && std::fscanf(in, "%d", &value) == 0)
            ;
        return value;
    };
    page.width = number();
    page.height = number();
    if (kind == '5') number();
    std::fgetc(in);
    const size_t bytes = (kind == '5' ? static_cast<size_t>(page.width) : page.row_bytes()) *
                         static_cast<size_t>(page.height);
    std::vector<uint8_t> data(bytes);
    if (std::fread(data.data(), 1, bytes, in) != bytes) std::abort();
    if (kind == '5') {
        *grey = std::move(data);
    } else {
        for (uint8_t& byte : data)
            byte = static_cast<uint8_t>(~byte);
        page.rows = std::move(data);
    }
    return page;
}

// Floyd and Steinberg's error diffusion.
inline void diffuse(fax_page& page, const std::vector<uint8_t>& grey)
{
    const auto width = static_cast<size_t>(page.width);
    page.rows.assign(page.row_bytes() * static_cast<size_t>(page.height), 0);
    std::vector<int> here(width + 2), below(width + 2);
    for (size_t y = 0; y < static_cast<size_t>(page.height); ++y) {
        for (size_t x = 0; x < width; ++x) {
            const int value = grey[y * width + x] * 16 + here[x + 1];
            const bool white = value >= 128 * 16;
            if (white)
                page.rows[y * page.row_bytes() + x / 8] |= static_cast<uint8_t>(128 >> x % 8);
            const int error = (value - (white ? 255 * 16 : 0)) / 16;
            here[x + 2] += 7 * error;
            below[x] += 3 * error;
            below[x + 1] += 5 * error;
            below[x + 2] += error;
        }
        here.swap(below);
        below.assign(width + 2, 0);
    }
}

inline fax_page render_fax_page(fax_content content, int width, int height)
{
    const std::string program = "bench_fax_page.ps";
    std::FILE* out = std::fopen(program.c_str(), "w");
    std::fprintf(out, "%s\n", fax_program(content));
    std::fclose(out);
    const bool diffused = content == fax_content::diffusion;
    const std::string command =
        "gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=" + std::string(diffused ? "pgmraw" : "pbmraw") +
        " -g" + std::to_string(width) + "x" + std::to_string(height) + " -r" +
        std::to_string(width * 72.0 / 595) + "x" + std::to_string(height * 72.0 / 842) +
        " -sOutputFile=- " + program;
    std::FILE* in = popen(command.c_str(), "r");
    std::vector<uint8_t> grey;
    fax_page page = read_netpbm(in, &grey);
    pclose(in);
    std::remove(program.c_str());
    if (diffused) diffuse(page, grey);
    return page;
}
