// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Bytes to frames and back.

#include "ullage/host/draw/frames.h"

#include <cstring>

namespace ullage::host {
namespace {

constexpr std::size_t kFlushBytes = 64 << 10;
constexpr auto kFlushAfter = std::chrono::milliseconds(50);

}  // namespace

FrameWriter::FrameWriter() {
    buffer_.reserve(2 * kFlushBytes);
}

void FrameWriter::write(FrameKind kind, std::uint32_t argument, std::string_view bytes) {
    const FrameHead head{kind, argument, bytes.size()};
    if (buffer_.size() + sizeof head + bytes.size() > buffer_.capacity()) flush();
    buffer_.append(reinterpret_cast<const char *>(&head), sizeof head);
    if (buffer_.size() + bytes.size() > buffer_.capacity()) {
        flush();
        put(bytes);
    } else {
        buffer_.append(bytes);
    }
    if (buffer_.size() >= kFlushBytes || std::chrono::steady_clock::now() - flushed_ > kFlushAfter) flush();
}

void FrameWriter::write(FrameKind kind, std::uint32_t argument, std::span<const double> numbers) {
    write(kind, argument, std::string_view(reinterpret_cast<const char *>(numbers.data()), numbers.size_bytes()));
}

void FrameWriter::flush() {
    if (!buffer_.empty()) put(buffer_);
    buffer_.clear();
    flushed_ = std::chrono::steady_clock::now();
}

bool FrameWriter::rest() {
    write(FrameKind::rest, 0);
    flush();
    return wait_for_word();
}

std::vector<double> Frame::numbers() const {
    std::vector<double> numbers(bytes.size() / sizeof(double));
    if (!numbers.empty()) std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(double));
    return numbers;
}

void FrameReader::take(std::string_view bytes, const std::function<void(const Frame &)> &take) {
    received_.append(bytes);
    std::size_t place = 0;
    FrameHead head{};
    while (received_.size() - place >= sizeof head) {
        std::memcpy(&head, received_.data() + place, sizeof head);
        if (received_.size() - place - sizeof head < head.size) break;
        const Frame frame{head, std::string_view(received_).substr(place + sizeof head, head.size)};
        place += sizeof head + head.size;
        take(frame);
    }
    received_.erase(0, place);
}

}  // namespace ullage::host
