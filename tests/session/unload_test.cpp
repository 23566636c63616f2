// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Loading, using and unloading the library many times in one process, and many sessions in one load.

#include <gtest/gtest.h>
#include <malloc.h>
#include <ullage/random_source.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/loaded_library.h"
#include "support/random_sources.h"
#include "support/temp_folder.h"
#include "support/utf16.h"

namespace {

#ifdef ULLAGE_TESTS_SANITIZED
constexpr int kRounds = 50;
constexpr bool kMemoryIsOurs = false;  // a sanitizer keeps what is freed for a while
#else
constexpr int kRounds = 1000;
constexpr bool kMemoryIsOurs = true;
#endif

bool is_mapped() {
    std::ifstream maps("/proc/self/maps");
    const std::string name = std::filesystem::path(ULLAGE_LIBRARY).stem();  // versions and links share it
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/" + name) != std::string::npos) return true;
    }
    return false;
}

// Memory that the process has taken from the heap and not given back, in bytes.
std::size_t heap_bytes() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// A session that loads, draws and fails to load. The last lines of its logs are still in their buffers at the end.
void run_session(const LoadedLibrary &library, const TempFolder &folder, int cases) {
    library.open(folder.wide_path("trace").c_str(), folder.wide_path("error").c_str());
    std::int32_t count = 0;
    ASSERT_EQ(library.create_group(0, &count, 2, 4, 0), 0);
    const std::u16string header = wide(std::to_string(cases)) + u"\t3\nx\ty\tz\n";
    const std::u16string text = header + repeated<std::u16string>(u"1\t*\t<0\n", static_cast<std::size_t>(cases));
    ASSERT_EQ(library.key_group_def(u"g", text.c_str()), 0);
    ASSERT_EQ(library.key_end(), 0);
    const double means[] = {0, 0, 0};
    const double covariance[] = {1, 0.5, 1, 0, 0.25, 1};
    SeededSource source(static_cast<std::uint64_t>(cases));
    ASSERT_EQ(library.impute(1, means, covariance, 0, 0, &source), 0);
    EXPECT_EQ(library.impute(1, means, covariance, 0, 0, nullptr), 1);
    SeededSource failing(1, 2);
    EXPECT_THROW(library.impute(1, means, covariance, 0, 0, &failing), ullage::RandomSourceError);
    std::vector<double> values(static_cast<std::size_t>(cases) * 3);
    ASSERT_EQ(library.data_matrix(1, values.data()), 0);
    EXPECT_LE(values[2], 0);
    ASSERT_EQ(library.create_group(0, &count, 1, 4, 0), 0);
    EXPECT_EQ(library.key_group_def(u"g", u"1\t1\nx\nnot a number\n"), 1);
}

const char *const kErrorLog =
    "1 [x]\n2 [y]\n3 [z]\nUnused variable definition 1.\nNo random source was given.\n1 [x]\n"
    "The value, notanumber, of the variable, x, can't be interpreted.\nAn error occurred during KeyFinishUp";

TEST(Unload, ManyRoundsLeaveNothingBehind) {
    ASSERT_FALSE(is_mapped());
    std::size_t early = 0;
    for (int round = 0; round < kRounds; ++round) {
        TempFolder folder;
        {
            const LoadedLibrary library(ULLAGE_LIBRARY);
            ASSERT_TRUE(is_mapped());
            ASSERT_EQ(library.get_test(), 0) << "the state of the round before";
            library.set_test(7);
            run_session(library, folder, 50);
            if (HasFatalFailure()) return;
            if (round % 2 == 0) library.close();
        }
        ASSERT_FALSE(is_mapped()) << "round " << round;
        ASSERT_EQ(folder.text("error"), kErrorLog) << "round " << round;
        ASSERT_EQ(folder.text("trace"), "Group 1 (g)\nx\ny\nz\n") << "round " << round;
        if (round == kRounds / 10) early = heap_bytes();
    }
    // A hundred bytes a round would be 90,000.
    if (kMemoryIsOurs) {
        EXPECT_LT(heap_bytes(), early + 16 * 1024);
    }
}

TEST(Unload, AReferenceKeepsTheStateAndTheLastOneEndsIt) {
    TempFolder folder;
    auto first = std::make_unique<LoadedLibrary>(ULLAGE_LIBRARY);
    {
        const LoadedLibrary second(ULLAGE_LIBRARY);
        first->set_test(5);
        EXPECT_EQ(second.get_test(), 5);
    }
    EXPECT_EQ(first->get_test(), 5);
    run_session(*first, folder, 3);
    EXPECT_TRUE(is_mapped());
    first.reset();
    EXPECT_FALSE(is_mapped());
    EXPECT_EQ(folder.text("error"), kErrorLog);
}

// An exception of the library that outlives it: its type information belongs to the program as well.
TEST(Unload, ACaughtFailureOutlivesTheLibrary) {
    std::int32_t status = 0;
    TempFolder folder;
    try {
        const LoadedLibrary library(ULLAGE_LIBRARY);
        library.open(folder.wide_path("trace").c_str(), folder.wide_path("error").c_str());
        std::int32_t count = 0;
        ASSERT_EQ(library.create_group(0, &count, 1, 1, 0), 0);
        ASSERT_EQ(library.key_group_def(u"g", u"1\t1\nx\n*\n"), 0);
        const double mean = 0;
        const double variance = 1;
        SeededSource failing(1, 1, -1234);
        try {
            (void)library.impute(1, &mean, &variance, 0, 0, &failing);
        } catch (const ullage::RandomSourceError &error) {
            throw ullage::RandomSourceError(error);
        }
    } catch (const ullage::RandomSourceError &error) {
        status = error.status();
    }
    EXPECT_EQ(status, -1234);
    EXPECT_FALSE(is_mapped());
}

// Sessions of growing and shrinking tables in one load. ULLAGE_SOAK_SESSIONS sets their number.
TEST(Soak, ManySessionsInOneLoad) {
    const char *wanted = std::getenv("ULLAGE_SOAK_SESSIONS");
    const int sessions = wanted != nullptr ? std::atoi(wanted) : kRounds / 5;
    TempFolder folder;
    run_session(LoadedLibrary(ULLAGE_LIBRARY), folder, 400);
    const std::size_t before = heap_bytes();
    {
        const LoadedLibrary library(ULLAGE_LIBRARY);
        for (int session = 0; session < sessions && !HasFatalFailure(); ++session) {
            run_session(library, folder, 1 + session * 37 % 400);
            if (session % 3 != 0) library.close();
        }
    }
    EXPECT_FALSE(is_mapped());
    // The allocator's cache of small freed pieces counts as taken; it holds up to 236 kB. The sessions took megabytes.
    if (kMemoryIsOurs) {
        EXPECT_LT(heap_bytes(), before + 256 * 1024) << "after the unload";
    }
}

}  // namespace
