// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What the command line can say, as one record.

#ifndef ULLAGE_CLI_OPTIONS_H
#define ULLAGE_CLI_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ullage/host/answer/delta.h"
#include "ullage/host/answer/pool_moments.h"
#include "ullage/host/draw/crew.h"
#include "ullage/host/numbers/convergence.h"
#include "ullage/host/table/read_table.h"
#include "ullage/host/table/rules.h"

namespace ullage::cli {

enum class Progress { automatic, none, json };

/** long: one file with .imp and .id; cells: the original once and the hidden cells; files: one file per imputation;
 * dta, sav: that of Stata or SPSS beside the long one. */
enum class Format { long_table, cells, files, dta, sav };

/** Options of "ullage impute" alone. */
struct ImputeOptions {
    std::string output;                 ///< directory, or "-" for the completed tables on standard output
    int imputations = 20;               ///< m, at least 1
    std::optional<std::uint64_t> seed;  ///< chosen, printed and recorded if not given
    std::optional<int> burn_in;         ///< iterations of each chain before the first imputation, at least 0
    std::optional<int> thin;            ///< iterations between two imputations of a chain, at least 1
    std::optional<int> sweeps;          ///< of an iteration over cells that are drawn one at a time; none chooses them
    int chains = 4;                     ///< at least 1
    std::optional<int> chain;           ///< the one of them, from 1, that is run; none for all
    int jobs = 0;                       ///< worker processes; 0 for one per processor
    std::string prior = "default";      ///< default, jeffreys, ridge=CASES, or the path of a file
    Format format = Format::long_table;
    bool until_converged = false;       ///< go on in rounds
    host::ConvergenceTarget target;     ///< that ends the rounds
    std::optional<int> max_iterations;  ///< of each chain, in all rounds
    bool overimpute = false;            ///< hide observed cells in turn, impute them, and compare
    std::vector<std::string> derive;    ///< columns to compute in every table, such as "bmi = wgt / hgt^2"
    bool report = true;                 ///< write report.html
    std::optional<double> checkpoint;   ///< minutes between two checkpoints, at least
    std::optional<int> renew_every;     ///< iterations after which cells are drawn anew, so that a run can be resumed
    bool resume = false;                ///< go on from the checkpoint in the directory, if there is one
    bool extends = false;               ///< the directory holds the beginning of the same run
};

/** Options of "ullage pool" alone. */
struct PoolOptions {
    bool model_scale = false;         ///< quantities are of log(x) and the like, where the model is
    host::PoolRequest request;        ///< means, if nothing is asked for
    std::vector<std::string> derive;  ///< columns to compute first, such as "bmi = wgt / hgt^2"
    std::vector<host::Delta> deltas;  ///< shifts of missing cells, of each column a series
    std::string lm;                   ///< formulas of regressions; at most one of the three is there
    std::string logit;
    std::string poisson;
    std::vector<std::string> tested;
    std::string where;    ///< an expression that is true in the rows of the regression, or empty for all rows
    bool robust = false;  ///< standard errors HC3
    std::string cluster;  ///< column of the clusters of cluster-robust standard errors, or empty
    double confidence = host::kConfidence;
    std::string estimates;  ///< path of a table of estimates made elsewhere, or empty
    double complete_df = host::kInfiniteDf;
    bool csv = false;
};

/** Options of "ullage apply" alone. */
struct ApplyOptions {
    std::string run;                    ///< directory of the run
    std::string output;                 ///< directory
    std::optional<int> imputations;     ///< at most those of the run; all if not given
    std::optional<std::uint64_t> seed;  ///< that of the run if not given
};

/** Options of "ullage extend" alone. */
struct ExtendOptions {
    std::string input;    ///< path; empty for the one of the run
    int imputations = 0;  ///< of the longer run
};

struct Options {
    host::Crew *crew = nullptr;        ///< who draws; if there is none, processes of this machine
    std::vector<std::string> command;  ///< the words of the command line, for the record of the run
    std::string input;                 ///< path, or "-" for standard input; of results, their directory
    host::ReadOptions read;
    host::Rules rules;
    std::size_t components = 1;  ///< of a mixture of normals; 1 is one normal distribution
    bool quiet = false;
    bool json = false;
    Progress progress = Progress::automatic;
    bool strict = false;  ///< of "ullage diagnose": bad diagnostics have an exit code of their own
    ImputeOptions impute;
    PoolOptions pool;
    std::vector<std::string> gather;  ///< directories of the parts of a run
    ApplyOptions apply;
    ExtendOptions extend;
    std::string report_output;  ///< of "ullage report": path, or "-"; empty for report.html in the directory
};

}  // namespace ullage::cli

#endif
