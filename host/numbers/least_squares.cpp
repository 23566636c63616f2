// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Least squares by Eigen's QR decompositions.

#include "ullage/host/numbers/least_squares.h"

#include <fmt/format.h>

#include <Eigen/QR>
#include <cmath>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

// A column of the design whose part that the others do not explain is below this part of its length is a combination
// of them; R's lm draws the line at the same place.
constexpr double kLeastUnexplainedPart = 1e-7;

Error out_of_range() {
    return {Fault::data,
            "the numbers are too large or too small for a regression in double precision; give the columns in other "
            "units"};
}

}  // namespace

LeastSquares::LeastSquares(std::vector<std::string> names)
    : names_(std::move(names)),
      unit_(names_.size() + 1, 0.0),
      triangle_((names_.size() + 1) * (names_.size() + 1), 0.0) {}

void LeastSquares::add(std::span<const double> design, std::span<const double> response) {
    const auto rows = static_cast<Eigen::Index>(response.size());
    const auto size = static_cast<Eigen::Index>(names_.size());
    using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    Eigen::Map<Eigen::MatrixXd> triangle(triangle_.data(), size + 1, size + 1);
    Eigen::MatrixXd stacked(size + 1 + rows, size + 1);
    stacked.topRows(size + 1) = triangle;
    stacked.bottomLeftCorner(rows, size) = Eigen::Map<const RowMajor>(design.data(), rows, size);
    stacked.bottomRightCorner(rows, 1) = Eigen::Map<const Eigen::VectorXd>(response.data(), rows);
    for (Eigen::Index j = 0; j <= size; ++j) {
        auto column = stacked.col(j).tail(rows);
        double &unit = unit_[static_cast<std::size_t>(j)];
        // Without units, squares of numbers such as 1e-170 would vanish.
        const double largest = column.cwiseAbs().maxCoeff();
        if (unit == 0.0 && largest > 0.0) unit = std::ldexp(1.0, std::ilogb(largest));
        if (unit > 0.0) column /= unit;
    }
    const Eigen::HouseholderQR<Eigen::Ref<Eigen::MatrixXd>> qr(stacked);
    triangle = stacked.topRows(size + 1).triangularView<Eigen::Upper>();
    cases_ += response.size();
}

LinearFit LeastSquares::fit(std::optional<double> variance) const {
    const auto size = static_cast<Eigen::Index>(names_.size());
    if (cases_ <= names_.size()) {
        throw Error(Fault::data, fmt::format("too few rows: {} for {}, which need at least {}", cases_,
                                             count_of(names_.size(), "coefficient"), size + 1));
    }
    const Eigen::Map<const Eigen::MatrixXd> triangle(triangle_.data(), size + 1, size + 1);
    if (!triangle.allFinite()) throw out_of_range();
    Eigen::MatrixXd x = triangle.topLeftCorner(size, size);
    const double response_unit = unit_.back();
    // Columns of length 1, so that the pivots can be compared with one limit whatever the units.
    Eigen::VectorXd length(size);
    for (Eigen::Index j = 0; j < size; ++j) {
        length[j] = x.col(j).stableNorm();
        if (!(length[j] > 0.0)) {
            throw Error(Fault::data, fmt::format("{} is 0 in all rows", quote(names_[static_cast<std::size_t>(j)])));
        }
        x.col(j) /= length[j];
        length[j] *= unit_[static_cast<std::size_t>(j)];
    }
    const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(x);
    for (Eigen::Index j = 0; j < size; ++j) {
        if (std::fabs(qr.matrixR()(j, j)) > kLeastUnexplainedPart) continue;
        const auto column = static_cast<std::size_t>(qr.colsPermutation().indices()[j]);
        throw Error(Fault::data,
                    fmt::format("the coefficient of {} is not determined: it follows from the other terms; "
                                "leave it out",
                                quote(names_[column])));
    }
    const Eigen::VectorXd solution = qr.solve(triangle.topRightCorner(size, 1));
    LinearFit fit;
    fit.residual_df = static_cast<double>(cases_ - names_.size());
    // What the reflections leave of the response below the rows of the design is the length of the residuals.
    const double residual = triangle(size, size) * response_unit;
    fit.residual_variance = variance.value_or(residual * residual / fit.residual_df);
    // (X'X)^-1 = P R^-1 R^-T P'.
    const Eigen::MatrixXd inverse =
        qr.colsPermutation() *
        qr.matrixR().topRows(size).triangularView<Eigen::Upper>().solve(Eigen::MatrixXd::Identity(size, size));
    for (Eigen::Index i = 0; i < size; ++i) {
        fit.coefficients.push_back(solution[i] / length[i] * response_unit);
        for (Eigen::Index j = 0; j <= i; ++j) {
            // The two lengths one after the other: their product may be out of range where the quotient is not.
            fit.covariance.push_back(fit.residual_variance * inverse.row(i).dot(inverse.row(j)) / length[i] /
                                     length[j]);
        }
        const double own = fit.covariance.back();
        if (!std::isfinite(fit.coefficients.back()) || !std::isfinite(own) || (own == 0.0 && residual != 0.0)) {
            throw out_of_range();
        }
    }
    return fit;
}

}  // namespace ullage::host
