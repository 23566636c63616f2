// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Choices, numbers and texts out of the bytes of a fuzzer.

#ifndef ULLAGE_FUZZ_SUPPORT_BYTE_FEED_H
#define ULLAGE_FUZZ_SUPPORT_BYTE_FEED_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

// A cursor over the bytes of an input. Behind the end every byte is 0.
class ByteFeed {
public:
    ByteFeed(const std::uint8_t *data, std::size_t size) : next_(data), end_(data + size) {}

    bool empty() const { return next_ == end_; }

    std::uint8_t byte() { return empty() ? std::uint8_t{0} : *next_++; }

    bool flag() { return (byte() & 1) != 0; }

    // One of the elements of an array.
    template <typename Element, std::size_t count>
    const Element &pick(const Element (&choices)[count]) {
        return choices[byte() % count];
    }

    // Any double at all, from eight bytes.
    double raw_double() {
        unsigned char bytes[sizeof(double)];
        for (unsigned char &one : bytes) one = byte();
        double value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }

    // The next at most `most` bytes as they are.
    std::basic_string<std::uint8_t> take(std::size_t most) {
        const auto left = static_cast<std::size_t>(end_ - next_);
        std::basic_string<std::uint8_t> bytes(next_, most < left ? most : left);
        next_ += bytes.size();
        return bytes;
    }

    std::basic_string<std::uint8_t> rest() { return take(static_cast<std::size_t>(end_ - next_)); }

private:
    const std::uint8_t *next_;
    const std::uint8_t *end_;
};

#endif
