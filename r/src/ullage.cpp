// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The extension: vectors of R to the table of a run, and the files of a run to vectors.
//
// Nothing is drawn here: the host forks its workers, and an R process may have threads.

#include <cmath>
#include <cpp11.hpp>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ullage/host/answer/derive.h"
#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/parameter_file.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/table/write_columns.h"

namespace host = ullage::host;
namespace writable = cpp11::writable;

namespace {

/** The exit code that the program gives for the same fault. */
int exit_code(host::Fault fault) {
    switch (fault) {
        case host::Fault::usage:
            return 64;
        case host::Fault::data:
            return 65;
        case host::Fault::no_input:
            return 66;
        case host::Fault::cannot_create:
            return 73;
        default:
            return 70;
    }
}

/** Call a function; an error of the host becomes a condition of the package. */
template <typename Function>
auto guarded(Function function) {
    try {
        return function();
    } catch (const host::Error &error) {
        cpp11::package("ullage")["abort"](std::string(error.what()), exit_code(error.fault()));
        throw;  // not reached: abort does not return
    }
}

std::span<const double> doubles(const cpp11::list &column, const char *name) {
    const SEXP vector = column[name];
    if (vector == R_NilValue) return {};
    return {REAL(vector), static_cast<std::size_t>(Rf_xlength(vector))};
}

/** What write_columns() borrows. */
struct Held {
    std::vector<std::vector<std::int64_t>> whole;
    std::vector<host::Cells> cells;
};

/** Integers; NA is below 0, as a place. */
std::span<const std::int64_t> hold(Held &held, SEXP integers) {
    const std::span<const int> values(INTEGER(integers), static_cast<std::size_t>(Rf_xlength(integers)));
    held.whole.emplace_back(values.begin(), values.end());
    return held.whole.back();
}

host::Cells cells_of(Held &held, const cpp11::list &column) {
    if (const SEXP words = column["words"]; words != R_NilValue) {
        host::Words texts{hold(held, column["places"]), {}};
        for (const cpp11::r_string &word : cpp11::strings(words)) {
            texts.words.push_back(host::quote_cell(std::string(word), ','));
        }
        return texts;
    }
    if (const SEXP whole = column["whole"]; whole != R_NilValue) return hold(held, whole);
    return host::Numbers{doubles(column, "values"), doubles(column, "lower"), doubles(column, "upper")};
}

writable::doubles vector_of(std::span<const double> values) {
    writable::doubles vector(static_cast<R_xlen_t>(values.size()));
    double *out = REAL(vector);
    for (const double value : values) *out++ = std::isnan(value) ? NA_REAL : value;
    return vector;
}

/** The values of the hidden cells, a column per imputation. */
writable::doubles_matrix<> matrix_of(const host::CompletedColumn &column, std::size_t imputations) {
    const std::size_t hidden = column.hidden.size();
    writable::doubles_matrix<> matrix(static_cast<int>(hidden), static_cast<int>(imputations));
    double *out = REAL(matrix.data());
    for (std::size_t imputation = 0; hidden > 0 && imputation < imputations; ++imputation) {
        for (const double value : column.imputed[imputation]) *out++ = value;
    }
    return matrix;
}

writable::list list_of(const host::CompletedColumn &column, std::size_t imputations) {
    using namespace cpp11::literals;
    writable::integers hidden(static_cast<R_xlen_t>(column.hidden.size()));
    int *out = INTEGER(hidden);
    for (const std::int32_t row : column.hidden) *out++ = row + 1;
    return writable::list({"name"_nm = column.name, "words"_nm = column.words, "hidden"_nm = hidden,
                           "original"_nm = vector_of(column.original), "imputed"_nm = matrix_of(column, imputations)});
}

}  // namespace

[[cpp11::register]] void write_table_(std::string path, cpp11::strings names, cpp11::list columns, double rows,
                                      std::string decimal) {
    guarded([&] {
        Held held;
        held.whole.reserve(static_cast<std::size_t>(columns.size()));
        for (const SEXP column : columns) held.cells.push_back(cells_of(held, cpp11::list(column)));
        host::write_columns(path, std::vector<std::string>(names.begin(), names.end()), held.cells,
                            static_cast<std::size_t>(rows), decimal == "comma" ? ',' : '.');
    });
}

[[cpp11::register]] cpp11::list read_completed_(std::string directory) {
    return guarded([&] {
        const host::RunRecord record = host::read_run_record(directory);
        host::CompletedTables tables = host::read_completed_tables(directory, record);
        for (const host::Derivation &derivation : host::derivations_of(record)) host::add_derived(tables, derivation);
        writable::list columns;
        for (const host::CompletedColumn &column : tables.columns)
            columns.push_back(list_of(column, tables.imputations));
        return cpp11::list(columns);
    });
}

/** Columns .chain, .iteration and those of the parameters; levels lie below each other. */
[[cpp11::register]] cpp11::list read_parameters_(std::string directory) {
    using namespace cpp11::literals;
    return guarded([&] {
        const host::RunRecord record = host::read_run_record(directory);
        const host::ParameterDraws draws = host::read_parameters(directory, record);
        writable::list levels;
        for (const std::vector<host::Chains> &parameters : draws.draws) {
            writable::list columns;
            for (const host::Chains &chains : parameters) {
                std::vector<double> values;
                for (const std::vector<double> &chain : chains) values.insert(values.end(), chain.begin(), chain.end());
                columns.push_back(vector_of(values));
            }
            levels.push_back(columns);
        }
        return cpp11::list(writable::list({"names"_nm = draws.names, "chains"_nm = record.chains,
                                           "iterations"_nm = static_cast<int>(record.kept()), "draws"_nm = levels}));
    });
}

/** The program that was installed with the library; empty if the package holds it itself. */
[[cpp11::register]] std::string installed_program_() {
    return ULLAGE_PROGRAM;
}
