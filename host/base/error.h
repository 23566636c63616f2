// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The errors of the host library: what went wrong, whose fault it is, and where in the user's file.

#ifndef ULLAGE_HOST_BASE_ERROR_H
#define ULLAGE_HOST_BASE_ERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/** Whose fault an error is. The program makes its exit code of it. */
enum class Fault {
    usage,          ///< a rule, name or setting that cannot be
    data,           ///< the table, or what the rules make of it
    no_input,       ///< an input file that cannot be read
    internal,       ///< the library, the engine or the machine
    cannot_create,  ///< an output that cannot be written
    closed_pipe,    ///< the reader of standard output went away
    interrupted,    ///< the user or the system asked to stop
};

/** Any error of the host library; what() is a sentence for the user, without a trailing line feed. */
class Error : public std::runtime_error {
public:
    Error(Fault fault, const std::string &message) : std::runtime_error(message), fault_(fault) {}
    [[nodiscard]] Fault fault() const { return fault_; }

private:
    Fault fault_;
};

/** "line 13 (row 12)", "row 12" or "line 13": whichever of the two is above 0. */
[[nodiscard]] std::string place_in_words(std::int64_t line, std::int64_t row);

/** One thing that is wrong with a table, at one place. */
struct Problem {
    std::int64_t line = 0;                  ///< line of the file, from 1; 0 if it is not about a line
    std::int64_t row = 0;                   ///< row of the data, from 1; 0 if it is not about a row
    std::vector<std::string> columns = {};  ///< names of the columns that it is about
    std::string text = {};                  ///< the cell as written; empty if it is not about a cell
    std::string message = {};               ///< what is wrong and what to do
};

/** The table is wrong: up to kMostProblems problems, and how many there were in all. what() lists them. */
class DataError : public Error {
public:
    static constexpr std::size_t kMostProblems = 50;

    /** The source is the name of the file, for the message. */
    DataError(std::string_view source, std::vector<Problem> problems, std::size_t problem_count);
    [[nodiscard]] const std::vector<Problem> &problems() const { return problems_; }
    [[nodiscard]] std::size_t problem_count() const { return problem_count_; }

private:
    std::vector<Problem> problems_;
    std::size_t problem_count_;
};

}  // namespace ullage::host

#endif
