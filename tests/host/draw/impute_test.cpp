// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whole runs in this process and its workers: known answers, equal bits, bounds, and what ends a run.

#include "ullage/host/draw/impute.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "table_of.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/draw/worker.h"
#include "ullage/host/model/parameter_names.h"
#include "ullage/host/numbers/convergence.h"
#include "ullage/host/numbers/least_squares.h"
#include "ullage/host/numbers/moments.h"

using namespace ullage::host;

namespace {

Imputations run(const ReadyTable &ready, const ImputeSettings &settings) {
    return impute(ready.model, settings, {});
}

// Mean and standard deviation of one parameter over all draws.
struct Summary {
    double mean;
    double sd;
};

Summary summarise(const ReadyTable &ready, const ImputeSettings &settings, const Imputations &result,
                  std::size_t parameter, std::size_t level = 0) {
    double sum = 0.0;
    double squares = 0.0;
    for (int chain = 0; chain < settings.chains; ++chain) {
        for (int i = 0; i < settings.kept(); ++i) {
            const double value = result.draw(ready.model, chain, i, level)[parameter];
            sum += value;
            squares += value * value;
        }
    }
    const double count = settings.chains * settings.kept();
    const double mean = sum / count;
    return {mean, std::sqrt(squares / count - mean * mean)};
}

TEST(Impute, AirqualityIsCentredNearMaximumLikelihood) {
    const auto ready = table_of(read_file(AIRQUALITY_CSV));
    const ImputeSettings settings{.seed = 1, .imputations = 20, .burn_in = 200, .thin = 500, .chains = 4, .jobs = 2};
    const Imputations result = run(*ready, settings);
    const double means[] = {41.871173, 184.846806, 9.957516, 77.882353};
    const double covariance[] = {1044.018643, 942.529842, 8090.701661, -64.635928, -17.335380,
                                 12.330417,   209.563503, 238.073311,  -15.172318, 89.005767};
    for (std::size_t i = 0; i < 4; ++i) {
        const Summary got = summarise(*ready, settings, result, i);
        EXPECT_NEAR(got.mean, means[i], 0.05 * got.sd) << i;
    }
    // The posterior mean of a covariance is its scatter over n - p - 2, the maximum likelihood divides by n. What
    // remains is the skewness that the missing cells add.
    for (std::size_t i = 0; i < 10; ++i) {
        const Summary got = summarise(*ready, settings, result, 4 + i);
        EXPECT_NEAR(got.mean * (153.0 - 6.0) / 153.0, covariance[i], 0.15 * got.sd) << i;
    }
    for (std::size_t parameter = 0; parameter < 14; ++parameter) {
        Chains chains(4);
        for (std::size_t chain = 0; chain < 4; ++chain) {
            for (int i = 0; i < settings.kept(); ++i) {
                chains[chain].push_back(result.draw(ready->model, chain, i, 0)[parameter]);
            }
        }
        EXPECT_LT(judge_convergence(chains).rhat, 1.01) << parameter;
    }
}

// Durable goods purchases of twenty households (Tobin 1958), censored at 0.
constexpr const char *kTobin =
    "durable,age,quant\n<0,57.7,236\n0.7,50.9,283\n<0,48.5,207\n<0,41.7,220\n<0,47.7,238\n<0,59.8,216\n<0,44.3,284\n"
    "3.7,45.1,221\n<0,51.7,275\n3,50,269\n10.4,46.8,207\n<0,58,249\n<0,58.9,246\n<0,40,277\n1.5,34.1,231\n<0,39.9,219\n"
    "<0,33.4,240\n3.5,48.1,266\n6.1,46.6,214\n<0,53.1,251\n";

TEST(Impute, CensoredRegressionIsNearMaximumLikelihood) {
    const auto ready = table_of(kTobin);
    const ImputeSettings settings{.seed = 3, .imputations = 800, .burn_in = 500, .thin = 50, .chains = 4, .jobs = 2};
    const Imputations result = run(*ready, settings);
    const std::vector<Column> &columns = ready->table.columns;
    std::vector<double> design;
    for (std::size_t row = 0; row < ready->table.row_count(); ++row) {
        design.insert(design.end(), {1.0, columns[1].values[row], columns[2].values[row]});
    }
    double mean[3] = {};
    for (const auto &values : result.values) {
        std::vector<double> durable = columns[0].values;
        for (std::size_t i = 0; i < values.size(); ++i) {
            ASSERT_LT(values[i], 0.0);
            durable[static_cast<std::size_t>(ready->hidden.cells[i].row)] = values[i];
        }
        LeastSquares regression({"(Intercept)", "age", "quant"});
        regression.add(design, durable);
        const LinearFit fit = regression.fit();
        for (std::size_t j = 0; j < 3; ++j) {
            mean[j] += fit.coefficients[j] / static_cast<double>(result.values.size());
        }
    }
    // With 13 of 20 values censored the posterior is skew; its mean lies within a part of the standard errors of the
    // maximum likelihood, which are 16.08, 0.2186 and 0.0583.
    EXPECT_NEAR(mean[0], 15.1449, 0.4 * 16.08);
    EXPECT_NEAR(mean[1], -0.1291, 0.4 * 0.2186);
    EXPECT_NEAR(mean[2], -0.0455, 0.4 * 0.0583);
}

bool same_bits(const auto &a, const auto &b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const std::vector<double> &one = a[i];
        const std::vector<double> &other = b[i];
        if (one.size() != other.size() || std::memcmp(one.data(), other.data(), one.size() * sizeof(double)) != 0) {
            return false;
        }
    }
    return true;
}

