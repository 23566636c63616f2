// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The library's own uniform generator, three multiplicative congruential streams whose products are looked up in
// tables.

#include "generator/wichmann_hill.h"

#include <cassert>
#include <cstddef>
#include <memory>

#include "generator/essential_comparator.h"

namespace {

// One stream: its modulus, its multiplier, their quotient, and the 64-bit float nearest to 1 / modulus.
struct Stream {
    std::int32_t modulus;
    std::int32_t multiplier;
    std::int32_t quotient;
    double reciprocal;
};

constexpr Stream kStream1 = {30269, 171, 177, 3.3037100664045725e-5};
constexpr Stream kStream2 = {30307, 172, 176, 3.2995677566238825e-5};
constexpr Stream kStream3 = {30323, 170, 178, 3.297826732183491e-5};

constexpr std::int32_t kFirstSeed = 1000;
constexpr double kSelfTestValue = 0.1852725642320792;
constexpr std::int32_t kSelfTestDigits = 13;

std::unique_ptr<std::int32_t[]> product_table(const Stream &stream) {
    std::unique_ptr<std::int32_t[]> table(new std::int32_t[static_cast<std::size_t>(stream.modulus)]);
    for (std::int32_t i = 0; i < stream.modulus; ++i) {
        std::int32_t product = i * stream.multiplier - i / stream.quotient * stream.modulus;
        if (product < 0) product += stream.modulus;
        table[static_cast<std::size_t>(i)] = product;
    }
    return table;
}

}  // namespace

MultiplicationTables multiplication_tables = {};

void acquire_tables() {
    if (multiplication_tables.reference_count == 0) {
        std::unique_ptr<std::int32_t[]> table1 = product_table(kStream1);
        std::unique_ptr<std::int32_t[]> table2 = product_table(kStream2);
        std::unique_ptr<std::int32_t[]> table3 = product_table(kStream3);
        multiplication_tables = {table1.release(), table2.release(), table3.release(), 0};
    }
    ++multiplication_tables.reference_count;
}

void release_tables() {
    assert(multiplication_tables.reference_count > 0);
    --multiplication_tables.reference_count;
    if (multiplication_tables.reference_count > 0) return;
    delete[] multiplication_tables.stream1;
    delete[] multiplication_tables.stream2;
    delete[] multiplication_tables.stream3;
    multiplication_tables = {};
}

void generator_construct(WichmannHillGenerator &generator) {
    acquire_tables();
    set_seeds(generator, kFirstSeed, kFirstSeed, kFirstSeed);
    try {
        // The self-test has shown its notice by itself; a difference stops nothing.
        (void)self_test(generator);
    } catch (...) {
        release_tables();
        throw;
    }
}

void generator_destroy(WichmannHillGenerator &) {
    release_tables();
}

void set_seeds(WichmannHillGenerator &generator, std::int32_t seed1, std::int32_t seed2, std::int32_t seed3) {
    generator = {seed1, seed2, seed3};
}

void get_seeds(const WichmannHillGenerator &generator, std::int32_t &seed1, std::int32_t &seed2, std::int32_t &seed3) {
    seed1 = generator.seed1;
    seed2 = generator.seed2;
    seed3 = generator.seed3;
}

void generator_step(WichmannHillGenerator &generator) {
    generator.seed1 = multiplication_tables.stream1[generator.seed1];
    generator.seed2 = multiplication_tables.stream2[generator.seed2];
    generator.seed3 = multiplication_tables.stream3[generator.seed3];
}

double generator_uniform(const WichmannHillGenerator &generator) {
    // Each product and each sum is rounded on its own, the second stream first.
    double u = generator.seed2 * kStream2.reciprocal;
    u += generator.seed1 * kStream1.reciprocal;
    u += generator.seed3 * kStream3.reciprocal;
    if (u < 1.0) return u;
    return u < 2.0 ? u - 1.0 : u - 2.0;
}

std::int32_t self_test(WichmannHillGenerator &generator) {
    EssentialComparator comparator(u"Wichman-Hill generator");
    std::int32_t seed1;
    std::int32_t seed2;
    std::int32_t seed3;
    get_seeds(generator, seed1, seed2, seed3);
    set_seeds(generator, 1, 2, 3);
    for (int step = 0; step < 1001; ++step) generator_step(generator);
    comparator.compare_numbers(generator_uniform(generator), kSelfTestValue, kSelfTestDigits);
    set_seeds(generator, seed1, seed2, seed3);
    return comparator.error_count;
}
