// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The bytes of a file.

#ifndef ULLAGE_HOST_BASE_INPUT_FILE_H
#define ULLAGE_HOST_BASE_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace ullage::host {

/**
 * Read a whole file, or standard input if the path is "-".
 *
 * @throws Error  no_input if there is no such file or it cannot be read
 */
[[nodiscard]] std::string read_file(const std::string &path);

/**
 * Read a whole regular file. What only looks like one, such as a FIFO, which could keep its reader waiting, is refused.
 *
 * @throws Error  no_input if there is no such file, it is no regular file, or cannot be read
 */
[[nodiscard]] std::string read_regular_file(const std::string &path);

/** A regular file that is open for reading; what is renamed over its path afterwards does not change it. */
class InputFile {
public:
    /** @throws Error  no_input, as read_regular_file */
    explicit InputFile(std::string path);
    ~InputFile();
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    [[nodiscard]] const std::string &path() const { return path_; }
    [[nodiscard]] std::int64_t size() const { return size_; }
    /** Its SHA-256 checksum, from the first byte to the last. Reading goes on at the first.
     * @throws Error  no_input, interrupted */
    [[nodiscard]] std::string sha256();
    /** Put the next bytes into a buffer; how many there were, 0 at the end.
     * @throws Error  no_input, interrupted */
    [[nodiscard]] std::size_t read(char *buffer, std::size_t size);
    /** All bytes that are left.
     * @throws Error  no_input, interrupted */
    [[nodiscard]] std::string read_all();

private:
    std::string path_;
    std::int64_t size_ = 0;
    int descriptor_ = -1;
};

}  // namespace ullage::host

#endif