TEST(Impute, JobsChangeNoBit) {
    const auto ready = table_of(kTobin);
    ImputeSettings settings{.seed = 8, .imputations = 7, .burn_in = 10, .thin = 5, .chains = 3, .jobs = 1};
    const Imputations one = run(*ready, settings);
    ASSERT_EQ(one.values.size(), 7u);
    for (settings.jobs = 2; settings.jobs <= 4; ++settings.jobs) {
        const Imputations more = run(*ready, settings);
        EXPECT_TRUE(same_bits(one.values, more.values)) << settings.jobs;
        EXPECT_TRUE(same_bits(one.draws, more.draws)) << settings.jobs;
    }
    settings.seed = 9;
    EXPECT_FALSE(same_bits(one.draws, run(*ready, settings).draws));
}

// More rows than a block, two levels, all kinds of cells, an order rule across columns and a transformation.
std::unique_ptr<ReadyTable> mixed_table() {
    RandomStream random({4, StreamPurpose::cells, 1, 1, 0});
    std::string csv = "a,b,c,d,site\n";
    const auto cell = [&](double value, double limit) {
        const double choice = random.uniform();
        if (choice < 0.15) return std::string();
        if (value < limit) return std::string(1, '<') + std::to_string(limit);
        if (choice > 0.95) return std::to_string(value - 0.1) + ".." + std::to_string(value + 0.2);
        return std::to_string(value);
    };
    for (int row = 0; row < 12000; ++row) {
        const double x = random.normal();
        const double a = 10.0 + x;
        const double b = a + 0.2 + std::fabs(random.normal());
        csv += cell(a, 9.5) + ',' + (random.uniform() < 0.3 ? "" : std::to_string(b)) + ',' +
               cell(std::exp(x + random.normal()), 0.5) + ',' + cell(100.0 * x + random.normal(), -1e9) + ',' +
               (row % 3 == 0 ? "north" : "south") + '\n';
    }
    ReadOptions options;
    options.by = "site";
    Rules rules;
    rules.order = {"a<b"};
    rules.log = {"c"};
    rules.upper = {{"d", 500.0}};
    return table_of(csv, "jeffreys", options, rules);
}

