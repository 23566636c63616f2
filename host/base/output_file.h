// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A file that appears whole or not at all.

#ifndef ULLAGE_HOST_BASE_OUTPUT_FILE_H
#define ULLAGE_HOST_BASE_OUTPUT_FILE_H

#include <string>
#include <string_view>

namespace ullage::host {

/**
 * A file under construction. It lies under another name in the directory of its path until commit() has brought it to
 * the disk and renamed it; without a commit it is removed. The path "-" is standard output, written as it comes.
 * A forked process must not destroy the files that it inherits: it leaves by _exit.
 */
class OutputFile {
public:
    /** @throws Error  cannot_create */
    explicit OutputFile(std::string path);
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

private:
    void flush();
    std::string path_;
    std::string temporary_;
    std::string buffer_;
    int descriptor_ = -1;
};

}  // namespace ullage::host

#endif
