# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# From the arguments of a call to the options of the program.

# A name or word as it stands in a list.
quoted <- function(names) {
  ifelse(grepl("[,\"]", names), paste0("\"", gsub("\"", "\"\"", names, fixed = TRUE), "\""), names)
}

listed <- function(option, names) {
  if (length(names) > 0) sprintf("--%s=%s", option, paste(quoted(names), collapse = ","))
}

number_text <- function(x) sprintf("%.17g", as.double(x))

valued <- function(option, numbers) {
  if (length(numbers) > 0) sprintf("--%s=%s=%s", option, quoted(names(numbers)), number_text(unlist(numbers)))
}

ordered_option <- function(given) {
  if (is.list(given)) {
    words <- vapply(given, function(words) paste(quoted(as.character(words)), collapse = ","), "")
    sprintf("--ordered=%s=%s", quoted(names(given)), words)
  } else if (length(given) > 0) {
    sprintf("--ordered=%s", quoted(given))
  }
}

# Options without an argument of their own here: nd_word = "<LOD" is --nd-word=<LOD.
further <- function(more) {
  if (length(more) > 0 && (is.null(names(more)) || !all(nzchar(names(more))))) {
    abort("a further argument has no name")
  }
  unlist(lapply(names(more), function(name) {
    value <- more[[name]]
    option <- paste0("--", gsub("_", "-", name, fixed = TRUE))
    if (isTRUE(value)) option else if (!is.null(value) && !isFALSE(value)) paste0(option, "=", value)
  }))
}

# Bounds of columns, and bounds of cells.
split_bounds <- function(which, given, rows) {
  if (is.null(given)) {
    return(list(columns = list(), cells = list()))
  }
  if (is.null(names(given)) || !all(nzchar(names(given)))) {
    abort(sprintf("%s has no names; write %s = c(column = 1)", which, which))
  }
  given <- as.list(given)
  names(given) <- trimws(enc2utf8(names(given)))
  single <- lengths(given) == 1 & !vapply(given, function(bound) is.numeric(bound) && rows == 1 && is.na(bound), NA)
  for (name in names(given)) {
    if (!is.numeric(given[[name]]) && !all(is.na(given[[name]]))) {
      abort(sprintf("%s of \"%s\" is no number", which, name))
    }
    if (!single[[name]] && length(given[[name]]) != rows) {
      abort(sprintf("%s of \"%s\" has %d bounds, but the table has %d rows", which, name, length(given[[name]]), rows))
    }
  }
  list(columns = given[single], cells = lapply(given[!single], as.double))
}

# Options about a table. Kinds that follow from types of columns hold where nothing is said of the column.
reading_options <- function(columns, log = NULL, sqrt = NULL, logit = NULL, order = NULL, lower = NULL, upper = NULL,
                            by = NULL, id = NULL, number = NULL, step = NULL, binary = NULL, ordered = NULL,
                            nominal = NULL, carry = NULL, ...) {
  said <- c(number, names(step), binary, if (is.list(ordered)) names(ordered) else ordered, nominal, carry, by, id)
  found <- columns[setdiff(names(columns), said)]
  of_kind <- function(kind) names(found)[vapply(found, function(column) identical(column$kind, kind), NA)]
  in_order <- of_kind("ordered")
  c(
    listed("log", log), listed("sqrt", sqrt), listed("logit", logit), listed("number", number),
    listed("binary", c(binary, of_kind("binary"))), listed("nominal", c(nominal, of_kind("nominal"))),
    listed("carry", c(carry, of_kind("carry"))), ordered_option(ordered),
    if (length(in_order) > 0) ordered_option(lapply(found[in_order], `[[`, "order")),
    valued("step", step), valued("lower", lower), valued("upper", upper),
    if (length(order) > 0) paste0("--order=", order),
    if (!is.null(by)) paste0("--by=", by), if (!is.null(id)) paste0("--id=", id), further(list(...))
  )
}

# A table with what is to be known of it, written where the program reads it, and the words that say so.
make_input <- function(data, directory, lower = NULL, upper = NULL, na = NULL, ...) {
  lower <- split_bounds("lower", lower, NROW(data))
  upper <- split_bounds("upper", upper, NROW(data))
  words <- if (is.null(na)) missing_words else unlist(strsplit(na, ",", fixed = TRUE))
  input <- write_input(data, directory, lower$cells, upper$cells, words)
  input$words <- c("table.csv", "--sep=,", reading_options(input$columns, lower = lower$columns, upper = upper$columns, na = na, ...))
  input
}

prior_option <- function(prior, directory) {
  if (is.list(prior)) {
    jsonlite::write_json(prior, file.path(directory, "prior.json"), digits = NA, auto_unbox = TRUE)
    return("--prior=prior.json")
  }
  known <- prior %in% c("default", "jeffreys") || startsWith(prior, "ridge")
  paste0("--prior=", if (known) prior else normalizePath(prior, mustWork = FALSE))
}
