# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What a table says, and what is wrong with it.

#' What a table says, before anything is drawn
#'
#' @param data A data frame, tibble or data.table.
#' @param ... Those arguments of [impute()] that are about the table: kinds, bounds, orders, transformations, `by`, `id`.
#'
#' @return An object of class `ullage_check`: `rows`; `kinds`, the kind of every column and why; `columns`, of each column
#'   of the model how many cells are observed, missing, below, above, in an interval, ordered; `patterns`, how many rows have
#'   which pattern of cells; `problems`, where cells and rules contradict each other.
#' @examples
#' check_table(data.frame(lead = c("<0.5", "1.5", NA), zinc = c(12, 7.5, 3)))
#' @export
check_table <- function(data, ...) {
  directory <- tempfile("ullage-")
  dir.create(directory)
  on.exit(unlink(directory, recursive = TRUE))
  input <- make_input(data, directory, ...)
  said <- explained(input, directory, run_json(c("check", input$words), directory = directory, check = FALSE))
  if (is.null(said$columns)) abort_table(said, data)
  patterns <- lapply(said$patterns, function(pattern) list(rows = pattern[[1]], cells = pattern[[2]]))
  structure(class = "ullage_check", list(
    rows = said$rows, kinds = frame_of(said$kinds), columns = frame_of(said$columns),
    patterns = frame_of(patterns), problems = problems_of(said)
  ))
}

#' @export
print.ullage_check <- function(x, ...) {
  cat(sprintf("%d rows, %d columns in the model\n\n", x$rows, nrow(x$columns)))
  print(x$kinds, row.names = FALSE, right = FALSE)
  cat("\n")
  print(x$columns, row.names = FALSE)
  cat("\npatterns (# observed, . missing, < below, > above, = interval, ~ ordered)\n")
  print(utils::head(x$patterns, 30), row.names = FALSE)
  if (nrow(x$problems) > 0) {
    cat("\nproblems\n")
    print(x$problems, row.names = FALSE)
  }
  invisible(x)
}

problems_of <- function(said) {
  or_na <- function(value, na) if (is.null(value)) na else value
  problems <- said$problems
  data.frame(
    row = vapply(problems, function(problem) as.integer(or_na(problem$row, NA)), 1L),
    column = vapply(problems, function(problem) {
      if (length(problem$columns) > 0) paste(unlist(problem$columns), collapse = ", ") else NA_character_
    }, ""),
    cell = vapply(problems, function(problem) or_na(problem$text, NA_character_), ""),
    message = vapply(problems, function(problem) in_arguments(problem$message), "")
  )
}

# A problem in words, with the label that its row has in the table.
in_words <- function(problem, data) {
  columns <- sprintf("\"%s\"", unlist(problem$columns))
  places <- c(
    if (!is.null(problem$row)) row_label(data, problem$row),
    if (length(columns) > 0) paste(if (length(columns) > 1) "columns" else "column", paste(columns, collapse = ", ")),
    if (!is.null(problem$text)) sprintf("\"%s\"", problem$text)
  )
  paste0(paste(places, collapse = ", "), if (length(places) > 0) ": ", in_arguments(problem$message))
}

# The value of an expression; an error of it has the problems of the table, if it is the table that is wrong.
explained <- function(input, directory, expression) {
  tryCatch(expression, ullage_error = function(error) {
    said <- if (error$exit_code == 65L) {
      tryCatch(
        run_json(c("check", input$words, "--quiet"), directory = directory, check = FALSE, warn = FALSE),
        ullage_error = function(error) NULL
      )
    }
    if (length(said$problems) == 0) stop(error)
    abort_table(said, input$data)
  })
}

# Problems that a message lists.
most_lines <- 10

abort_table <- function(said, data) {
  problems <- problems_of(said)
  lines <- vapply(utils::head(said$problems, most_lines), in_words, "", data = data)
  more <- said$problem_count - length(lines)
  abort(paste(c(lines, if (more > 0) sprintf("and %d more", more)), collapse = "\n"), 65L, problems)
}
