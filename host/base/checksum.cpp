// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// SHA-256 by OpenSSL.

#include "ullage/host/base/checksum.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>

#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

void check(int result) {
    if (result != 1) throw Error(Fault::internal, "a checksum could not be computed");
}

}  // namespace

Checksum::Checksum() : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
    check(context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1 ? 1 : 0);
}

void Checksum::add(std::string_view bytes) {
    check(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
}

std::string Checksum::finish() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    check(EVP_DigestFinal_ex(context_.get(), digest.data(), &size));
    std::string text;
    for (unsigned int i = 0; i < size; ++i) text += fmt::format("{:02x}", digest[i]);
    return text;
}

std::string sha256(std::string_view bytes) {
    Checksum checksum;
    checksum.add(bytes);
    return checksum.finish();
}

}  // namespace ullage::host
