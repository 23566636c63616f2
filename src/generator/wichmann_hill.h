// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The library's own uniform generator, three multiplicative congruential streams whose products are looked up in
// tables.
//
// Method: B. A. Wichmann and I. D. Hill, Algorithm AS 183, Applied Statistics 31 (1982), 188-190.

#ifndef ULLAGE_GENERATOR_WICHMANN_HILL_H
#define ULLAGE_GENERATOR_WICHMANN_HILL_H

#include <cstdint>

// The generator. Each seed is an index into the table of its stream, so it must lie in 0 to modulus - 1; nothing checks
// this.
struct WichmannHillGenerator {
    std::int32_t seed1;
    std::int32_t seed2;
    std::int32_t seed3;
};

// The products of all seeds, shared by all generators of the library: entry i of a stream's table is multiplier times i
// modulo modulus. The tables exist while the reference count is above 0 and are null otherwise.
struct MultiplicationTables {
    std::int32_t *stream1;  // 30269 entries
    std::int32_t *stream2;  // 30307 entries
    std::int32_t *stream3;  // 30323 entries
    std::int32_t reference_count;
};

extern MultiplicationTables multiplication_tables;

// Add a reference to the tables; the first one builds them. Throws std::bad_alloc, and then nothing has changed.
void acquire_tables();

// Give a reference back; the last one frees the tables.
void release_tables();

// Acquire the tables, set the seeds to 1000, 1000, 1000 and run the self-test, whose result is dropped. Throws
// std::bad_alloc, and then no reference is held.
void generator_construct(WichmannHillGenerator &generator);

// Release the tables.
void generator_destroy(WichmannHillGenerator &generator);

void set_seeds(WichmannHillGenerator &generator, std::int32_t seed1, std::int32_t seed2, std::int32_t seed3);

void get_seeds(const WichmannHillGenerator &generator, std::int32_t &seed1, std::int32_t &seed2, std::int32_t &seed3);

// Replace each seed by its product.
void generator_step(WichmannHillGenerator &generator);

// The uniform value, from 0 up to but not including 1, that belongs to the seeds as they stand.
double generator_uniform(const WichmannHillGenerator &generator);

// Compare the value after 1001 steps from known seeds with the expected one, and show a notice if they differ. Gives
// the number of differences; the seeds are as before. Throws std::bad_alloc.
std::int32_t self_test(WichmannHillGenerator &generator);

#endif
