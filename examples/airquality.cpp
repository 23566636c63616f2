// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A host in C++: Bayesian data augmentation of the airquality measurements under a multivariate normal model.

#include <ullage/engine.h>
#include <ullage/random_source.h>

#include <Eigen/Dense>
#include <algorithm>
#include <array>
#include <boost/random/chi_squared_distribution.hpp>
#include <boost/random/mersenne_twister.hpp>
#include <boost/random/normal_distribution.hpp>
#include <boost/random/uniform_01.hpp>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

constexpr int kVariables = 4;
constexpr std::array kNames{"Ozone", "Solar_R", "Wind", "Temp"};
constexpr int kBurnIn = 500;
constexpr int kDraws = 10000;
constexpr double kLimit = 20.0;

// Maximum likelihood estimates on the same data, by the EM algorithm (converged to 1e-10).
constexpr std::array kMlMeans{41.871173, 184.846806, 9.957516, 77.882353};
constexpr std::array kMlCovariance{1044.018643, 942.529842, 8090.701661, -64.635928, -17.335380,
                                   12.330417,   209.563503, 238.073311,  -15.172318, 89.005767};

// The generator of this host. Boost's distributions give the same numbers on every platform, up to the last bit of log.
using Generator = boost::random::mt19937_64;

double next_normal(Generator &generator) {
    return boost::random::normal_distribution<double>()(generator);
}

// What the engine asks for its random numbers.
class HostSource final : public RandomSource {
public:
    explicit HostSource(Generator &generator) : generator_(generator) {}

    // This source never fails, so it has no error information to give.
    std::int32_t QueryInterface(const DS_Guid *, void **out) override {
        *out = nullptr;
        return -1;
    }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }

    std::int32_t NextUniform(double *out) override {
        *out = boost::random::uniform_01<double>()(generator_);
        return 0;
    }

    std::int32_t NextStandardNormal(double *out) override {
        *out = next_normal(generator_);
        return 0;
    }

    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        std::vector<double> z(static_cast<std::size_t>(n));
        for (double &element : z) element = next_normal(generator_);
        for (int i = 0; i < n; ++i) {
            out[i] = mean[i];
            for (int j = 0; j <= i; ++j) out[i] += *root++ * z[j];
        }
        return 0;
    }

private:
    Generator &generator_;
};

// A failed call ends the program; the engine says why in the text of the last failure or in its error log.
void check(std::int32_t result, const char *call) {
    if (result == 0) return;
    std::array<char16_t, 500> text{};
    DS_GetErrorMessageW(text.data(), static_cast<std::int32_t>(text.size()));
    const std::size_t length = std::char_traits<char16_t>::length(text.data());
    throw std::runtime_error(std::string(call) + " failed: " + std::string(text.begin(), text.begin() + length) +
                             " (see airquality_error.log)");
}

// A number, or NaN for a missing cell.
double read_cell(const std::string &item, const std::string &where) {
    if (item == "NA") return std::numeric_limits<double>::quiet_NaN();
    double value = 0.0;
    const char *end = item.data() + item.size();
    const auto [stop, error] = std::from_chars(item.data(), end, value);
    if (error != std::errc() || stop != end)
        throw std::runtime_error(where + ": '" + item + "' is no number and not NA");
    return value;
}

// One day per row. The first line of the file is a header.
Eigen::MatrixXd read_csv(const std::string &path) {
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line)) throw std::runtime_error("cannot read " + path);
    std::vector<double> cells;
    Eigen::Index days = 0;
    while (std::getline(file, line)) {
        ++days;
        const std::string where = path + ", line " + std::to_string(days + 1);
        std::istringstream items(line);
        for (std::string item; std::getline(items, item, ',');) cells.push_back(read_cell(item, where));
        if (cells.size() != static_cast<std::size_t>(days * kVariables)) {
            throw std::runtime_error(where + ": expected " + std::to_string(kVariables) + " cells");
        }
    }
    return Eigen::Map<Eigen::Matrix<double, kVariables, Eigen::Dynamic>>(cells.data(), kVariables, days).transpose();
}

// Centre and scale of each column: the engine judges pivots on an absolute scale, so columns go in standardised.
struct Units {
    Eigen::VectorXd centre, scale;
};

Units units_of(const Eigen::MatrixXd &table) {
    Units units{Eigen::VectorXd(kVariables), Eigen::VectorXd(kVariables)};
    for (int j = 0; j < kVariables; ++j) {
        const Eigen::ArrayXd column = table.col(j).array();
        const auto observed = !column.isNaN();
        const double count = static_cast<double>(observed.count());
        units.centre[j] = observed.select(column, 0.0).sum() / count;
        units.scale[j] = std::sqrt(observed.select((column - units.centre[j]).square(), 0.0).sum() / count);
    }
    return units;
}

