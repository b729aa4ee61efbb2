// wpg_builder.h - makes WordPerfect graphics record by record.
#pragma once

#include "tests/support/codec.h"

inline byte_vector wpg_length(size_t length)
{
    byte_vector bytes;
    if (length < 0xFF) {
        bytes.push_back(uint8_t(length));
    } else if (length < 0x8000) {
        bytes.push_back(0xFF);
        add_le(bytes, length, 2);
    } else {
        bytes.push_back(0xFF);
        add_le(bytes, 0x8000 | length >> 16, 2);
        add_le(bytes, length & 0xFFFF, 2);
    }
    return bytes;
}

struct wpg_builder {
    explicit wpg_builder(int version = 1, size_t first_record = 16) : version_(version)
    {
        bytes = {0xFF, 'W', 'P', 'C'};
        add_le(bytes, first_record, 4);
        add_bytes(bytes, {1, 0x16, uint8_t(version), 0, 0, 0, 0, 0});
        bytes.resize(first_record, 0x0B); // junk that looks like a bitmap record
    }
    wpg_builder& record(int type, const byte_vector& body)
    {
        if (version_ == 2) bytes.push_back(1);
        bytes.push_back(uint8_t(type));
        if (version_ == 2) bytes.push_back(0);
        add_bytes(bytes, wpg_length(body.size()));
        add_bytes(bytes, body);
        return *this;
    }
    wpg_builder& colors(int first, const byte_vector& rgb, int count = -1)
    {
        byte_vector body;
        add_le(body, uint64_t(first), 2);
        add_le(body, count < 0 ? rgb.size() / 3 : size_t(count), 2);
        add_bytes(body, rgb);
        return record(0x0E, body);
    }
    wpg_builder& bitmap(int width, int height, int bits, const byte_vector& data, int rotation = -1)
    {
        byte_vector body;
        if (rotation >= 0) {
            add_le(body, uint64_t(rotation), 2);
            body.resize(10);
        }
        for (int v : {width, height, bits, 75, 80})
            add_le(body, uint64_t(v), 2);
        add_bytes(body, data);
        return record(rotation < 0 ? 0x0B : 0x14, body);
    }
    wpg_builder& bitmap_2(int width, int height, int format, int coding, const byte_vector& data)
    {
        byte_vector body;
        add_le(body, uint64_t(width), 2);
        add_le(body, uint64_t(height), 2);
        add_bytes(body, {uint8_t(format), uint8_t(coding)});
        add_bytes(body, data);
        return record(0x0E, body);
    }

    byte_vector bytes;

private:
    int version_;
};
