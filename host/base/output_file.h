// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A file that appears whole or not at all.

#ifndef ULLAGE_HOST_BASE_OUTPUT_FILE_H
#define ULLAGE_HOST_BASE_OUTPUT_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "ullage/host/base/checksum.h"

namespace ullage::host {

/**
 * A file under construction.
 *
 * A regular file lies under another name in the directory of its path until commit() has brought it to the disk and
 * renamed it; without a commit it is removed. A symbolic link stays, and what it points to is replaced. What is no
 * regular file, such as a device or a FIFO, is written as it comes, and so is standard output, by its path "-" or any
 * other. A forked process must not destroy the files that it inherits: it leaves by _exit.
 */
class OutputFile {
public:
    /** @throws Error  cannot_create; interrupted while a FIFO waits for its reader */
    explicit OutputFile(std::string path);
    /**
     * A file that lies at its place from the beginning, and stays there once commit() has brought it to the disk.
     *
     * @param path   what messages call it
     * @param place  where nothing lies yet
     * @throws Error  cannot_create
     */
    OutputFile(std::string path, std::string place);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /** Add text at the end.
     * @throws Error  cannot_create if the disk is full or the like, closed_pipe if nobody reads standard output, or
     *                interrupted if a signal asked to stop */
    void write(std::string_view text);

    /** Bring the file to the disk and give it its name.
     * @throws Error  as write */
    void commit();

    /** What commit() has written: how many bytes, and their checksum. */
    [[nodiscard]] std::int64_t size() const { return size_; }
    [[nodiscard]] const std::string &sha256() const { return sha256_; }

private:
    void flush();
    std::string path_;
    std::string target_;     // what commit() replaces; empty for a file that stays at its place
    std::string temporary_;  // what is removed without a commit; empty if there is nothing to remove
    std::string buffer_;
    Checksum checksum_;
    std::int64_t size_ = 0;
    std::string sha256_;
    int descriptor_ = -1;
};

/** Bring the entries of a directory to the disk: new names lie in it and have their own way there. Not every file
 * system lets a directory be asked; then nothing happens. */
void sync_directory(const std::string &path);

}  // namespace ullage::host

#endif
