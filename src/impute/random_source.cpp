// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Numbers from the host's random source.

#include "impute/random_source.h"

namespace {

// The error object of the failure, with a reference for the caller; null if there is none.
ullage::IErrorInfo *find_error_info(RandomSource *object, const DS_Guid &interface_id) {
    if (object == nullptr) return nullptr;
    void *found = nullptr;
    if (object->QueryInterface(&ullage::ISupportErrorInfo::interface_id, &found) < 0 || found == nullptr) {
        return nullptr;
    }
    auto *support = static_cast<ullage::ISupportErrorInfo *>(found);
    ullage::IErrorInfo *info = nullptr;
    if (support->InterfaceSupportsErrorInfo(&interface_id) == 0 && support->GetErrorInfo(0, &info) != 0) {
        info = nullptr;  // also if the call stored one
    }
    support->Release();
    return info;
}

}  // namespace

void set_random_source(RandomSource *source) {
    state.random_source = source;
}

void raise_source_failure(std::int32_t status, RandomSource *object, const DS_Guid &interface_id) {
    throw ullage::RandomSourceError(status, find_error_info(object, interface_id));
}
