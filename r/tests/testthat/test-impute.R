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

test_that("a long list of errors is cut, and its conditions has all of them", {
  table <- data.frame(lead = rep("0,5", 30), zinc = 1:30)
  error <- expect_error(impute(table), "or give decimal = \"comma\"\n.*\nand 20 more$", class = "ullage_error")
  expect_identical(error$problems$row, 1:30)
})

test_that("what the program can is asked for by arguments", {
  days <- airquality_censored()
  run <- quickly(days, until_converged = TRUE, ess_above = 60, rhat_below = 1.1, max_iterations = 1e5)
  expect_true(run$record$settings$until_converged$converged)
  expect_identical(run$record$settings$until_converged$max_iterations, 100000L)
  expect_identical(quickly(days, sweeps = 3)$record$settings$sweeps, 3L)
  expect_identical(quickly(days, components = 2)$record$settings$components, 2L)
  expect_identical(quickly(days, log = "Ozone", columns = c("Ozone", "Wind"))$record$columns[[2]]$name, "Wind")
  days$Month <- ifelse(datasets::airquality$Month == 6, NA, "other")
  expect_error(quickly(days, by = "Month"), "give by_blank = \"NAME\"", class = "ullage_error")
  expect_setequal(parameters(quickly(days, by = "Month", by_blank = "June"))$.level, c("June", "other"))
  expect_error(quickly(days, sweeps = NA), "sweeps is one whole number", class = "ullage_error")
  expect_error(quickly(days, unit = list(1)), "unit is text, numbers", class = "ullage_error")
})

test_that("text is read as the caller says", {
  table <- mixed()["size"]
  number <- sub(".", ",", sprintf("%.2f", table$size), fixed = TRUE)
  table$lead <- ifelse(is.na(table$size), "ND", ifelse(table$size < 9, "<9,0", number))
  table$code <- rep(c("U", ""), 30)
  table$size[2:4] <- NA
  bounds <- list(size = replace(rep(NA, 60), 2:3, c(7.5, 8.25)))
  # Numbers beside text with commas, with bounds between which they lie.
  imp <- quickly(table, decimal = "comma", nd = c(lead = 8.5), lower = bounds, upper = list(size = bounds$size + 0.5))
  completed <- complete(imp, 2)
  seen <- which(!is.na(table$size))
  expect_identical(completed$size[seen], table$size[seen])
  expect_identical(findInterval(completed$size[2:3], c(7.5, 8, 8.25, 8.75)), c(1L, 3L))
  expect_true(all(completed$lead[table$lead == "ND"] < 8.5) && all(completed$lead[table$lead == "<9,0"] < 9))
  table$lead <- seq(5, 15, length.out = 60)
  checked <- check_table(table, remark = c(lead = "code"), remark_codes = c(below = "U"), carry = "size")
  expect_identical(checked$columns[c("name", "below")], data.frame(name = "lead", below = 30L))
  table$lead[5:6] <- "none"
  expect_identical(check_table(table[1:2], na = c("none", "NA"))$columns$missing, c(sum(is.na(table$size)), 2L))
})

test_that("derived columns are in every table, and pooled", {
  days <- airquality_censored()
  imp <- quickly(days, derive = c(ratio = "Ozone / Temp", half = "Wind / 2"))
  expect_identical(names(complete(imp, 1)), c(names(days), "ratio", "half"))
  for (completed in complete(imp, "all")) expect_equal(completed$ratio, completed$Ozone / completed$Temp)
  expect_identical(is.na(complete(imp, 0)$ratio), is.na(complete(imp, 0)$Ozone))
  expect_true(all(c("mean(ratio)", "mean(half)") %in% pool(imp)$term))
  expect_output(print(summary(imp)), "computed:\n  ratio = Ozone / Temp\n  half = Wind / 2")
  directory <- file.path(withr::local_tempdir(), "kept")
  write_run(imp, directory)
  expect_identical(complete(read_run(directory), 2), complete(imp, 2))
  unlink(file.path(directory, "table.rds"))
  expect_equal(complete(read_run(directory), 2), complete(imp, 2))
  expect_error(quickly(days, derive = "Wind = Temp"), "another name", class = "ullage_error")
})
