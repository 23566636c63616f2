# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Runs that are kept in directories.

# Beside the files of the program: the table as it was in R.
table_file <- "table.rds"

#' Keep a run, and read one
#'
#' The files of a run go with the R session that drew it. `write_run()` keeps them in a new or empty directory, which has
#' all of them or none, and `read_run()` gives the run again. It also reads what the program wrote: columns of
#' words are then factors, and other columns have the types that [utils::type.convert()] finds.
#'
#' @param x What [impute()] gives.
#' @param directory Of the run.
#' @return Of `write_run()` the directory, invisibly; of `read_run()` an object of class `ullage_run`.
#' @export
write_run <- function(x, directory) {
  if (file.exists(directory) && (!dir.exists(directory) || length(list.files(directory, all.files = TRUE, no.. = TRUE)) > 0)) {
    abort(sprintf("%s is there already and not empty", directory), 73L)
  }
  dir.create(dirname(directory), showWarnings = FALSE, recursive = TRUE)
  copy <- tempfile(".ullage-", dirname(directory))
  on.exit(unlink(copy, recursive = TRUE))
  files <- list.files(directory_of(x), full.names = TRUE)
  written <- dir.create(copy, showWarnings = FALSE) && all(file.copy(files, copy))
  if (written) {
    saveRDS(c(x[c("data", "names", "words")], sha256 = x$record$input$sha256), file.path(copy, table_file))
    unlink(directory, recursive = TRUE)
    written <- file.rename(copy, directory)
  }
  if (!written) {
    abort(sprintf("%s cannot be written", directory), 73L)
  }
  invisible(directory)
}

#' @rdname write_run
#' @export
read_run <- function(directory) {
  directory <- normalizePath(directory, mustWork = FALSE)
  record <- read_record(directory)
  path <- file.path(directory, table_file)
  kept <- if (file.exists(path)) readRDS(path)
  if (!identical(kept$sha256, record$input$sha256)) kept <- stored_table(directory, record)
  new_run(directory, kept$data, kept$names, kept$words)
}

# The original table as the files of a run hold it.
stored_table <- function(directory, record) {
  files <- vapply(record$files, `[[`, "", "name")
  file <- c(intersect(c("original.csv", "imputations.csv"), files), sort(grep("^imputation_", files, value = TRUE)))[[1]]
  data <- utils::read.table(
    file.path(directory, file),
    header = TRUE, sep = record$input$separator, quote = "\"", colClasses = "character", na.strings = c("NA", ""),
    nrows = record$input$rows, check.names = FALSE, comment.char = "", strip.white = TRUE, encoding = "UTF-8"
  )
  data <- data[setdiff(names(data), c(".imp", ".id"))]
  columns <- read_completed_(directory)
  names(columns) <- vapply(columns, `[[`, "", "name")
  model <- record$columns
  names(model) <- vapply(model, `[[`, "", "name")
  words <- list()
  for (name in names(data)) {
    described <- model[[name]]
    if (is.null(described)) {
      data[[name]] <- utils::type.convert(data[[name]], as.is = TRUE)
    } else if (length(described$words) == 0) {
      data[[name]] <- columns[[name]]$original
    } else {
      words[[name]] <- unlist(described$words)
      data[[name]] <- factor(data[[name]], words[[name]], ordered = described$kind == "ordered")
    }
  }
  list(data = data, names = names(data), words = words)
}
