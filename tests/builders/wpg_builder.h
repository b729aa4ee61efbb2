// wpg_builder.h - makes WordPerfect graphics record by record.
#pragma once

#include "tests/support/codec.h"

struct wpg_builder : byte_vector {
    explicit wpg_builder(int version = 1, size_t first_record = 16) : version_(version)
    {
        add_bytes(*this, {0xFF, 'W', 'P', 'C', uint8_t(first_record), 0, 0, 0, 1, 0x16,
                          uint8_t(version), 0, 0, 0, 0, 0});
        resize(first_record, 0x0B); // junk that looks like a bitmap record
    }
    wpg_builder& record(int type, const byte_vector& body)
    {
        if (version_ == 2) push_back(1);
        push_back(uint8_t(type));
        if (version_ == 2) push_back(0);
        const auto length = int64_t(body.size());
        if (length >= 0xFF) push_back(0xFF);
        if (length >= 0x8000) add_le(*this, {0x8000 | length >> 16}, 2);
        add_le(*this, {length}, length < 0xFF ? 1 : 2);
        add_bytes(*this, body);
        return *this;
    }
    wpg_builder& colors(int first, const byte_vector& rgb, int count = -1)
    {
        byte_vector body;
        add_le(body, {first, count < 0 ? int(rgb.size()) / 3 : count}, 2);
        add_bytes(body, rgb);
        return record(0x0E, body);
    }
    wpg_builder& bitmap(int width, int height, int bits, const byte_vector& data, int rotation = -1)
    {
        byte_vector body;
        if (rotation >= 0) add_le(body, {rotation, 0, 0, 0, 0}, 2);
        add_le(body, {width, height, bits, 75, 80}, 2);
        add_bytes(body, data);
        return record(rotation < 0 ? 0x0B : 0x14, body);
    }
    wpg_builder& bitmap_2(int width, int height, int format, int coding, const byte_vector& data)
    {
        byte_vector body;
        add_le(body, {width, height, format | coding << 8}, 2);
        add_bytes(body, data);
        return record(0x0E, body);
    }

private:
    int version_;
};
