// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A source that fails: at every call of a pass, with every kind of error information, and what it leaves behind.

#include <cstring>
#include <vector>

#include "support/bits.h"
#include "support/engine_test.h"
#include "support/random_sources.h"

namespace {

using Numbers = std::vector<double>;
using ullage::IErrorInfo;
using ullage::ISupportErrorInfo;
using ullage::RandomSourceError;

Numbers values(std::size_t cells) {
    Numbers all(cells);
    EXPECT_EQ(DS_DataMatrix(0, all.data()), 0);
    return all;
}

// One case of each kind: drawn directly, bounded, bounded by another cell, observed, with a number as a start.
constexpr std::size_t kVariables = 3;
const std::u16string kText =
    u"6\t3\nx\ty\tz\n*\t*\t2\n<1\t*\t0.5\n<y\t-1<<3\t*\n1\t2\t3\n4\t5<;6\t0.5<<0.75\n*\t1\t*\n";
const double kMeans[] = {0.5, 1, 1.5};
const double kCovariance[] = {2, 0.5, 1, 0.25, -0.25, 1.5};

std::size_t first_difference(const Numbers &left, const Numbers &right) {
    std::size_t i = 0;
    while (i < left.size() && std::memcmp(&left[i], &right[i], sizeof(double)) == 0) ++i;
    return i;
}

TEST(SourceFailure, AtEveryCallOfAPass) {
    constexpr std::uint64_t kSeed = 5;
    for (int passes_before = 0; passes_before < 2; ++passes_before) {
        const auto run = [&](int failing_call, Numbers &before, Numbers &after) {
            LoadedEngine engine;
            DS_AllowRankOrder();
            EXPECT_EQ(create_and_load(kText), 0);
            SeededSource warm_up(kSeed + 1);
            if (passes_before > 0) {
                EXPECT_EQ(DS_Impute(1, kMeans, kCovariance, 0, 0, &warm_up), 0);
            }
            before = values(6 * kVariables);
            SeededSource source(kSeed, failing_call, -failing_call);
            bool failed = false;
            try {
                EXPECT_EQ(DS_Impute(1, kMeans, kCovariance, 0, 0, &source), 0);
            } catch (const RandomSourceError &error) {
                failed = true;
                EXPECT_EQ(error.status(), -failing_call);
                EXPECT_EQ(error.error_info(), nullptr);
                EXPECT_EQ(source.call_count, failing_call) << "nothing is asked again";
                EXPECT_EQ(source.interfaces_asked, 1);
            }
            EXPECT_EQ(source.references, 0);
            EXPECT_EQ(state.WorkPool.top_mark, nullptr);
            after = values(6 * kVariables);
            EXPECT_EQ(last_error(), "");
            EXPECT_EQ(DS_Impute(1, kMeans, kCovariance, 0, 0, &warm_up), 0) << "the next call works";
            const std::string log = engine.error_log();
            EXPECT_EQ(log.find("source"), std::string::npos) << "no line is written for it";
            return failed;
        };
        Numbers before;
        Numbers complete;
        EXPECT_FALSE(run(0, before, complete));
        int k = 1;
        std::size_t reached = 0;
        for (Numbers after; run(k, before, after); ++k) {
            // Cases up to the failing one are as in the complete pass, those behind it as before.
            const std::size_t done = first_difference(after, complete) / kVariables;
            EXPECT_GE(done, reached) << "call " << k;
            reached = done;
            const Numbers rest(
                after.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(done + 1, 6) * kVariables),
                after.end());
            const Numbers rest_before(before.end() - static_cast<std::ptrdiff_t>(rest.size()), before.end());
            EXPECT_EQ(rest, rest_before) << "call " << k;
            for (const std::size_t observed : {2, 5, 9, 10, 11, 12, 16}) EXPECT_EQ(after[observed], complete[observed]);
            for (const std::size_t direct : {0, 1, 15, 17}) {
                const bool is_old_or_done = after[direct] == before[direct] || after[direct] == complete[direct];
                EXPECT_TRUE(is_old_or_done) << "call " << k << ": a vector is stored as a whole";
            }
        }
        EXPECT_GT(k, passes_before == 0 ? 150 : 8);
        EXPECT_EQ(reached, 5u);
    }
}

TEST(SourceFailure, AChainKeepsWhatItHasDrawn) {
    LoadedEngine engine;
    DS_ForceGibbs();
    ASSERT_EQ(create_and_load(u"1\t3\nx\ty\tz\n;1\t;2\t;3\n"), 0);
    const double means[] = {0, 0, 0};
    const double covariance[] = {1, 0, 1, 0, 0, 1};
    ScriptedSource source({0.5});
    EXPECT_THROW(DS_Impute(1, means, covariance, 0, 0, &source), RandomSourceError);
    EXPECT_EQ(values(3), (Numbers{0.5, 2, 3}));
}

