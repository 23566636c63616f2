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

# The shortest of 15 or 17 digits that is the same number.
number_text <- function(x) {
  short <- sprintf("%.15g", as.double(x))
  ifelse(is.na(x) | as.double(short) == x, short, sprintf("%.17g", as.double(x)))
}

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

# Options as they are given: nd_word = "<LOD" is --nd-word=<LOD, nd = c(lead = 0.5) is --nd=lead=0.5.
further <- function(more) {
  if (length(more) > 0 && (is.null(names(more)) || !all(nzchar(names(more))))) {
    abort("a further argument has no name")
  }
  unlist(lapply(names(more), function(name) {
    value <- more[[name]]
    option <- paste0("--", gsub("_", "-", name, fixed = TRUE))
    if (length(value) == 0 || isFALSE(value)) {
      return(NULL)
    }
    if (isTRUE(value)) {
      return(option)
    }
    if (!is.character(value) && !is.numeric(value) || anyNA(value)) {
      abort(sprintf("%s is text, numbers, TRUE or FALSE", name))
    }
    text <- if (is.numeric(value)) number_text(value) else value
    of <- if (is.null(names(value))) "" else ifelse(nzchar(names(value)), paste0(quoted(names(value)), "="), "")
    paste0(option, "=", of, text)
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

# Refuse to model columns that only R knows, and dates as numbers.
refuse_unfit <- function(data, names, sent, numbers, kinds) {
  for (name in intersect(names, c(numbers, kinds))) {
    column <- .subset2(data, match(name, names))
    if (inherits(column, "AsIs")) {
      column <- unclass(column)
    }
    if (!name %in% sent) {
      abort(sprintf("column \"%s\" is of the class %s, and can only be carried along", name, class(column)[[1]]), 65L)
    }
    if (name %in% numbers && inherits(column, c("Date", "POSIXt"))) {
      abort(sprintf("column \"%s\" holds dates or times; make numbers of them first, by as.numeric()", name), 65L)
    }
  }
}

# Options about a table. Kinds that follow from types of columns hold where nothing is said of the column.
reading_options <- function(input, log = NULL, sqrt = NULL, logit = NULL, order = NULL, lower = NULL, upper = NULL,
                            by = NULL, id = NULL, number = NULL, step = NULL, binary = NULL, ordered = NULL,
                            nominal = NULL, carry = NULL, ...) {
  numbers <- c(log, sqrt, logit, number, names(step), names(lower), names(upper))
  words <- c(binary, if (is.list(ordered)) names(ordered) else ordered, nominal, by, id)
  columns <- input$columns
  refuse_unfit(input$data, input$names, names(columns), numbers, words)
  carry <- setdiff(carry, setdiff(input$names, names(columns)))
  found <- columns[setdiff(names(columns), c(number, names(step), words, carry))]
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
make_input <- function(data, directory, lower = NULL, upper = NULL, na = NULL, decimal = "point", ...) {
  if (!isTRUE(decimal %in% c("point", "comma"))) abort("decimal is \"point\" or \"comma\"")
  lower <- split_bounds("lower", lower, NROW(data))
  upper <- split_bounds("upper", upper, NROW(data))
  words <- if (is.null(na)) missing_words else unlist(strsplit(na, ",", fixed = TRUE))
  input <- write_input(data, directory, lower$cells, upper$cells, words, decimal)
  reading <- reading_options(input, lower = lower$columns, upper = upper$columns, na = na, ...)
  input$words <- c("table.csv", "--sep=,", paste0("--decimal=", decimal), reading)
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
