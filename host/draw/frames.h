// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What those who run chains tell the process that gathers the results.

#ifndef ULLAGE_HOST_DRAW_FRAMES_H
#define ULLAGE_HOST_DRAW_FRAMES_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/** What a frame holds. */
enum class FrameKind : std::uint32_t { progress, parameters, sweeps, refused, imputation, state, rest, failure, end };

/** The head of a frame; its bytes follow. Both ends run the same program on machines of one kind. */
struct FrameHead {
    FrameKind kind;
    std::uint32_t argument;  ///< iterations done; sweeps; index of an imputation; a Fault
    std::uint64_t size;      ///< bytes that follow
};

/**
 * The end of the one who draws: gathers small frames, so that a chain of short iterations makes few calls, and needs no
 * memory for large ones, so that a process whose memory is at its end can still say so. Its descendants say where the
 * bytes go.
 */
class FrameWriter {
public:
    FrameWriter();
    virtual ~FrameWriter() = default;
    FrameWriter(const FrameWriter &) = delete;
    FrameWriter &operator=(const FrameWriter &) = delete;
    /** What waits goes with the first frame that comes a fraction of a second later. */
    void write(FrameKind kind, std::uint32_t argument, std::string_view bytes = {});
    void write(FrameKind kind, std::uint32_t argument, std::span<const double> numbers);
    void flush();
    /** Say that a round of the work is done, and wait for the reader's word whether there is another. */
    [[nodiscard]] bool rest();

private:
    virtual void put(std::string_view bytes) = 0;
    [[nodiscard]] virtual bool wait_for_word() = 0;
    std::string buffer_;  // never grows
    std::chrono::steady_clock::time_point flushed_ = std::chrono::steady_clock::now();
};

/** A frame as it arrived; its bytes are valid during the call only. */
struct Frame {
    FrameHead head;
    std::string_view bytes;

    [[nodiscard]] std::vector<double> numbers() const;
};

/** The end of the one who gathers. */
class FrameReader {
public:
    /** Hand on all frames that are whole with these bytes. */
    void take(std::string_view bytes, const std::function<void(const Frame &)> &take);

private:
    std::string received_;
};

}  // namespace ullage::host

#endif
