// jpeg_faults_test.cpp - JPEG files of several buffers with every allocation, lock, read and
// write failing in turn.

#include "tests/builders/jpeg_builder.h"
#include "tests/support/fault_sweep.h"

TEST(jpeg_faults, several_buffers_of_data)
{
    jpeg_builder::coded_picture p(200, 150, 2, 2, 9); // with restarts
    p.nonzero = 40;
    p.amplitude = 400;
    const temp_file file(".jpg");
    for (const int standard : {0, 1}) {
        IMGX_set_interchange(standard);
        write_file(file.name(), jpeg_builder::stream(p));
        sweep_load(file.name());
        const image_guard image(random_picture(300, 200, 24).create());
        const picture before = copy_image(image);
        sweep_save(image, file.name(), 13);
        expect_same_colors(copy_image(image), before);
    }
}
