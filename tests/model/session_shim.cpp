// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A scripted random source that records what is asked of it, and a call of DS_Impute that catches what leaves it, for
// callers that cannot do either.

#include <ullage/random_source.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace {

enum Violation : std::int32_t {
    kWrongIdentifier = 1,
    kSourceCounted = 2,         // AddRef or Release of the source
    kQueriedBeforeFailure = 4,  // QueryInterface without a failure
    kSupportUnbalanced = 8,
    kInfoUnbalanced = 16,
};

bool same(const DS_Guid *a, const DS_Guid &b) {
    return std::memcmp(a, &b, sizeof b) == 0;
}

struct Support final : ullage::ISupportErrorInfo {
    std::int32_t supports_status = 0;
    std::int32_t info_status = 0;
    ullage::IErrorInfo *info = nullptr;
    std::int32_t *info_references = nullptr;
    std::int32_t *violations = nullptr;
    std::int32_t references = 0;

    std::int32_t QueryInterface(const DS_Guid *, void **) override { return -1; }
    std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++references); }
    std::uint32_t Release() override { return static_cast<std::uint32_t>(--references); }

    std::int32_t InterfaceSupportsErrorInfo(const DS_Guid *iid) override {
        if (!same(iid, RandomSource::interface_id)) *violations |= kWrongIdentifier;
        return supports_status;
    }

    std::int32_t GetErrorInfo(std::uint32_t reserved, ullage::IErrorInfo **out) override {
        if (reserved != 0) *violations |= kWrongIdentifier;
        if (info_status == 0) ++*info_references;
        *out = info;
        return info_status;
    }
};

struct Info final : ullage::IErrorInfo {
    std::int32_t references = 0;

    std::int32_t QueryInterface(const DS_Guid *, void **) override { return -1; }
    std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++references); }
    std::uint32_t Release() override { return static_cast<std::uint32_t>(--references); }
};

}  // namespace

extern "C" {

/** How to answer the k-th call: kind 0 the next number of the table, 1 value, 2 write nothing (a vector as kind 0). */
struct ScriptEntry {
    double value;
    std::int32_t kind;
    std::int32_t status;
};

/** Everything that decides what a source does; calls behind the script take the tables from start on and give 0. */
struct SourceSetup {
    const double *uniforms;
    const double *normals;
    std::int64_t table_size;
    std::int64_t start;
    const ScriptEntry *script;
    std::int64_t script_size;
    std::int32_t query_status;
    std::int32_t supports_status;
    std::int32_t info_status;
};

/** What came of a call: 0 returned result, 1 RandomSourceError, 2 std::bad_alloc, 3 another exception. */
struct ImputeOutcome {
    std::int32_t kind;
    std::int32_t result;
    std::int32_t status;
    std::int32_t has_info;
    std::int32_t violations;
    std::int64_t record_size;
    const double *record;  // valid until the next call
};

using ImputeFunction = std::int32_t (*)(std::int32_t, const double *, const double *, std::int32_t, std::int32_t,
                                        RandomSource *);
}

namespace {

std::vector<double> record;

struct ScriptedSource final : RandomSource {
    const SourceSetup &setup;
    std::int64_t calls = 0;
    std::int64_t taken = 0;
    bool failed = false;
    std::int32_t violations = 0;
    Info info;
    Support support;

    explicit ScriptedSource(const SourceSetup &given) : setup(given) {
        support.supports_status = setup.supports_status;
        support.info_status = setup.info_status;
        support.info = &info;
        support.info_references = &info.references;
        support.violations = &violations;
    }

    std::int32_t QueryInterface(const DS_Guid *iid, void **out) override {
        if (!failed) violations |= kQueriedBeforeFailure;
        if (!same(iid, ullage::ISupportErrorInfo::interface_id)) violations |= kWrongIdentifier;
        *out = nullptr;
        if (setup.query_status >= 0) {
            support.AddRef();
            *out = static_cast<ullage::ISupportErrorInfo *>(&support);
        }
        return setup.query_status;
    }

    std::uint32_t AddRef() override {
        violations |= kSourceCounted;
        return 1;
    }

    std::uint32_t Release() override {
        violations |= kSourceCounted;
        return 1;
    }

    double next(const double *table) { return table[(setup.start + taken++) % setup.table_size]; }

    ScriptEntry entry() {
        const std::int64_t call = calls++;
        const ScriptEntry answer = call < setup.script_size ? setup.script[call] : ScriptEntry{0.0, 0, 0};
        failed = failed || answer.status < 0;
        return answer;
    }

    std::int32_t number(double operation, double *out, const double *table) {
        record.push_back(operation);
        record.push_back(*out);
        const ScriptEntry answer = entry();
        if (answer.kind == 0) *out = next(table);
        if (answer.kind == 1) *out = answer.value;
        return answer.status;
    }

    std::int32_t NextUniform(double *out) override { return number(1.0, out, setup.uniforms); }
    std::int32_t NextStandardNormal(double *out) override { return number(2.0, out, setup.normals); }

    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        record.push_back(3.0);
        record.push_back(n);
        record.insert(record.end(), mean, mean + n);
        record.insert(record.end(), root, root + n * (n + 1) / 2);
        const ScriptEntry answer = entry();
        if (answer.kind == 1) {
            for (std::int32_t i = 0; i < n; ++i) out[i] = answer.value;
            return answer.status;
        }
        std::vector<double> z;
        for (std::int32_t i = 0; i < n; ++i) z.push_back(next(setup.normals));
        for (std::int32_t i = 0; i < n; ++i) {
            out[i] = mean[i];
            for (std::int32_t j = 0; j <= i; ++j) out[i] = out[i] + root[i * (i + 1) / 2 + j] * z[j];
        }
        return answer.status;
    }
};

}  // namespace

/**
 * Call DS_Impute with a scripted source, or with none where setup is null.
 *
 * The record holds, per call of the source, the operation (1 uniform, 2 normal, 3 vector) and then either what the
 * output held before, or n, the mean and the root.
 */
extern "C" DS_API void shim_impute(ImputeFunction impute, std::int32_t group_number, const double *means,
                                   const double *covariance, std::int32_t range_first, std::int32_t range_last,
                                   const SourceSetup *setup, ImputeOutcome *outcome) {
    *outcome = {};
    record.clear();
    const SourceSetup none{};
    ScriptedSource source(setup != nullptr ? *setup : none);
    try {
        outcome->result =
            impute(group_number, means, covariance, range_first, range_last, setup != nullptr ? &source : nullptr);
    } catch (const ullage::RandomSourceError &error) {
        outcome->kind = 1;
        outcome->status = error.status();
        outcome->has_info = error.error_info() == static_cast<ullage::IErrorInfo *>(&source.info) ? 1 : 0;
        const ullage::RandomSourceError copy(error);
        if (outcome->has_info != 0 && source.info.references != 2) source.violations |= kInfoUnbalanced;
    } catch (const std::bad_alloc &) {
        outcome->kind = 2;
    } catch (...) {
        outcome->kind = 3;
    }
    if (source.support.references != 0) source.violations |= kSupportUnbalanced;
    if (source.info.references != 0) source.violations |= kInfoUnbalanced;
    outcome->violations = source.violations;
    outcome->record_size = static_cast<std::int64_t>(record.size());
    outcome->record = record.data();
}