TEST(Impute, EveryValueObeysItsBoundsWhoeverDrawsIt) {
    const auto ready = mixed_table();
    EXPECT_EQ(ready->model.levels.size(), 2u);
    EXPECT_GE(ready->model.blocks.size(), 3u);
    ImputeSettings settings{.seed = 2, .imputations = 3, .burn_in = 20, .thin = 5, .chains = 2, .jobs = 4};
    const Imputations result = run(*ready, settings);
    settings.jobs = 1;
    const Imputations by_one = run(*ready, settings);
    EXPECT_TRUE(same_bits(result.values, by_one.values));
    EXPECT_TRUE(same_bits(result.draws, by_one.draws));
    const HiddenCells &hidden = ready->hidden;
    for (const auto &values : result.values) {
        ASSERT_EQ(values.size(), hidden.cells.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            const HiddenCell &cell = hidden.cells[i];
            ASSERT_LT(cell.lower, values[i]);
            ASSERT_LT(values[i], cell.upper);
            for (const Reference &reference : hidden.references_of(cell)) {
                for (std::size_t other = hidden.row_begin[cell.row]; other < hidden.row_begin[cell.row + 1]; ++other) {
                    if (hidden.cells[other].column != reference.column) continue;
                    ASSERT_EQ(reference.is_upper, values[i] < values[other]);
                    ASSERT_NE(values[i], values[other]);
                }
            }
        }
    }
    const std::vector<std::string> names = parameter_names(ready->model);
    EXPECT_EQ(names[2], "mean(log(c))");
    EXPECT_EQ(names[4 + packed_index(3, 2)], "cov(d,log(c))");
}

TEST(PrepareModel, RefusesInTheUsersTerms) {
    ReadOptions by;
    by.by = "g";
    const struct {
        const char *csv;
        ReadOptions options;
        const char *prior;
        std::vector<const char *> words;
    } rows[] = {
        {"a,b,c\n1,2,5\n2,,6\n3,1,9\n", {}, "jeffreys", {"too few rows", "3 for 3 columns", "ridge=1"}},
        {"a,b\n1,7\n2,7\n,7\n4,7\n9,7\n", {}, "jeffreys", {"\"b\" is constant", "--columns"}},
        {"a,b,g\n1,1,x\n2,3,x\n,4,x\n1,7,x\n1,7,y\n2,7,y\n3,7,y\n,7,y\n",
         by,
         "jeffreys",
         {"\"b\" is constant", "\"y\""}},
        {"a,b,c\n1,2,3\n2,1,3\n3,5,8\n,5,7\n4,4,8\n6,1,7\n",
         {},
         "jeffreys",
         {"\"a\", \"b\" and \"c\" are collinear", "ridge"}},
        {"a,b,g\n1,1,x\n2,3,x\n4,,x\n1,7,x\n1,,y\n2,,y\n3,,y\n5,,y\n",
         by,
         "ridge=1",
         {"nothing is known of \"b\"", "\"y\""}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.csv);
        try {
            (void)table_of(row.csv, row.prior, row.options);
            ADD_FAILURE() << "accepted";
        } catch (const Error &error) {
            EXPECT_EQ(error.fault(), Fault::data);
            for (const char *word : row.words)
                EXPECT_NE(std::string(error.what()).find(word), std::string::npos) << error.what();
        }
    }
}

TEST(PrepareModel, TakesWhatOnlyCompleteRowsMakeLookUnusable) {
    // "c" varies, and departs from "a", only in rows where "b" is hidden.
    EXPECT_NO_THROW((void)table_of("a,b,c\n1,2,7\n2,1,7\n3,5,7\n5,3,7\n9,4,7\n4,,8\n6,,3\n5,,9\n"));
    EXPECT_NO_THROW((void)table_of("a,b,c\n1,2,1\n2,1,2\n3,5,3\n5,3,5\n9,4,9\n4,,8\n6,,3\n5,,9\n"));
    EXPECT_THROW((void)table_of("a,b,c\n1,2,1\n2,1,2\n3,5,3\n5,3,5\n9,4,9\n4,,4\n6,,6\n5,,\n"), Error);
}

