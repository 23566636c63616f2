# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What can go wrong, with the place where it did.

no_problems <- function() {
  data.frame(row = integer(), column = character(), cell = character(), message = character())
}

# End a call with a condition of class ullage_error. Its fields: exit_code, that of the program; problems, what is wrong
# with the table place by place; row, column and cell of the first of them.
abort <- function(message, exit_code = 64L, problems = no_problems()) {
  first <- if (nrow(problems) > 0) problems[1, ] else list(row = NA_integer_, column = NA_character_, cell = NA_character_)
  stop(structure(
    class = c("ullage_error", "error", "condition"),
    list(
      message = message, call = NULL, exit_code = as.integer(exit_code), problems = problems,
      row = first$row, column = first$column, cell = first$cell
    )
  ))
}

# Warn with a condition of class ullage_warning.
warn <- function(message) {
  warning(structure(class = c("ullage_warning", "warning", "condition"), list(message = message, call = NULL)))
}

# What the program says of its options, said of arguments: "(--by-blank NAME)" is "(by_blank = "NAME")".
in_arguments <- function(text) {
  text <- gsub("(^|[ (])-m ([0-9]+)", "\\1m = \\2", text)
  text <- gsub("(^|[ (])--([a-z]+)-([a-z]+)", "\\1--\\2_\\3", text)
  text <- gsub("(^|[ (])--([a-z_]+)[ =](ridge=[0-9.]+|comma|[A-Z]{2,})", "\\1\\2 = \"\\3\"", text)
  text <- gsub("(^|[ (])--([a-z_]+)", "\\1`\\2`", text)
  sub("(^|: )table\\.csv\\b", "\\1the table", text)
}
