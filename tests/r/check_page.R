# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Runs the examples of a page and holds what they print to what the page shows: check_page.R PAGE [--write].

arguments <- commandArgs(trailingOnly = TRUE)
page <- readLines(arguments[[1]], encoding = "UTF-8")
options(width = 100, cli.num_colors = 1L)
grDevices::pdf(NULL)

# What code prints, and its warnings, as lines that begin with "#>".
printed <- function(code) {
  lines <- utils::capture.output(
    withCallingHandlers(
      for (expression in parse(text = code, keep.source = FALSE)) {
        value <- withVisible(eval(expression, globalenv()))
        if (value$visible) print(value$value)
      },
      warning = function(condition) {
        cat("Warning:", conditionMessage(condition), "\n")
        tryInvokeRestart("muffleWarning")
      }
    )
  )
  if (length(lines) > 0) sub(" +$", "", paste("#>", lines))
}

starts <- which(page == "```r")
ends <- vapply(starts, function(start) start + which(page[-seq_len(start)] == "```")[[1]], 0)
written <- page[seq_len(starts[[1]] - 1)]
for (block in seq_along(starts)) {
  code <- page[(starts[[block]] + 1):(ends[[block]] - 1)]
  code <- code[!startsWith(code, "#>")]
  behind <- if (block < length(starts)) starts[[block + 1]] - 1 else length(page)
  rest <- if (behind > ends[[block]]) page[(ends[[block]] + 1):behind]
  written <- c(written, "```r", code, printed(code), "```", rest)
}
if ("--write" %in% arguments) {
  writeLines(written, arguments[[1]], useBytes = TRUE)
} else if (!identical(written, page)) {
  different <- which(written != page)[1]
  cat(sprintf("%s, line %d: the page says\n%s\nand the example prints\n%s\n", arguments[[1]], different, page[different], written[different]))
  quit(status = 1)
}
