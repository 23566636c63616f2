# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
#' Multiple imputation of a table
#'
#' Draws the cells of a table that are missing, or known only by bounds, `m` times.
#'
#' A column of text holds what the cells of a file may say: `"<0.5"`, `"2..3"`, `">zinc"`, words. Factors are binary or
#' nominal, ordered factors ordered, with their levels in their order, also those that do not occur. Censored times
#' ([survival::Surv()] of the types right, left, interval and interval2) are bounds. Columns of the package haven whose
#' values all have labels are words, others numbers. Dates, times, lists and matrices are carried along, as are
#' factors of a single level or more than 20.
#'
#' @param data A data frame, tibble or data.table.
#' @param m Completed tables.
#' @param seed Of the random numbers. The same seed gives the same numbers as the program, with any number of `jobs`, and
#'   leaves R's generator as it is. `NULL` draws one from R's generator, so that [set.seed()] fixes it; see
#'   `summary(imp)` for the one that was drawn.
#' @param log,sqrt,logit Names of columns that are modelled on this scale.
#' @param order Rules for every row, such as `"dissolved < total"`.
#' @param lower,upper Bounds of missing cells by column, `c(zinc = 0)`, or by cell: a list or data frame of columns with
#'   a bound per row, `NA` for none.
#' @param by Name of a column of groups, each with parameters of its own.
#' @param id Name of a column that names the rows.
#' @param prior `"default"`, `"jeffreys"`, `"ridge=CASES"`, the path of a file, or a list of what such a file says.
#' @param chains,burn_in,thin Independent chains, their iterations before the first imputation, and from one to the next.
#'   `NULL` leaves them to the program: 200 and 50, more where words are hidden.
#' @param jobs Processes that share the work; one per processor if `NULL`.
#' @param number,binary,nominal,carry Names of columns that are of this kind, whatever their types say.
#' @param step Columns of multiples of a number, such as counts: `c(age = 1)`.
#' @param ordered Columns of words in an order, `list(stage = c("I", "II", "III"))`, or names of columns of numbers.
#' @param na Words for a missing cell in columns of text, instead of `"NA"`, `"."` and `"*"`.
#' @param decimal `"comma"` if columns of text have numbers such as `"<0,5"`.
#' @param nd Limits behind the word ND in columns of text, `c(lead = 0.5)`.
#' @param by_blank Name of a group of the rows whose cell of the column `by` is missing; without it they are refused.
#' @param components Models the rows as a mixture of at most so many normal distributions; `"auto"` is 10.
#' @param derive Columns that are computed in every completed table and are no part of the model, by expressions of the
#'   program: `c(bmi = "wgt / (hgt / 100)^2")`. [pool()] knows them, too.
#' @param sweeps Draws in each iteration of cells that are drawn one at a time; chosen at the end of the burn-in if `NULL`.
#' @param until_converged Whether to double the iterations between two imputations until R-hat of all parameters is
#'   below `rhat_below` (1.01) and their effective sizes are above `ess_above` (400), or until a chain has reached
#'   `max_iterations` (20000, or what the imputations take otherwise).
#' @param rhat_below,ess_above,max_iterations See `until_converged`.
#' @param progress Whether to show a progress bar, or a function of the iterations done and all.
#' @param ... Further options of `ullage impute`, with underscores; a value with a name is `NAME=VALUE` there. Of the
#'   table: `columns` (those of the model), `limits`, `remark = c(lead = "lead_remark")`, `remark_codes = c(below = "U")`,
#'   `nd_word`, `unit = "mg/L"`; and `overimpute = TRUE`, which hides observed cells in turn and says how often the
#'   intervals cover them.
#'
#' @return An object of class `ullage_run`. [complete()] gives its tables. Its files go with the R session;
#'   [write_run()] keeps them.
#'
#'   Errors are conditions of class `ullage_error`. They have the fields `exit_code` and `problems`, a data frame of
#'   what is wrong with the table, and `row`, `column` and `cell` of the first problem. Warnings are of class `ullage_warning`.
#'
#' @examples
#' days <- data.frame(
#'   ozone = c(41, 36, NA, 18, "<20", 28, 23, "<20", 8, NA),
#'   wind = c(7.4, 8.0, 12.6, 11.5, 14.3, 14.9, 8.6, 13.8, 20.1, 8.6)
#' )
#' imp <- impute(days, m = 100, seed = 1, jobs = 1)
#' complete(imp, 3)$ozone[c(5, 8)] < 20
#' @export
impute <- function(data, m = 20, seed = NULL, log = NULL, sqrt = NULL, logit = NULL, order = NULL, lower = NULL,
                   upper = NULL, by = NULL, id = NULL, prior = "default", chains = 4, burn_in = NULL, thin = NULL,
                   jobs = NULL, number = NULL, step = NULL, binary = NULL, ordered = NULL, nominal = NULL, carry = NULL,
                   na = NULL, decimal = "point", nd = NULL, by_blank = NULL, components = NULL, derive = NULL,
                   sweeps = NULL, until_converged = FALSE, rhat_below = NULL, ess_above = NULL, max_iterations = NULL,
                   progress = interactive(), ...) {
  directory <- tempfile("ullage-")
  dir.create(directory)
  done <- FALSE
  on.exit(if (!done) unlink(directory, recursive = TRUE))
  more <- list(...)
  of_table <- c(
    list(
      data = data, directory = directory, lower = lower, upper = upper, log = log, sqrt = sqrt, logit = logit,
      order = order, by = by, id = id, number = number, step = step, binary = binary, ordered = ordered,
      nominal = nominal, carry = carry, na = na, decimal = decimal, nd = nd, by_blank = by_blank, components = components
    ),
    more[setdiff(names(more), options_of_impute)]
  )
  input <- do.call(make_input, of_table)
  if (is.null(seed)) seed <- sample.int(.Machine$integer.max, 1)
  arguments <- c(
    "impute", input$words, "--output=run", "--format=cells", "--no-report", "--progress=json",
    prior_option(prior, directory),
    counted(
      imputations = m, seed = seed, chains = chains, `burn-in` = burn_in, thin = thin, sweeps = sweeps, jobs = jobs,
      `max-iterations` = max_iterations
    ),
    further(list(
      derive = derive, until_converged = until_converged, rhat_below = rhat_below, ess_above = ess_above
    )),
    further(more[intersect(names(more), options_of_impute)])
  )
  with_progress(progress, function(show) {
    explained(input, directory, run_program(arguments, directory, progress = show))
  })
  words <- Filter(Negate(is.null), lapply(input$columns, `[[`, "words"))
  run <- new_run(file.path(directory, "run"), input$data, input$names, words, remove = directory)
  done <- TRUE
  run
}

# Further options that the program has for this command alone.
options_of_impute <- "overimpute"

# Options that are whole numbers.
counted <- function(...) {
  given <- Filter(Negate(is.null), list(...))
  unlist(lapply(names(given), function(name) {
    value <- given[[name]]
    if (length(value) != 1 || is.na(value)) {
      abort(sprintf("%s is one whole number", gsub("-", "_", name, fixed = TRUE)))
    }
    sprintf("--%s=%s", name, if (is.numeric(value)) format(value, digits = 17, scientific = FALSE) else value)
  }))
}

with_progress <- function(progress, call) {
  if (is.function(progress)) {
    return(call(progress))
  }
  if (!isTRUE(progress)) {
    return(call(NULL))
  }
  bar <- cli::cli_progress_bar("Drawing", total = NA, clear = TRUE)
  call(function(done, total) cli::cli_progress_update(set = done, total = total, id = bar))
  cli::cli_progress_done(id = bar)
}
