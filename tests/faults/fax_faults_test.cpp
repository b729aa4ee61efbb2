// fax_faults_test.cpp - raw fax data with every allocation, lock and read failing in turn.

#include "platform/win32.h"
#include "tests/builders/plain_ccitt.h"
#include "tests/support/fault_sweep.h"
#include "tests/support/images.h"

TEST(fax_faults, decompressing)
{
    // Rows of many elements, so that the lists grow.
    plain::pixels row(12000);
    for (size_t i = 0; i < row.size(); ++i)
        row[i] = i % 2 == 0;
    const std::string coded_row = plain::encode_row_1d(row);
    std::string group4;
    for (int y = 0; y < 4; ++y)
        group4 += plain::encode_row_2d(row, y == 0 ? plain::pixels(row.size()) : row);
    const std::string eol(ccitt_end_of_line);
    const struct {
        int32_t type;
        std::string digits;
    } cases[] = {
        {1, eol + coded_row + eol + coded_row},
        {2, eol + "1" + coded_row + eol + "1" + coded_row},
        {4, group4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        const temp_file file(".fax");
        write_file(file.name(), plain::bytes_of(c.digits));
        sweep_faults(
            read_faults,
            [&] {
                OFSTRUCT opened;
                const HFILE source = OpenFile(file.name(), &opened, OF_READ);
                const int32_t handle = IMG_decompress_fax(source, 12000, 4, c.type, 1);
                _lclose(source);
                return handle < 0 ? handle : release_image(handle);
            },
            [](fault_kind kind, int32_t result) {
                const bool memory = kind == fault_kind::allocation || kind == fault_kind::lock;
                EXPECT_EQ(result, memory ? -1 : 0);
            });
    }
}
