// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The engine as an object: one session per process, groups that are loaded from text, failures as exceptions.

#ifndef ULLAGE_HOST_DRAW_ENGINE_SESSION_H
#define ULLAGE_HOST_DRAW_ENGINE_SESSION_H

#include <cstdint>
#include <span>
#include <string>

#include "ullage/host/base/error.h"
#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {

/** A failure of the engine: where, and what the engine says of it. */
class EngineError : public Error {
public:
    EngineError(const std::string &what, std::int32_t group, std::int32_t case_number, const std::string &engine_text)
        : Error(Fault::internal, what), group_(group), case_number_(case_number), engine_text_(engine_text) {}
    /** The group, from 1. */
    [[nodiscard]] std::int32_t group() const { return group_; }
    /** The case of the group, from 1; 0 if it is not known. */
    [[nodiscard]] std::int32_t case_number() const { return case_number_; }
    /** What the engine's error log gained, its last error included, as one line. */
    [[nodiscard]] const std::string &engine_text() const { return engine_text_; }

private:
    std::int32_t group_;
    std::int32_t case_number_;
    std::string engine_text_;
};

/**
 * An open engine session, with rank order allowed.
 *
 * The engine is one state per process, so there can be one object at a time. The engine's logs leave no file behind.
 * std::bad_alloc passes through every function.
 */
class EngineSession {
public:
    /** @throws Error  internal if this process has a session already or its log cannot be made */
    EngineSession();
    ~EngineSession();
    EngineSession(const EngineSession &) = delete;
    EngineSession &operator=(const EngineSession &) = delete;

    /**
     * Load a new group from a data text in the engine's form (engine.h, DS_KeyGroupDef).
     *
     * @return the group's number, from 1
     * @throws EngineError  with the record that could not be read
     */
    std::int32_t load_group(const std::u16string &data_text);

    /**
     * Draw the hidden cells of a group.
     *
     * @param means       one per variable
     * @param covariance  packed
     * @throws EngineError  with the first case that has no draw
     */
    void impute(std::int32_t group, std::span<const double> means, std::span<const double> covariance,
                RandomStream &random);

    /**
     * Turn mixture mode on for the group that is loaded next, and for good: it is the only group, and the group numbers
     * of sample_moments() are those of components, from 1, or 0 for the cases that were never put into one.
     */
    void expect_components();

    /**
     * Draw the hidden cells of the cases of one component, as far as they lie in a range. The range that begins with
     * case 0 comes first: it prepares the covariance for those behind it.
     *
     * @param first, last  cases from 0; last is one behind
     * @throws EngineError  with the first case that has no draw
     */
    void impute_component(std::int32_t component, std::span<const double> means, std::span<const double> covariance,
                          std::size_t first, std::size_t last, RandomStream &random);

    /** Put every case into a component. */
    void put_into_components(std::span<const std::int32_t> components);

    /** The normal density of every case at what it holds now, without the factor (2 pi)^(-variables / 2). */
    void likelihoods(std::span<const double> means, std::span<const double> covariance, std::span<double> likelihoods);

    /** Means, and packed covariance divided by the number of cases, of what a group holds now. */
    void sample_moments(std::int32_t group, std::span<double> means, std::span<double> covariance);

    /** The values that a group holds now, case after case. */
    void values(std::int32_t group, std::span<double> values);

private:
    void draw(std::int32_t group, std::span<const double> means, std::span<const double> covariance, std::int32_t first,
              std::int32_t last, RandomStream &random);
    [[nodiscard]] std::string engine_text();
    [[noreturn]] void fail(const std::string &what, std::int32_t group, std::int32_t case_number);

    std::int32_t group_count_ = 0;
    std::int64_t log_seen_ = 0;
};

}  // namespace ullage::host

#endif
