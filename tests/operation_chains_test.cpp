// operation_chains_test.cpp - random chains of operations beside their plain versions: what
// one operation leaves behind (padding, saved colours, header) is what the next one meets.

#include "tests/reference/plain_color.h"
#include "tests/reference/plain_process.h"

namespace {

/// A picture and the colours of its first tone change.
struct chain {
    picture p;
    std::vector<picture::color> saved;

    void become(picture next, bool forget)
    {
        p = std::move(next);
        if (forget) saved.clear();
    }
};

bool is_grey(const picture& p)
{
    return p.bits < 24 && std::all_of(p.colors.begin(), p.colors.end(),
                                      [](const auto& c) { return c[0] == c[1] && c[1] == c[2]; });
}

int32_t refuse_unless(bool accepted)
{
    return accepted ? 0 : -7;
}

/// Runs operation number n on both.  The plain one's result.
int32_t run(chain& c, int32_t handle, uint32_t n, uint32_t argument, int32_t& result)
{
    const int small = static_cast<int>(argument % 256) - 128;
    const bool reducible = c.p.bits != 1, promotable = c.p.bits != 24;
    const auto reduce = [&](int32_t got, picture (*plain_version)(const picture&), bool accepted) {
        result = got;
        if (accepted) c.become(plain_version(c.p), true);
        return refuse_unless(accepted);
    };
    const auto move = [&](int32_t got, picture next) {
        result = got;
        c.become(std::move(next), false);
        return 0;
    };
    switch (n) {
    case 0: return reduce(IMG_color_gray(handle), plain::gray, reducible);
    case 1: return reduce(IMG_promote_8(handle), plain::promote_8, promotable);
    case 2: return reduce(IMG_promote_24(handle), plain::promote_24, promotable);
    case 3: return reduce(IMG_bayer_color(handle), plain::bayer_color, reducible);
    case 4: return reduce(IMG_diffusion_color(handle), plain::diffusion_color, reducible);
    case 5: return reduce(IMG_mediancut_color(handle), plain::fixed_palette, reducible);
    case 6: {
        const int degrees[] = {0, 90, 180, 270};
        return move(IMG_rotate_bitmap(handle, degrees[argument % 4]),
                    plain::rotated(c.p, degrees[argument % 4]));
    }
    case 7: return move(IMG_flip_bitmapx(handle), plain::flipped_x(c.p));
    case 8: return move(IMG_flip_bitmapy(handle), plain::flipped_y(c.p));
    case 9: {
        const int width = 1 + static_cast<int>(argument % 90);
        const int height = 1 + static_cast<int>(argument / 90 % 60);
        return move(IMG_resize_bitmap(handle, width, height), plain::resized(c.p, width, height));
    }
    case 10: {
        const int brightness = static_cast<int>(argument / 256 % 64) - 32;
        result = IMG_set_lut(handle, small, brightness);
        if (c.p.bits == 1) return -7;
        if (c.saved.empty()) c.saved = c.p.colors;
        c.p.colors = c.saved;
        c.p = plain::toned(c.p, small, brightness);
        return 0;
    }
    case 11: return move(IMG_invert_bitmap(handle), plain::inverted(c.p));
    case 12:
        result = IMG_sharpen_bitmap(handle, small);
        if (c.p.bits != 1 && c.p.bits != 24 && !is_grey(c.p)) return -7;
        c.p = plain::sharpened(c.p, small);
        return 0;
    default: {
        const int type = 1 + static_cast<int>(argument % 9);
        result = IMG_process_bitmap(handle, type, nullptr);
        if (c.p.bits == 1) return -7;
        if (c.p.bits != 24 && !is_grey(c.p)) c.become(plain::gray(c.p), true);
        if (c.p.bits != 4) c.p = plain::convolved(c.p, plain::kernels[type - 1]);
        return 0;
    }
    }
}

} // namespace

TEST(operation_chains, end_as_their_plain_versions_do)
{
    constexpr int depths[] = {1, 4, 8, 24};
    std::mt19937 random(7);
    for (uint32_t round = 0; round < 300; ++round) {
        const int width = 1 + static_cast<int>(random() % 80);
        const int height = 1 + static_cast<int>(random() % 50);
        const auto kind = random() % 2 ? test_colors::grey : test_colors::random;
        chain c{random_picture(width, height, depths[random() % 4], round, kind), {}};
        const image_guard image(create_image(c.p));
        std::string done = std::to_string(width) + " x " + std::to_string(height);
        for (int step = 0; step < 8; ++step) {
            const uint32_t n = random() % 14, argument = random();
            done += ", " + std::to_string(n) + "(" + std::to_string(argument) + ")";
            SCOPED_TRACE(done);
            int32_t result = 0;
            const int32_t expected = run(c, image, n, argument, result);
            ASSERT_EQ(result, expected);
            expect_image(image, c.p);
            if (HasFatalFailure()) return;
        }
    }
}
