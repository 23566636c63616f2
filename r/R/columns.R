# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Columns of a table on their way to the program and back.

# As many words as a column may have to be found nominal by the program.
most_words <- 20L

# What the program takes for a missing cell.
missing_words <- c("NA", ".", "*")

# A column as the program is to read it. cells is what write_table_() takes; kind what the type of the column says of it,
# if that is more than its cells say; order the words of an ordered column; words what stands for its levels in the
# files of the run.
column_of <- function(cells, kind = NULL, order = NULL, words = NULL) {
  list(cells = cells, kind = kind, order = order, words = words)
}

number_cells <- function(values, lower = NULL, upper = NULL) {
  list(values = as.double(values), lower = lower, upper = upper, words = NULL, whole = NULL)
}

word_cells <- function(places, words) {
  places <- as.integer(places) - 1L
  places[is.na(places)] <- -1L
  list(places = places, words = enc2utf8(words))
}

text_cells <- function(text) {
  words <- unique(text[!is.na(text)])
  word_cells(match(text, words), words)
}

# Classes of numbers that stay numbers; others, such as dates, are carried along.
is_number <- function(x) {
  known <- c("AsIs", "difftime", "hms", "haven_labelled", "haven_labelled_spss", "labelled", "noquote", "units", "vctrs_vctr")
  is.null(dim(x)) && typeof(x) %in% c("double", "integer") && !is.factor(x) &&
    all(setdiff(class(x), c("double", "integer", "numeric")) %in% known)
}

is_labelled <- function(x) inherits(x, "haven_labelled") && !is.null(attr(x, "labels"))

# The column of a table under its name; NULL if the model cannot know it and it has no text, so that R alone carries it.
# lower and upper bound its missing cells, each NA where nothing is known.
make_column <- function(x, name, lower = NULL, upper = NULL, na = missing_words) {
  bounded <- !is.null(lower) || !is.null(upper)
  if (bounded && !is_number(x)) {
    abort(sprintf("column \"%s\": lower and upper with a bound per cell are for columns of numbers", name))
  }
  if (inherits(x, "Surv")) {
    from_surv(x, name)
  } else if (is.factor(x)) {
    from_factor(x, name, na)
  } else if (!is.null(dim(x))) {
    NULL
  } else if (is_labelled(x) && !bounded && has_labels_for_all(x)) {
    from_labelled(x, name, na)
  } else if (is_number(x)) {
    from_numbers(x, lower, upper)
  } else if (is.logical(x)) {
    column_of(word_cells(x + 1L, c("FALSE", "TRUE")))
  } else if (inherits(x, c("Date", "POSIXt"))) {
    column_of(text_cells(format(x)), "carry")
  } else if (is.character(x)) {
    column_of(text_cells(valid_text(x, name)))
  }
}

# Text in UTF-8. Bytes that are no text in their encoding would silently become others.
valid_text <- function(x, name, of_rows = TRUE) {
  text <- as.character(x)
  wrong <- which(!validEnc(text))
  if (length(wrong) > 0) {
    row <- if (of_rows) wrong[[1]] else NA_integer_
    message <- "text that is not valid in its encoding; declare the right one (?Encoding)"
    problem <- data.frame(row = row, column = name, cell = NA_character_, message = message)
    abort(sprintf("%scolumn \"%s\": %s", if (is.na(row)) "" else sprintf("row %d, ", row), name, message), 65L, problem)
  }
  enc2utf8(text)
}

from_numbers <- function(x, lower, upper) {
  if (typeof(x) == "integer" && !anyNA(x)) {
    return(column_of(list(whole = as.integer(x), words = NULL)))
  }
  values <- as.double(unclass(x))
  values[is.na(x)] <- NA_real_ # also what a labelled column declares as missing
  column_of(number_cells(values, lower, upper))
}

from_factor <- function(x, name, na) {
  words <- trimws(valid_text(levels(x), name, of_rows = FALSE))
  used <- sort(unique(as.integer(x)))
  used <- used[!is.na(words[used])]
  fault <- function(word, what) abort(sprintf("column \"%s\": level \"%s\" %s; give it another name", name, word, what), 65L)
  if (anyDuplicated(words)) {
    fault(words[anyDuplicated(words)], "is there twice once blanks are taken off")
  }
  for (word in intersect(words[used], c("", na))) fault(word, "would be read as a missing cell")
  places <- as.integer(x)
  places[!(places %in% used)] <- NA
  kind <- if (length(used) > most_words || length(used) < 2) {
    "carry" # as words without a kind of their own; read as numbers they would be another column
  } else if (is.ordered(x)) {
    "ordered"
  } else if (length(used) == 2) {
    "binary"
  } else {
    "nominal"
  }
  column_of(word_cells(places, replace(words, is.na(words), "")), kind, if (kind == "ordered") words[!is.na(words)], words)
}

# Whether each value of a labelled column has a label, so that it stands for a word.
has_labels_for_all <- function(x) {
  seen <- unique(unclass(x)[!is.na(x)])
  length(seen) >= 2 && length(seen) <= most_words && all(seen %in% unclass(attr(x, "labels")))
}

from_labelled <- function(x, name, na) {
  values <- unclass(x)
  values[is.na(x)] <- NA
  column <- from_factor(factor(as.vector(values)), name, na)
  column$words <- NULL
  column
}

# Censored times are bounds: of survival::Surv, of the types right, left, interval and interval2.
from_surv <- function(x, name) {
  type <- attr(x, "type")
  if (!type %in% c("right", "left", "interval")) {
    abort(sprintf("column \"%s\": a Surv of type \"%s\" has no single time; right, left and interval have", name, type), 65L)
  }
  parts <- unclass(x)
  time <- parts[, 1]
  status <- parts[, "status"]
  second <- if (type == "interval") parts[, "time2"] else time
  above <- status == 0 & type != "left"
  below <- if (type == "left") status == 0 else status == 2
  between <- status == 3
  where <- function(rows, values) ifelse(!is.na(rows) & rows, values, NA_real_)
  column_of(number_cells(where(status == 1, time), where(above | between, time), ifelse(where(between, 1) %in% 1, second, where(below, time))))
}

# A column with its hidden cells filled, of the same type and attributes where the type can hold them. values are the
# new cells, numbers or words; words the words of the levels.
fill <- function(x, filled, values, words) {
  if (is.factor(x)) {
    return(put(x, filled$hidden, match(values, words)))
  }
  if (is.logical(x)) {
    return(put(x, filled$hidden, values == "TRUE"))
  }
  if (is_number(x)) {
    values <- as.double(values)
    if (all(is.na(values))) {
      return(x) # with the kinds of missing that its class knows
    }
    whole <- typeof(x) == "integer" && all(is.na(values) | values == trunc(values))
    return(put(x, filled$hidden, if (whole) as.integer(values) else values))
  }
  if (is.character(values)) {
    return(put(x, filled$hidden, values))
  }
  numbers <- filled$original
  numbers[filled$hidden] <- values
  attr(numbers, "label") <- attr(x, "label", exact = TRUE)
  numbers
}

# Values in some rows, under whatever class the vector has.
put <- function(x, rows, values) {
  if (length(rows) == 0) {
    return(x)
  }
  kept <- attributes(x)
  bare <- as.vector(unclass(x))
  bare[rows] <- values
  attributes(bare) <- kept
  bare
}
