# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Tables on their way to the program and back.

# Names of the columns as the program reads them.
program_names <- function(data) {
  if (!all(validEnc(names(data)))) {
    abort("the names of the columns are not valid in their encoding; declare the right one (?Encoding)", 65L)
  }
  names <- trimws(enc2utf8(names(data)))
  empty <- which(is.na(names) | !nzchar(names))
  if (length(empty) > 0) {
    abort(sprintf("column %d has no name", empty[[1]]), 65L)
  }
  if (anyDuplicated(names)) {
    abort(sprintf("two columns have the name \"%s\"; rename one of them", names[anyDuplicated(names)]), 65L)
  }
  names
}

# Write a table where the program reads it. Gives the table with its columns as make_column() makes them.
write_input <- function(data, directory, lower = NULL, upper = NULL, na = missing_words, decimal = "point") {
  if (!is.data.frame(data)) {
    abort(sprintf("a table is a data frame, not %s", paste(class(data), collapse = "/")))
  }
  if (length(data) == 0) {
    abort("the table has no columns", 65L)
  }
  if (nrow(data) == 0) {
    abort("the table has no rows", 65L)
  }
  names <- program_names(data)
  unknown <- setdiff(c(names(lower), names(upper)), names)
  if (length(unknown) > 0) {
    abort(sprintf("bounds are given for \"%s\", but there is no such column", unknown[[1]]))
  }
  columns <- lapply(seq_along(names), function(place) {
    name <- names[[place]]
    make_column(.subset2(data, place), name, lower[[name]], upper[[name]], na)
  })
  names(columns) <- names
  sent <- columns[!vapply(columns, is.null, NA)]
  if (length(sent) == 0) {
    abort("the table has no column that the model can know", 65L)
  }
  write_table_(file.path(directory, "table.csv"), names(sent), lapply(unname(sent), `[[`, "cells"), nrow(data), decimal)
  list(data = data, names = names, columns = sent)
}

# The label of a row in a message.
row_label <- function(data, row) {
  if (.row_names_info(data) > 0) sprintf("row \"%s\"", row.names(data)[[row]]) else sprintf("row %d", row)
}

# Put columns into a table of the same kind; those that it does not have yet come last.
replace_columns <- function(data, columns) {
  kept <- attributes(data)
  filled <- unclass(data)
  attributes(filled) <- NULL
  new <- is.na(columns$place)
  filled[columns$place[!new]] <- columns$values[!new]
  filled <- c(filled, columns$values[new])
  kept$names <- c(kept$names, columns$name[new])
  kept[c("sorted", "index", ".internal.selfref")] <- NULL
  attributes(filled) <- kept
  if (inherits(data, "data.table")) {
    data.table::setalloccol(filled)
  } else if (inherits(data, "grouped_df")) {
    grouped_anew(filled, data)
  } else {
    filled
  }
}

# A table of dplyr whose groups are those of its new cells; without groups where dplyr is not installed.
grouped_anew <- function(filled, data) {
  attr(filled, "groups") <- NULL
  class(filled) <- setdiff(class(filled), "grouped_df")
  if (requireNamespace("dplyr", quietly = TRUE)) dplyr::dplyr_reconstruct(filled, data) else filled
}
