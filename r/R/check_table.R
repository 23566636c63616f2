# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What a table says, and what is wrong with it.

problems_of <- function(said) {
  or_na <- function(value, na) if (is.null(value)) na else value
  problems <- said$problems
  data.frame(
    row = vapply(problems, function(problem) as.integer(or_na(problem$row, NA)), 1L),
    column = vapply(problems, function(problem) paste(or_na(unlist(problem$columns), NA), collapse = ", "), ""),
    cell = vapply(problems, function(problem) or_na(problem$text, NA_character_), ""),
    message = vapply(problems, function(problem) problem$message, "")
  )
}

# A line for each problem, with the label that its row has in the table.
in_words <- function(problems, data) {
  vapply(seq_len(nrow(problems)), function(place) {
    problem <- problems[place, ]
    places <- c(
      if (!is.na(problem$row)) row_label(data, problem$row),
      if (problem$column != "NA") sprintf("column \"%s\"", problem$column),
      if (!is.na(problem$cell) && nzchar(problem$cell)) sprintf("\"%s\"", problem$cell)
    )
    paste0(paste(places, collapse = ", "), if (length(places) > 0) ": ", problem$message)
  }, "")
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

abort_table <- function(said, data) {
  problems <- problems_of(said)
  more <- said$problem_count - nrow(problems)
  abort(paste(c(in_words(problems, data), if (more > 0) sprintf("and %d more", more)), collapse = "\n"), 65L, problems)
}
