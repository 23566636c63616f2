# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The main road: a table, a run, its completed tables.

test_that("the numbers are those of the program on the same file", {
  directory <- withr::local_tempdir()
  days <- airquality_censored()
  write.csv(days, file.path(directory, "table.csv"), na = "", row.names = FALSE, quote = FALSE)
  out <- run_beside(directory, "--log=Ozone", "--format=cells")
  numbers <- days
  numbers$Ozone <- suppressWarnings(as.double(days$Ozone))
  limits <- list(Ozone = ifelse(days$Ozone %in% "<20", 20, NA))
  for (imp in list(quickly(days, log = "Ozone"), quickly(numbers, log = "Ozone", upper = limits))) {
    for (file in c("original.csv", "cells.csv", "parameters.csv", "bounds.csv")) {
      expect_identical(tools::md5sum(file.path(imp$directory, file))[[1]], tools::md5sum(file.path(out, file))[[1]])
    }
    cells <- read.csv(file.path(out, "cells.csv"))
    third <- cells[cells$imputation == 3 & cells$column == "Ozone", ]
    expect_equal(complete(imp, 3)$Ozone[third$row], third$value, tolerance = 1e-15)
  }
})

test_that("completed tables keep types, attributes, row names and what was observed", {
  table <- mixed()
  imp <- quickly(table, step = c(count = 1))
  for (completed in complete(imp, "all")) {
    expect_identical(row.names(completed), row.names(table))
    expect_false(anyNA(completed[1:6]))
    expect_type(completed$lead, "double")
    for (name in setdiff(names(table), "lead")) {
      seen <- !is.na(table[[name]])
      expect_identical(attributes(completed[[name]]), attributes(table[[name]]))
      expect_identical(completed[[name]][seen], table[[name]][seen])
      expect_type(completed[[name]], typeof(table[[name]]))
    }
    below <- grepl("<", table$lead)
    expect_true(all(completed$lead[below] < as.double(sub("<", "", table$lead[below]))))
  }
  expect_identical(which(is.na(complete(imp, 0)$lead)), which(is.na(table$lead) | grepl("<", table$lead)))
  long <- complete(imp, "long", include = TRUE)
  expect_identical(long$.imp, rep(0:4, each = 60))
  expect_identical(lapply(long[long$.imp == 2, -(1:2)], as.vector), lapply(complete(imp, 2), as.vector))
  expect_error(complete(imp, 5), "imputations 0 to 4", class = "ullage_error")
  expect_output(print(imp), "4 completed tables of 60 rows, seed 1")
})

test_that("the seed is the caller's, or drawn from R's generator", {
  days <- airquality_censored()
  set.seed(3)
  before <- .Random.seed
  quickly(days)
  expect_identical(.Random.seed, before)
  first <- quickly(days, seed = NULL)
  set.seed(3)
  again <- quickly(days, seed = NULL)
  expect_identical(complete(first, 1), complete(again, 1))
  expect_false(identical(complete(quickly(days, seed = NULL), 1), complete(again, 1)))
})

test_that("an error has its place", {
  table <- data.frame(lead = c("1.5", "0,5", "2"), row.names = c("a", "b", "c"))
  error <- expect_error(impute(table), "row \"b\", column \"lead\", \"0,5\": a decimal comma", class = "ullage_error")
  expect_identical(error[c("exit_code", "row", "column", "cell")], list(exit_code = 65L, row = 2L, column = "lead", cell = "0,5"))
})

test_that("options of the program alone are for the program", {
  run <- quickly(airquality_censored(), until_converged = TRUE, ess_above = 60, rhat_below = 1.1)
  expect_true(run$record$settings$until_converged$converged)
  expect_error(quickly(airquality_censored(), derive = "a = Wind / 2"), "in R", class = "ullage_error")
})
