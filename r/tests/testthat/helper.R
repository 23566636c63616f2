# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Tables that several tests use.

# Ozone on 153 days in New York, where cells below 20 are known as that only.
airquality_censored <- function() {
  days <- datasets::airquality[1:4]
  days$Ozone <- ifelse(days$Ozone < 20, "<20", as.character(days$Ozone))
  days
}

# Impute with few iterations, whose warnings are of no interest.
quickly <- function(data, m = 4, seed = 1, ...) {
  suppressWarnings(impute(data, m = m, seed = seed, burn_in = 20, thin = 5, jobs = 1, ...), "ullage_warning")
}

# Run the program beside the package, on a table in the file "table.csv" of a directory.
run_beside <- function(directory, ...) {
  arguments <- c("impute", "table.csv", "--output=out", "--imputations=4", "--burn-in=20", "--thin=5", "--seed=1", "--quiet", ...)
  processx::run(ullage:::find_program(), arguments, wd = directory)
  file.path(directory, "out")
}

# Columns of every type that the model knows, and some that it does not.
mixed <- function() {
  n <- 60
  numbers <- withr::with_seed(5, matrix(rnorm(4 * n), n))
  size <- 10 + 2 * numbers[, 1]
  near <- size + numbers[, 2]
  table <- data.frame(
    size = size,
    count = as.integer(round(size + numbers[, 3])),
    lead = ifelse(near < 9, sprintf("<%.1f", near), sprintf("%.3f", near)),
    site = factor(c("C", "A", "B")[1 + (seq_len(n) * 7) %% 11 %% 3], levels = c("C", "A", "B", "never")),
    stage = cut(size, c(-Inf, 9, 11, Inf), labels = c("lo", "mid", "hi"), ordered_result = TRUE),
    ill = size + numbers[, 4] > 10.5,
    day = as.Date("2026-01-01") + seq_len(n),
    time = as.POSIXct("2026-03-28 12:00", tz = "Europe/Berlin") + 3600 * seq_len(n),
    row.names = paste0("r", seq_len(n))
  )
  table$note <- lapply(seq_len(n), function(row) list("a", row))
  attr(table$size, "label") <- "size in mm"
  for (place in 1:6) table[seq(place, n, 9), place] <- NA
  table
}
