// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Memory that runs out at the k-th allocation of every export, for every k; requests that no machine can meet; and the
// steady state of a pass, which makes no allocation at all.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <vector>

#include "support/engine_test.h"
#include "support/random_sources.h"

namespace {

long allocations_until_failure = -1;
bool has_failed = false;
long allocation_count = 0;
long live_allocations = 0;

using Numbers = std::vector<double>;

const std::u16string kText =
    u"5\t4\nx\tw\ty\tz\n1\t1\t*\t*\n2\t2\t<1\t*\n*\t1\t<x|3\t0<<1\n4\t1\t5\t6\n1<<2\t1\t0.5\t*\n";
const double kMeans[] = {1, 0, 0.5};
const double kCovariance[] = {2, 0.5, 1, 0.25, 0, 1};

// The steps of a session in order, each of which may run out of memory.
struct Session {
    TempFolder folder;
    SeededSource source{7};
    Numbers values = Numbers(18);
    Numbers moments = Numbers(9);
    Numbers likelihoods = Numbers(6);
    std::int32_t ids[6] = {};

    struct Step {
        const char *name;
        std::function<std::int32_t()> run;
    };
    std::vector<Step> steps{
        {"DS_GibbsOpen",
         [this] { return DS_GibbsOpen(folder.wide_path("trace").c_str(), folder.wide_path("error").c_str()); }},
        {"DS_CreateGroup",
         [] {
             std::int32_t count;
             return DS_CreateGroup(0, &count, 3, 9, 0);
         }},
        {"DS_KeyVariableDef", [] { return DS_KeyVariableDef(1, u"x"); }},
        {"DS_KeyWeight", [] { return DS_KeyWeight(u"w"); }},
        {"DS_KeyGroupDef", [] { return DS_KeyGroupDef(u"g", kText.c_str()); }},
        {"DS_KeyEnd", [] { return DS_KeyEnd(); }},
        {"DS_SampleMoments", [this] { return DS_SampleMoments(1, moments.data(), moments.data() + 3, 0); }},
        {"DS_Impute", [this] { return DS_Impute(1, kMeans, kCovariance, 0, 0, &source); }},
        {"DS_Impute again", [this] { return DS_Impute(1, kMeans, kCovariance, 0, 0, &source); }},
        {"DS_SampleMoments again", [this] { return DS_SampleMoments(1, moments.data(), moments.data() + 3, 1); }},
        {"DS_GetLikelihoods", [this] { return DS_GetLikelihoods(0, kMeans, kCovariance, likelihoods.data()); }},
        {"DS_ImputeGroupMembership", [this] { return DS_ImputeGroupMembership(ids); }},
        {"DS_DataMatrix", [this] { return DS_DataMatrix(1, values.data()); }},
        {"DS_GibbsClose", [] { return DS_GibbsClose(); }},
    };
};

// A small session from the creation of a group on, to see that the engine still works.
void expect_usable() {
    ASSERT_EQ(create_and_load(u"2\t2\nx\ty\n1\t*\n2\t<0\n"), 0);
    SeededSource source(3);
    const double means[] = {0, 0};
    const double covariance[] = {1, 0.5, 1};
    EXPECT_EQ(DS_Impute(0, means, covariance, 0, 0, &source), 0);
    double all[4] = {};
    EXPECT_EQ(DS_DataMatrix(0, all), 0);
    EXPECT_EQ(all[0], 1);
    EXPECT_LE(all[3], 0);
}

// Run a session with the k-th allocation of one step failing. True if the step ran out of memory.
bool run_with_failure(std::size_t failing_step, long k, Numbers &results) {
    Session session;
    DS_AllowRankOrder();
    for (std::size_t i = 0; i < session.steps.size(); ++i) {
        const auto &step = session.steps[i];
        bool refused = false;
        if (i == failing_step) {
            has_failed = false;
            allocations_until_failure = k - 1;
        }
        try {
            refused = step.run() != 0;
        } catch (const std::bad_alloc &) {
            refused = true;
            EXPECT_TRUE(has_failed);
        }
        allocations_until_failure = -1;
        EXPECT_EQ(state.WorkPool.top_mark, nullptr) << step.name;
        if (i == failing_step && has_failed && refused) {
            if (i == 0) {
                EXPECT_EQ(step.run(), 0) << "another try has what it needs";
            }
            expect_usable();
            return true;
        }
        EXPECT_FALSE(refused) << step.name;
    }
    results = session.values;
    results.insert(results.end(), session.moments.begin(), session.moments.end());
    results.insert(results.end(), session.likelihoods.begin(), session.likelihoods.end());
    return false;
}

TEST(OutOfMemory, AtEachAllocationOfEachExport) {
    Numbers expected;
    library_load();
    EXPECT_FALSE(run_with_failure(SIZE_MAX, 0, expected));
    library_unload();
    state = SessionState{};
    const std::size_t step_count = Session().steps.size();
    int failures = 0;
    for (std::size_t step = 0; step < step_count; ++step) {
        for (long k = 1;; ++k) {
            SCOPED_TRACE(testing::Message() << Session().steps[step].name << ", allocation " << k);
            Numbers results;
            const long live_before = live_allocations;
            library_load();
            const bool failed = run_with_failure(step, k, results);
            library_unload();
            state = SessionState{};
            if (!failed) {
                EXPECT_EQ(results, expected);
                Numbers().swap(results);
                EXPECT_EQ(live_allocations, live_before);
                break;
            }
            EXPECT_EQ(live_allocations, live_before) << "something was left behind";
            ++failures;
            ASSERT_LT(k, 5000);
        }
    }
    EXPECT_GT(failures, 10);
}

// More than any machine has: the request itself must be refused, in plain arithmetic or by the heap.
TEST(OutOfMemory, HugeCountsAndWeights) {
    struct Row {
        const char *what;
        const char16_t *text;
    };
    const Row rows[] = {
        {"a weight", u"1\t3\nx\tw\ty\n1\t2147483647\t2\n"},
        {"a weight behind others", u"2\t2\nx\tw\n1\t5\n1\t2147483642\n"},
        {"cases of no variables", u"2147483647\t0\nx\n"},
        {"cases without lines", u"2147483647\t1\nx\n"},
        {"cases without lines, behind some", u"2147483647\t1\nx\n1\n2\n3\n"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        const long live_before = live_allocations;
        {
            LoadedEngine engine;
            EXPECT_EQ(create_group(), 0);
            EXPECT_EQ(DS_KeyWeight(u"w"), 0);
            if (std::u16string_view(row.text).find(u'w') == std::u16string_view::npos) {
                EXPECT_EQ(create_group(), 0);  // a new group has no weight variable
            }
            EXPECT_THROW((void)load(row.text), std::bad_alloc);
            std::int32_t count = 0;
            EXPECT_EQ(DS_GetSampleSize(0, &count), 0);
            double value = 77;
            EXPECT_EQ(DS_DataScalar(0, 1, 1, &value), 1) << "the group is not loaded";
            expect_usable();
        }
        EXPECT_EQ(live_allocations, live_before);
    }
    LoadedEngine engine;
    std::int32_t number = 77;
    EXPECT_THROW((void)DS_CreateGroup(0, &number, INT32_MAX, INT32_MAX, 0), std::bad_alloc);
    EXPECT_EQ(number, 77);
    EXPECT_EQ(DS_GoToGroup(1), 1) << "no group was made";
    expect_usable();
}

// Once a pass has found its room, imputing, moments and likelihoods take nothing from the heap.
TEST(SteadyState, APassMakesNoAllocation) {
#ifdef ULLAGE_POOL_BLOCK_PER_ALLOCATION
    GTEST_SKIP() << "each allocation of a pool is a heap block in this build";
#endif
    LoadedEngine engine;
    DS_AllowRankOrder();
    EXPECT_EQ(create_group(), 0);
    std::u16string text = u"300\t6\na\tb\tc\td\te\tf\n";
    for (int i = 0; i < 300; ++i) {
        // Every pattern of missing cells, with bounds of all kinds.
        for (int j = 0; j < 6; ++j) {
            const bool is_hidden = ((i >> j) & 1) != 0;
            const char16_t *hidden[] = {u"*", u"<1", u"-1<", u"-1<<1", u"<a;<3", u"2<<9"};
            text += is_hidden ? hidden[(i + j) % 6] : u"0.5";
            text += j == 5 ? u"\n" : u"\t";
        }
    }
    ASSERT_EQ(load(text), 0);
    const Numbers means(6, 0.25);
    Numbers covariance;
    for (int i = 0; i < 6; ++i) {
        covariance.insert(covariance.end(), static_cast<std::size_t>(i), 0.25);
        covariance.push_back(1.0);
    }
    SeededSource source(17);
    source.vector.reserve(6);
    Numbers moments(6 + 21);
    Numbers likelihoods(300);
    const auto pass = [&] {
        return DS_Impute(1, means.data(), covariance.data(), 0, 0, &source) +
               DS_SampleMoments(1, moments.data(), moments.data() + 6, 1) +
               DS_GetLikelihoods(0, means.data(), covariance.data(), likelihoods.data());
    };
    for (int i = 0; i < 3; ++i) EXPECT_EQ(pass(), 0);
    const long before = allocation_count;
    std::int32_t results = 0;
    for (int i = 0; i < 20; ++i) results += pass();
    EXPECT_EQ(allocation_count, before);
    EXPECT_EQ(results, 0);
}

void *allocate(std::size_t size) {
    if (allocations_until_failure == 0) {
        has_failed = true;
        throw std::bad_alloc();
    }
    if (allocations_until_failure > 0) --allocations_until_failure;
    // What no process is to have here: sanitizers would end it, and the system might promise it.
    void *memory = size > (std::size_t{1} << 30) ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    ++allocation_count;
    ++live_allocations;
    return memory;
}

void release(void *memory) {
    if (memory != nullptr) --live_allocations;
    std::free(memory);
}

}  // namespace

void *operator new(std::size_t size) {
    return allocate(size);
}
void *operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void *memory) noexcept {
    release(memory);
}
void operator delete[](void *memory) noexcept {
    release(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void *memory, std::size_t) noexcept {
    release(memory);
}