TEST(Impute, AColumnThatBecomesCollinearIsNamed) {
    // Two observed values of "b" and nothing to hold its relations: the chain runs into a singular covariance.
    const auto ready = table_of("a,b\n1,2\n2,4\n3,\n4,\n5,\n6,\n7,\n9,\n11,\n12,\n");
    const ImputeSettings settings{.seed = 1, .imputations = 4, .burn_in = 2000, .thin = 2000, .chains = 4, .jobs = 2};
    try {
        (void)run(*ready, settings);
        FAIL() << "ran";
    } catch (const Error &error) {
        EXPECT_EQ(error.fault(), Fault::data);
        EXPECT_NE(std::string(error.what()).find("too little is observed together of \"a\" and \"b\": 2 rows"),
                  std::string::npos)
            << error.what();
        EXPECT_NE(std::string(error.what()).find("ridge"), std::string::npos) << error.what();
    }
    const auto with_ridge = table_of("a,b\n1,2\n2,4\n3,\n4,\n5,\n6,\n7,\n9,\n11,\n12,\n", "ridge=3");
    EXPECT_NO_THROW((void)run(*with_ridge, settings));
}

TEST(Impute, SettingsOutOfRangeAreRefused) {
    const auto ready = table_of(kTobin);
    for (const ImputeSettings &settings :
         {ImputeSettings{.imputations = 0}, ImputeSettings{.burn_in = -1}, ImputeSettings{.thin = 0},
          ImputeSettings{.chains = 0}, ImputeSettings{.jobs = 0},
          ImputeSettings{.imputations = 2000000000, .chains = 1}}) {
        EXPECT_THROW((void)run(*ready, settings), Error);
    }
}

bool has_children() {
    return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

TEST(Workers, HoweverOneEndsNoneIsLeft) {
    const struct {
        const char *name;
        void (*end)();
        Fault fault;
        const char *words;
    } rows[] = {
        {"killed", [] { raise(SIGKILL); }, Fault::internal, "worker of chain 2 was ended by signal 9"},
        {"left", [] { _exit(3); }, Fault::internal, "worker of chain 2 ended with status 3"},
        {"an error", [] { throw Error(Fault::data, "line 7: wrong"); }, Fault::data, "line 7: wrong"},
        {"no memory", [] { throw std::bad_alloc(); }, Fault::internal, "the memory of this machine does not suffice"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        try {
            run_workers(
                0, 3, 3,
                [&](std::size_t piece, FrameWriter &writer) {
                    writer.write(FrameKind::progress, 1);
                    writer.flush();
                    if (piece == 1) row.end();
                    pause();  // only the parent can end the others
                },
                [](std::size_t, const Frame &) {});
            FAIL() << "ended well";
        } catch (const Error &error) {
            EXPECT_EQ(error.fault(), row.fault);
            EXPECT_NE(std::string(error.what()).find(row.words), std::string::npos) << error.what();
        }
        EXPECT_FALSE(has_children());
    }
}

TEST(Workers, LargeFramesArriveWhole) {
    std::vector<std::vector<double>> got(5);
    run_workers(
        0, 5, 2,
        [](std::size_t piece, FrameWriter &writer) {
            writer.write(FrameKind::imputation, 0,
                         std::vector<double>(400000 + piece, 0.5 + static_cast<double>(piece)));
        },
        [&](std::size_t piece, const Frame &frame) { got[piece] = frame.numbers(); });
    for (std::size_t piece = 0; piece < 5; ++piece) {
        EXPECT_EQ(got[piece], std::vector<double>(400000 + piece, 0.5 + static_cast<double>(piece)));
    }
}

TEST(Impute, AnInterruptEndsTheRun) {
    const auto ready = table_of(kTobin);
    watch_interrupts();
    const ImputeSettings settings{
        .seed = 1, .imputations = 1000000, .burn_in = 0, .thin = 1000, .chains = 2, .jobs = 2};
    try {
        // Once: a second signal ends the process.
        (void)impute(ready->model, settings, [](const ImputeProgress &) {
            if (interrupt_signal() == 0) raise(SIGINT);
        });
        FAIL() << "ended";
    } catch (const Error &error) {
        EXPECT_EQ(error.fault(), Fault::interrupted);
    }
    EXPECT_FALSE(has_children());
}

}  // namespace
