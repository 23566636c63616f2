// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Data texts made from a seed, and an engine that has loaded one.

#ifndef ULLAGE_BENCH_TABLES_H
#define ULLAGE_BENCH_TABLES_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "light_source.h"
#include "support/engine_functions.h"

// Neighbouring variables correlate by this much, others by a power of it.
inline constexpr double kCorrelation = 0.6;

inline void append_number(std::u16string &text, double value, int digits = 5) {
    char buffer[32];
    const int length = std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
    text.append(buffer, buffer + length);
}

// A data text of standard normal numbers that correlate. write(text, case_index, values) writes the items of a case,
// each ended by a TAB; its last TAB becomes the line end.
template <typename WriteCase>
std::u16string make_text(std::size_t case_count, std::size_t variable_count, std::uint64_t seed, WriteCase write) {
    LightSource source(seed);
    std::u16string text;
    append_number(text, static_cast<double>(case_count), 17);
    text += u'\t';
    append_number(text, static_cast<double>(variable_count), 17);
    text += u'\n';
    for (std::size_t i = 0; i < variable_count; ++i) {
        text += i == 0 ? u"x" : u"\tx";
        append_number(text, static_cast<double>(i + 1), 17);
    }
    text += u'\n';
    std::vector<double> values(variable_count);
    const double rest = std::sqrt(1.0 - kCorrelation * kCorrelation);
    for (std::size_t row = 0; row < case_count; ++row) {
        for (std::size_t i = 0; i < variable_count; ++i) {
            const double z = source.normal(source.generator);
            values[i] = i == 0 ? z : kCorrelation * values[i - 1] + rest * z;
        }
        write(text, row, values);
        text.back() = u'\n';
    }
    return text;
}

// These numbers, with a share of the cells missing completely at random.
inline std::u16string missing_at_random(std::size_t case_count, std::size_t variable_count, double missing_share,
                                        int digits = 5) {
    Xoshiro holes(1);
    return make_text(case_count, variable_count, 2, [&](std::u16string &text, std::size_t, const auto &values) {
        for (double value : values) {
            if (holes.uniform() < missing_share) {
                text += u'*';
            } else {
                append_number(text, value, digits);
            }
            text += u'\t';
        }
    });
}

// The packed covariance of these numbers.
inline std::vector<double> make_covariance(std::size_t variable_count) {
    std::vector<double> covariance;
    for (std::size_t i = 0; i < variable_count; ++i) {
        for (std::size_t j = 0; j <= i; ++j) covariance.push_back(std::pow(kCorrelation, static_cast<double>(i - j)));
    }
    return covariance;
}

// A library with one loaded group.
class LoadedTable {
public:
    LoadedTable(const char *library_path, const std::u16string &text) : engine_(library_path) {
        open();
        if (engine_->DS_KeyGroupDef(u"bench", text.c_str()) != 0) throw std::runtime_error("the table does not load");
        std::int32_t variable_count = 0;
        engine_->DS_NVariables(1, &variable_count);
        engine_->DS_GetSampleSize(1, &case_count_);
        means_.resize(static_cast<std::size_t>(variable_count));
        covariance_ = make_covariance(means_.size());
    }

    void impute() {
        if (engine_->DS_Impute(1, means_.data(), covariance_.data(), 0, 0, &source_) != 0) {
            throw std::runtime_error("a pass failed");
        }
    }

    const EngineLibrary &engine() const { return engine_; }
    std::size_t case_count() const { return static_cast<std::size_t>(case_count_); }
    const std::vector<double> &means() const { return means_; }
    const std::vector<double> &covariance() const { return covariance_; }

private:
    void open() {
        std::int32_t group_count = 0;
        engine_->DS_GibbsOpen(u"/dev/null", u"/dev/null");
        engine_->DS_AllowRankOrder();
        if (engine_->DS_CreateGroup(0, &group_count, 1, 2, 0) != 0) throw std::runtime_error("no group was made");
    }

    EngineLibrary engine_;
    LightSource source_{20260101};
    std::int32_t case_count_ = 0;
    std::vector<double> means_;
    std::vector<double> covariance_;
};

#endif