// The shortest decimal text that reads back as the same number.
std::u16string number_text(double value) {
    std::array<char, 32> text;
    char *end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return std::u16string(text.data(), end);
}

// The table as the engine reads it. Cells of the first column below limit are hidden: only the limit is told.
std::u16string data_text(const Eigen::MatrixXd &table, const Units &units, double limit) {
    std::u16string text = number_text(static_cast<double>(table.rows())) + u'\t' + number_text(kVariables) + u'\n';
    for (int j = 0; j < kVariables; ++j) {
        text.append(kNames[j], kNames[j] + std::char_traits<char>::length(kNames[j]));
        text += j + 1 < kVariables ? u'\t' : u'\n';
    }
    for (Eigen::Index i = 0; i < table.rows(); ++i) {
        for (int j = 0; j < kVariables; ++j) {
            const double value = table(i, j);
            const auto in_units = [&](double x) { return number_text((x - units.centre[j]) / units.scale[j]); };
            if (std::isnan(value)) {
                text += u'*';
            } else if (j == 0 && value < limit) {
                text += u'<' + in_units(limit);
            } else {
                text += in_units(value);
            }
            text += j + 1 < kVariables ? u'\t' : u'\n';
        }
    }
    return text;
}

struct Parameters {
    Eigen::VectorXd mean;
    Eigen::MatrixXd covariance;
};

// Draw the parameters given a completed table of n cases with sample mean m and sum of squares S about it. Under the
// prior |Sigma|^(-(p+1)/2), Sigma is inverse Wishart with n - 1 degrees of freedom and scale S, and the mean is normal
// about m with covariance Sigma / n (Schafer, Analysis of Incomplete Multivariate Data, 1997, section 5.2).
Parameters draw_parameters(const Eigen::VectorXd &m, const Eigen::MatrixXd &s, double n, Generator &generator) {
    // Bartlett: with A lower triangular, chi on its diagonal and normal below, A A' is Wishart. Then Sigma = B B' with
    // B = L A'^-1, where S = L L'.
    Eigen::MatrixXd a = Eigen::MatrixXd::Zero(kVariables, kVariables);
    for (int i = 0; i < kVariables; ++i) {
        for (int j = 0; j < i; ++j) a(i, j) = next_normal(generator);
        a(i, i) = std::sqrt(boost::random::chi_squared_distribution<double>(n - 1.0 - i)(generator));
    }
    const Eigen::MatrixXd l = s.llt().matrixL();
    const Eigen::MatrixXd b = a.triangularView<Eigen::Lower>().solve(l.transpose()).transpose();
    Eigen::VectorXd z(kVariables);
    for (double &element : z) element = next_normal(generator);
    return {m + b * z / std::sqrt(n), b * b.transpose()};
}

// Run one chain over a table and hand each draw behind the burn-in, in units of the table, to the caller. The engine
// still holds the completed table of that draw.
void augment(const Eigen::MatrixXd &table, double limit, Generator &generator,
             const std::function<void(const Parameters &, const Units &)> &use) {
    const Units units = units_of(table);
    std::int32_t groups = 0;
    check(DS_GibbsOpen(u"airquality_trace.log", u"airquality_error.log"), "DS_GibbsOpen");
    check(DS_CreateGroup(0, &groups, 1, 1, 0), "DS_CreateGroup");
    check(DS_KeyGroupDef(u"airquality", data_text(table, units, limit).c_str()), "DS_KeyGroupDef");

    HostSource source(generator);
    const auto n = static_cast<double>(table.rows());
    Parameters now{Eigen::VectorXd::Zero(kVariables), Eigen::MatrixXd::Identity(kVariables, kVariables)};
    std::array<double, kMlCovariance.size()> packed;
    for (int iteration = 0; iteration < kBurnIn + kDraws; ++iteration) {
        for (int i = 0, k = 0; i < kVariables; ++i) {
            for (int j = 0; j <= i; ++j) packed[k++] = now.covariance(i, j);
        }
        check(DS_Impute(0, now.mean.data(), packed.data(), 0, 0, &source), "DS_Impute");

        Eigen::VectorXd m(kVariables);
        Eigen::MatrixXd s(kVariables, kVariables);
        check(DS_SampleMoments(0, m.data(), packed.data(), 0), "DS_SampleMoments");
        for (int i = 0, k = 0; i < kVariables; ++i) {
            for (int j = 0; j <= i; ++j) s(i, j) = s(j, i) = n * packed[k++];
        }
        now = draw_parameters(m, s, n, generator);
        if (iteration >= kBurnIn) {
            use({units.centre + units.scale.cwiseProduct(now.mean),
                 units.scale.asDiagonal() * now.covariance * units.scale.asDiagonal()},
                units);
        }
    }
    check(DS_GibbsClose(), "DS_GibbsClose");
}

