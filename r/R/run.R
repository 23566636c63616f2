# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# A run: the completed tables, and what is asked of them.

# A run whose files are in a directory. The directory `remove` goes when nothing refers to the run any more. words are
# those that stand for the levels of factors.
new_run <- function(directory, data, names, words, remove = NULL) {
  keeper <- new.env(parent = emptyenv())
  if (!is.null(remove)) {
    reg.finalizer(keeper, function(keeper) unlink(remove, recursive = TRUE), onexit = TRUE)
  }
  record <- read_record(directory)
  model <- vapply(c(record$columns, record$derived), `[[`, "", "name")
  columns <- read_completed_(directory)
  names(columns) <- vapply(columns, `[[`, "", "name")
  structure(
    class = "ullage_run",
    list(
      data = data, names = names, words = words, columns = columns[model], record = record, directory = directory,
      keeper = keeper
    )
  )
}

read_record <- function(directory) {
  path <- file.path(directory, "run.json")
  if (!file.exists(path)) {
    abort(sprintf("%s holds no run", directory), 66L)
  }
  jsonlite::fromJSON(read_utf8(path), simplifyVector = FALSE, bigint_as_char = TRUE)
}

imputations <- function(run) run$record$settings$imputations

# The directory of a run, whose files are needed.
directory_of <- function(run) {
  if (!file.exists(file.path(run$directory, "run.json"))) {
    abort("the files of this run went with the R session that drew it; write_run() keeps them", 66L)
  }
  run$directory
}

# One completed table; in that of imputation 0 the hidden cells are missing.
completed <- function(run, imputation) {
  place <- match(names(run$columns), run$names)
  values <- lapply(seq_along(place), function(at) {
    column <- run$columns[[at]]
    values <- if (imputation > 0) column$imputed[, imputation] else rep(NA_real_, length(column$hidden))
    if (length(column$words) > 0) values <- column$words[values + 1]
    if (is.na(place[[at]])) {
      numbers <- column$original
      numbers[column$hidden] <- values
      return(numbers)
    }
    fill(.subset2(run$data, place[[at]]), column, values, run$words[[column$name]])
  })
  replace_columns(run$data, list(name = names(run$columns), place = place, values = values))
}

#' Completed tables
#'
#' @param data What [impute()] gives; anything else is left to `tidyr::complete()`, of which this generic takes the name.
#' @param action A number from 0, where hidden cells are `NA`, to the number of imputations; or `"all"` for a list of all
#'   tables, `"long"` for all below each other with the columns `.imp` and `.id` in front, and `"stacked"` without these.
#' @param include Whether the table with hidden cells comes before the completed ones, where there are several.
#' @param ... Not used.
#'
#' @return A table of the class of the one that was imputed, with its row names and the types and attributes of
#'   its columns; or a list of such tables. Columns of bounds become columns of numbers, columns of whole numbers
#'   with imputed cells ones of numbers with fractions, unless `step` keeps them whole. Columns that `derive` computes
#'   are the last. Long tables have new row names.
#' @export
complete <- function(data, ...) UseMethod("complete")

#' @rdname complete
#' @export
complete.default <- function(data, ...) {
  if (!requireNamespace("tidyr", quietly = TRUE)) {
    abort(sprintf("complete() has no method for %s", paste(class(data), collapse = "/")))
  }
  tidyr::complete(data, ...)
}

#' @rdname complete
#' @exportS3Method
#' @rawNamespace S3method(tidyr::complete, ullage_run)
complete.ullage_run <- function(data, action = 1, include = FALSE, ...) {
  m <- imputations(data)
  if (is.numeric(action)) {
    if (length(action) != 1 || !action %in% 0:m) {
      abort(sprintf("there are imputations 0 to %d, not %s", m, paste(action, collapse = ", ")))
    }
    return(completed(data, action))
  }
  action <- match.arg(action, c("all", "long", "stacked"))
  wanted <- if (include) 0:m else seq_len(m)
  tables <- lapply(wanted, function(imputation) completed(data, imputation))
  names(tables) <- wanted
  if (action == "all") tables else stack_tables(tables, action == "long")
}

# Tables of the same columns below each other. Rows are repeated, so that every class of column goes along.
stack_tables <- function(tables, with_numbers) {
  rows <- nrow(tables[[1]])
  stacked <- tables[[1]][rep(seq_len(rows), length(tables)), , drop = FALSE]
  for (place in seq_along(stacked)) {
    columns <- lapply(unname(tables), .subset2, place)
    if (all(vapply(columns, is.atomic, NA)) && is.null(dim(columns[[1]]))) {
      values <- unlist(lapply(columns, function(column) as.vector(unclass(column))), use.names = FALSE)
      attributes(values) <- attributes(columns[[1]])
      names(values) <- NULL
      stacked <- set_column(stacked, place, values)
    }
  }
  if (with_numbers) {
    numbers <- data.frame(.imp = rep(as.integer(names(tables)), each = rows), .id = rep(seq_len(rows), length(tables)))
    stacked <- replace_attributes(c(as.list(numbers), as.list(stacked)), stacked)
  }
  attr(stacked, "row.names") <- .set_row_names(rows * length(tables))
  stacked
}

set_column <- function(data, place, values) {
  replace_columns(data, list(name = names(data)[[place]], place = place, values = list(values)))
}

replace_attributes <- function(columns, data) {
  kept <- attributes(data)
  kept$names <- names(columns)
  kept$.internal.selfref <- NULL
  attributes(columns) <- kept
  if (inherits(data, "data.table")) data.table::setalloccol(columns) else columns
}

#' @export
print.ullage_run <- function(x, ...) {
  cat(sprintf(
    "<ullage_run> %d completed tables of %s rows, seed %s\n", imputations(x), x$record$input$rows, x$record$seed
  ))
  invisible(x)
}
