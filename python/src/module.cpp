// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The extension _ullage: arrays to the table of a run, and the completed tables of a run to arrays.
//
// Nothing is drawn here: the host forks its workers, and a Python process has threads.

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/answer/derive.h"
#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/table/write_columns.h"

namespace nb = nanobind;

namespace ullage::python {
namespace {

template <typename T>
using Input = nb::ndarray<const T, nb::ndim<1>, nb::c_contig, nb::device::cpu>;

template <typename T>
std::span<const T> span_of(const Input<T> &array, std::size_t rows) {
    if (array.shape(0) != rows) throw nb::value_error("the columns have different lengths");
    return {array.data(), rows};
}

/** A column as Python gives it: values with limits or without, whole numbers, or places with their words. */
struct Column {
    std::optional<Input<double>> values;
    std::optional<Input<double>> lower;
    std::optional<Input<double>> upper;
    std::optional<Input<std::int64_t>> whole;
    std::vector<std::string> words;
    bool has_words = false;

    [[nodiscard]] std::size_t rows() const { return values ? values->shape(0) : whole->shape(0); }
    [[nodiscard]] host::Cells cells(std::size_t rows) const {
        if (has_words) {
            const auto places = span_of(*whole, rows);
            for (const std::int64_t place : places) {
                if (place >= static_cast<std::int64_t>(words.size())) throw nb::value_error("a place has no word");
            }
            return host::Words{places, words};
        }
        if (whole) return span_of(*whole, rows);
        host::Numbers numbers{span_of(*values, rows), {}, {}};
        if (lower) numbers.lower = span_of(*lower, rows);
        if (upper) numbers.upper = span_of(*upper, rows);
        return numbers;
    }
};

Column numbers(Input<double> values, std::optional<Input<double>> lower, std::optional<Input<double>> upper) {
    Column column;
    column.values = std::move(values);
    column.lower = std::move(lower);
    column.upper = std::move(upper);
    return column;
}

Column whole_numbers(Input<std::int64_t> values) {
    Column column;
    column.whole = std::move(values);
    return column;
}

Column words(Input<std::int64_t> places, const std::vector<std::string> &texts) {
    Column column;
    column.whole = std::move(places);
    for (const std::string &text : texts) column.words.push_back(host::quote_cell(text, ','));
    column.has_words = true;
    return column;
}

void write_table(const std::string &path, const std::vector<std::string> &names,
                 const std::vector<const Column *> &columns) {
    if (names.size() != columns.size() || columns.empty()) throw nb::value_error("one name is needed for each column");
    const std::size_t rows = columns.front()->rows();
    std::vector<host::Cells> cells;
    for (const Column *column : columns) cells.push_back(column->cells(rows));
    const nb::gil_scoped_release release;
    host::write_columns(path, names, cells, rows);
}

/** A vector as an array that owns it. */
template <typename T>
nb::ndarray<nb::numpy, T> array_of(std::vector<T> values, std::initializer_list<std::size_t> shape) {
    auto *kept = new std::vector<T>(std::move(values));
    const nb::capsule owner(kept, [](void *vector) noexcept { delete static_cast<std::vector<T> *>(vector); });
    return nb::ndarray<nb::numpy, T>(kept->data(), shape, owner);
}

nb::dict arrays_of(host::CompletedColumn &&column, std::size_t imputations) {
    const std::size_t rows = column.original.size();
    const std::size_t hidden = column.hidden.size();
    std::vector<double> imputed;
    imputed.reserve(imputations * hidden);
    for (std::vector<double> &values : column.imputed.held()) {
        imputed.insert(imputed.end(), values.begin(), values.end());
        values = {};
    }
    nb::dict arrays;
    arrays["name"] = column.name;
    arrays["original"] = array_of(std::move(column.original), {rows});
    arrays["hidden"] = array_of(std::move(column.hidden), {hidden});
    arrays["imputed"] = array_of(std::move(imputed), {hidden == 0 ? 0 : imputations, hidden});
    arrays["words"] = column.words;
    return arrays;
}

nb::list read_completed(const std::string &directory) {
    host::CompletedTables tables;
    {
        const nb::gil_scoped_release release;
        const host::RunRecord record = host::read_run_record(directory);
        tables = host::read_completed_tables(directory, record);
        for (const host::Derivation &derivation : host::derivations_of(record)) host::add_derived(tables, derivation);
    }
    nb::list columns;
    for (host::CompletedColumn &column : tables.columns) {
        columns.append(arrays_of(std::move(column), tables.imputations));
    }
    return columns;
}

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

void translate(const std::exception_ptr &pointer, void *) {
    try {
        std::rethrow_exception(pointer);
    } catch (const host::Error &error) {
        const nb::object type = nb::module_::import_("ullage._errors").attr("UllageError");
        const nb::object instance = type(error.what(), exit_code(error.fault()));
        PyErr_SetObject(type.ptr(), instance.ptr());
    }
}

}  // namespace

NB_MODULE(_ullage, module) {
    nb::register_exception_translator(translate);
    nb::class_<Column>(module, "Column");
    module.def("numbers", &numbers, nb::arg("values"), nb::arg("lower").none() = nb::none(),
               nb::arg("upper").none() = nb::none());
    module.def("whole_numbers", &whole_numbers, nb::arg("values"));
    module.def("words", &words, nb::arg("places"), nb::arg("words"));
    module.def("write_table", &write_table, nb::arg("path"), nb::arg("names"), nb::arg("columns"));
    module.def("read_completed", &read_completed, nb::arg("directory"));
}

}  // namespace ullage::python