// Mean and standard deviation of the draws of one parameter.
class Summary {
public:
    void add(double value) {
        ++count_;
        const double step = value - mean_;
        mean_ += step / count_;
        squares_ += step * (value - mean_);
    }
    double mean() const { return mean_; }
    double deviation() const { return std::sqrt(squares_ / (count_ - 1)); }

private:
    double count_ = 0, mean_ = 0, squares_ = 0;
};

void missing_run(const Eigen::MatrixXd &table, Generator &generator) {
    std::array<Summary, kVariables> means;
    std::array<Summary, kMlCovariance.size()> covariances;
    augment(table, -std::numeric_limits<double>::infinity(), generator, [&](const Parameters &draw, const Units &) {
        for (int i = 0, k = 0; i < kVariables; ++i) {
            means[i].add(draw.mean[i]);
            for (int j = 0; j <= i; ++j) covariances[k++].add(draw.covariance(i, j));
        }
    });

    std::printf("%-20s %14s %10s %20s\n", "parameter", "posterior mean", "sd", "maximum likelihood");
    for (int i = 0; i < kVariables; ++i) {
        std::printf("mean %-15s %14.2f %10.2f %20.2f\n", kNames[i], means[i].mean(), means[i].deviation(), kMlMeans[i]);
    }
    for (int i = 0, k = 0; i < kVariables; ++i) {
        for (int j = 0; j <= i; ++j, ++k) {
            std::printf("cov  %-7s %-7s %14.2f %10.2f %20.2f\n", kNames[i], kNames[j], covariances[k].mean(),
                        covariances[k].deviation(), kMlCovariance[k]);
        }
    }
}

// Ozone goes in as its logarithm: a concentration is positive and its spread grows with its level.
void censored_run(Eigen::MatrixXd table, Generator &generator) {
    const Eigen::VectorXd truth = table.col(0);
    table.col(0) = truth.array().log();
    std::vector<int> hidden;
    for (int i = 0; i < truth.size(); ++i) {
        if (truth[i] < kLimit) hidden.push_back(i);
    }

    std::vector<std::vector<double>> draws(hidden.size());
    augment(table, std::log(kLimit), generator, [&](const Parameters &, const Units &units) {
        for (std::size_t i = 0; i < hidden.size(); ++i) {
            double value = 0.0;
            check(DS_DataScalar(0, hidden[i] + 1, 1, &value), "DS_DataScalar");
            draws[i].push_back(std::exp(units.centre[0] + units.scale[0] * value));
        }
    });

    double true_mean = 0.0, imputed_mean = 0.0;
    int covered = 0, above = 0;
    const auto cells = static_cast<double>(hidden.size());
    for (std::size_t i = 0; i < hidden.size(); ++i) {
        std::vector<double> &sorted = draws[i];
        for (const double draw : sorted) {
            imputed_mean += draw / cells / kDraws;
            if (!(draw < kLimit)) ++above;
        }
        std::sort(sorted.begin(), sorted.end());
        const double value = truth[hidden[i]];
        true_mean += value / cells;
        if (sorted[kDraws / 20] <= value && value <= sorted[kDraws - kDraws / 20]) ++covered;
    }
    std::printf("ozone cells given as <%.0f          %8zu\n", kLimit, hidden.size());
    std::printf("their true mean                   %8.2f\n", true_mean);
    std::printf("their imputed mean                %8.2f\n", imputed_mean);
    std::printf("true values in their 90%% interval %8d\n", covered);
    std::printf("imputed values not below %.0f       %8d\n", kLimit, above);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: airquality FILE.csv\n");
        return 64;
    }
    try {
        const Eigen::MatrixXd table = read_csv(argv[1]);
        Generator generator(1973);
        std::printf("Missing cells imputed\n\n");
        missing_run(table, generator);
        std::printf("\nOzone below %.0f hidden\n\n", kLimit);
        censored_run(table, generator);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "airquality: %s\n", error.what());
        return 1;
    }
    return 0;
}