// A success that writes nothing gives 0 from the operations of one number.
TEST(SourceSuccess, WithoutWritingIsZero) {
    struct SilentSource final : TestSource {
        std::int32_t NextUniform(double *) override { return 0; }
        std::int32_t NextStandardNormal(double *) override { return 1; }
        std::int32_t NextMultivariateNormal(std::int32_t, double *, const double *, const double *) override {
            return 0;
        }
    } source;
    LoadedEngine engine;
    DS_ForceGibbs();
    ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n;1\t2<<2.5;2.25\n"), 0);
    const double means[] = {7, 1.5};
    const double covariance[] = {1, 0, 1};
    EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
    EXPECT_EQ(values(2), (Numbers{7, 2}));  // u = 0 is the lower end, and the threshold 0 accepts
}

struct ErrorObject final : IErrorInfo {
    int references = 1;  // the one that GetErrorInfo hands over
    std::int32_t QueryInterface(const DS_Guid *, void **) override { return kNoInterface; }
    std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++references); }
    std::uint32_t Release() override { return static_cast<std::uint32_t>(--references); }
};

// A source whose QueryInterface, InterfaceSupportsErrorInfo and GetErrorInfo answer as a table row says.
struct TalkingSource final : TestSource, ISupportErrorInfo {
    std::int32_t query_status = 0;
    std::int32_t support_status = 0;
    std::int32_t info_status = 0;
    bool gives_object = true;
    ErrorObject object;
    int support_references = 0;
    std::string asked;

    std::int32_t QueryInterface(const DS_Guid *iid, void **out) override {
        asked += 'Q';
        EXPECT_EQ(std::memcmp(iid, &ISupportErrorInfo::interface_id, sizeof *iid), 0);
        if (query_status >= 0) {
            *out = static_cast<ISupportErrorInfo *>(this);
            ++support_references;
        }
        return query_status;
    }
    std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++support_references); }
    std::uint32_t Release() override { return static_cast<std::uint32_t>(--support_references); }
    std::int32_t InterfaceSupportsErrorInfo(const DS_Guid *iid) override {
        asked += 'S';
        EXPECT_EQ(std::memcmp(iid, &RandomSource::interface_id, sizeof *iid), 0);
        return support_status;
    }
    std::int32_t GetErrorInfo(std::uint32_t reserved, IErrorInfo **out) override {
        asked += 'G';
        EXPECT_EQ(reserved, 0u);
        if (gives_object) *out = &object;
        return info_status;
    }
    std::int32_t NextUniform(double *) override { return kOutOfNumbers; }
    std::int32_t NextStandardNormal(double *) override { return kOutOfNumbers; }
    std::int32_t NextMultivariateNormal(std::int32_t, double *, const double *, const double *) override {
        return kOutOfNumbers;
    }
};

TEST(SourceFailure, ErrorObjectsAndTheirReferences) {
    struct Row {
        const char *what;
        std::int32_t query_status;
        std::int32_t support_status;
        std::int32_t info_status;
        bool gives_object;
        const char *asked;
        bool has_object;
    };
    const Row rows[] = {
        {"no interface", kNoInterface, 0, 0, true, "Q", false},
        {"no support for this interface", 0, 1, 0, true, "QS", false},
        {"support fails", 0, -1, 0, true, "QS", false},
        {"an object", 0, 0, 0, true, "QSG", true},
        {"a positive status of the query", 3, 0, 0, true, "QSG", true},
        {"success without an object", 0, 0, 0, false, "QSG", false},
        {"an object with a status of 1", 0, 0, 1, true, "QSG", false},
        {"an object with a failure", 0, 0, -5, true, "QSG", false},
    };
    for (const char16_t *record : {u"*\n", u"<1\n", u"5<\n"}) {
        for (const Row &row : rows) {
            SCOPED_TRACE(row.what + (": " + narrow(record)));
            LoadedEngine engine;
            ASSERT_EQ(create_and_load(u"1\t1\nx\n" + std::u16string(record)), 0);
            TalkingSource source;
            source.query_status = row.query_status;
            source.support_status = row.support_status;
            source.info_status = row.info_status;
            source.gives_object = row.gives_object;
            const double mean = 0;
            const double variance = 1;
            bool caught = false;
            try {
                (void)DS_Impute(1, &mean, &variance, 0, 0, &source);
            } catch (const RandomSourceError &error) {
                caught = true;
                EXPECT_EQ(error.status(), kOutOfNumbers);
                EXPECT_EQ(error.error_info(), row.has_object ? &source.object : nullptr);
                EXPECT_EQ(source.object.references, 1);
                {
                    const RandomSourceError copy = error;
                    EXPECT_EQ(source.object.references, row.has_object ? 2 : 1);
                    RandomSourceError assigned(-1, nullptr);
                    assigned = copy;
                    EXPECT_EQ(assigned.status(), kOutOfNumbers);
                    EXPECT_EQ(source.object.references, row.has_object ? 3 : 1);
                }
                EXPECT_EQ(source.object.references, 1);
            }
            EXPECT_TRUE(caught);
            EXPECT_EQ(source.object.references, row.has_object ? 0 : 1)
                << "an object that does not count is left alone";
            EXPECT_EQ(source.support_references, 0);
            EXPECT_EQ(source.asked, row.asked);
        }
    }
}

}  // namespace
