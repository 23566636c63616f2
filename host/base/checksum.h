// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// SHA-256 checksums.

#ifndef ULLAGE_HOST_BASE_CHECKSUM_H
#define ULLAGE_HOST_BASE_CHECKSUM_H

#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace ullage::host {

/** The SHA-256 checksum of bytes that come in parts. */
class Checksum {
public:
    Checksum();
    void add(std::string_view bytes);
    /** Of all bytes so far, in hexadecimal digits; nothing can be added after it. */
    [[nodiscard]] std::string finish();

private:
    std::unique_ptr<evp_md_ctx_st, void (*)(evp_md_ctx_st *)> context_;
};

/** The SHA-256 checksum of bytes, in hexadecimal digits. */
[[nodiscard]] std::string sha256(std::string_view bytes);

}  // namespace ullage::host

#endif
