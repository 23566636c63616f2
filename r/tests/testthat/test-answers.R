# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What is asked of a run, beside other packages.

censored <- quickly(airquality_censored(), m = 6, log = "Ozone")

test_that("pooled fits are those of mice", {
  skip_if_not_installed("mice")
  fits <- with(censored, lm(Ozone ~ Temp + Wind))
  theirs <- summary(mice::pool(fits), conf.int = TRUE)
  for (ours in list(pool(fits), pool(fits$analyses), pool(censored, lm = "Ozone ~ Temp + Wind"))) {
    expect_identical(ours$term, as.character(theirs$term))
    expect_equal(ours$estimate, theirs$estimate, tolerance = 1e-9)
    expect_equal(ours$std.error, theirs$std.error, tolerance = 1e-9)
    expect_equal(ours$df, theirs$df, tolerance = 1e-7)
    expect_equal(ours$conf.low, theirs[["2.5 %"]], tolerance = 1e-7)
    expect_equal(ours$p.value, theirs$p.value, tolerance = 1e-6)
  }
  expect_identical(glance(pool(censored, lm = "Ozone ~ Temp"))$nobs, 153L)
  expect_identical(class(pool(mice::as.mira(fits$analyses)))[[1]], "mipo")
  expect_s3_class(tidy(pool(fits)), "data.frame", exact = !requireNamespace("tibble", quietly = TRUE))
  expect_output(print(pool(fits)), "6 imputations, intervals of 95%")
})

test_that("means and other fits are pooled", {
  means <- vapply(complete(censored, "all"), function(table) mean(table$Ozone), 0)
  pooled <- pool(censored)
  expect_equal(pooled$estimate[pooled$term == "mean(Ozone)"], mean(means))
  expect_identical(pool(censored, quantiles = "0.5")$term[[1]], "q50(Ozone)")
  logistic <- pool(with(censored, glm(Ozone > 40 ~ Wind, family = binomial)))
  expect_identical(logistic$term, c("(Intercept)", "Wind"))
  narrow <- pool(censored, confidence = 0.5)
  expect_lt(narrow$conf.high[[1]], pooled$conf.high[[1]])
  expect_error(pool(with(censored, lm(Ozone ~ Wind + I(2 * Wind)))), "no estimate", class = "ullage_error")
  expect_error(pool(with(censored, list(1))), "neither coef", class = "ullage_error")
  expect_error(pool(censored, lm = "Ozone ~ wind"), "wind", class = "ullage_error")
})

test_that("fits of other kinds are pooled as by mice", {
  skip_if_not_installed("mice")
  fits <- with(censored, glm(Ozone > 40 ~ Wind + Solar.R, family = binomial))
  theirs <- summary(mice::pool(fits), conf.int = TRUE, conf.level = 0.9)
  ours <- pool(fits, confidence = 0.9)
  expect_identical(ours$term, as.character(theirs$term))
  expect_equal(ours$estimate, theirs$estimate, tolerance = 1e-9)
  expect_equal(ours$std.error, theirs$std.error, tolerance = 1e-9)
  expect_equal(ours$df, theirs$df, tolerance = 1e-7)
  expect_equal(ours$conf.high, theirs[["95 %"]], tolerance = 1e-7)
  expect_equal(ours$fmi, mice::pool(fits)$pooled$fmi, tolerance = 1e-7)
})

test_that("the object of mice is what mice would build", {
  skip_if_not_installed("mice")
  table <- mixed()[1:8]
  imp <- quickly(table, derive = c(double = "2 * size"))
  set.seed(1)
  before <- .Random.seed
  ours <- as.mids(imp)
  expect_identical(.Random.seed, before)
  theirs <- mice::mice(complete(imp, 0), m = 4, maxit = 0, remove.collinear = FALSE, printFlag = FALSE)
  same <- setdiff(names(theirs), c("imp", "call", "seed", "lastSeedValue"))
  expect_identical(unclass(ours)[same], unclass(theirs)[same])
  expect_identical(lapply(ours$imp, dimnames), lapply(theirs$imp, dimnames))
  expect_identical(rownames(ours$where)[ours$where[, "lead"]], rownames(table)[is.na(table$lead) | grepl("<", table$lead)])
  expect_identical(ours$imp$site[[3]], complete(imp, 3)$site[is.na(table$site)])
  expect_identical(mice::complete(ours, 3), complete(imp, 3))
  expect_warning(expect_s3_class(as.mids(quickly(mixed())), "mids"), "note", class = "ullage_warning")
})

test_that("mitools and mitml take the completed tables", {
  skip_if_not_installed("mitools")
  skip_if_not_installed("mitml")
  pooled <- pool(with(censored, lm(Ozone ~ Wind)))
  combined <- mitools::MIcombine(with(mitools::imputationList(censored), lm(Ozone ~ Wind)))
  expect_equal(unname(coef(combined)), pooled$estimate)
  estimates <- mitml::testEstimates(with(as.mitml.list(censored), lm(Ozone ~ Wind)))
  expect_equal(unname(estimates$estimates[, "Std.Error"]), pooled$std.error)
})

test_that("draws of the parameters reach posterior with every digit", {
  skip_if_not_installed("posterior")
  file <- read.csv(file.path(censored$directory, "parameters.csv"), check.names = FALSE)
  expect_equal(parameters(censored), file, tolerance = 1e-15)
  draws <- posterior::as_draws(censored)
  expect_identical(c(posterior::niterations(draws), posterior::nchains(draws)), c(10L, 4L))
  expect_equal(as.vector(draws[, 3, "mean(Wind)"]), file[file$.chain == 3, "mean(Wind)"], tolerance = 1e-15)
  table <- data.frame(group = rep(c("a", "b"), 76), airquality_censored()[1:152, 3:4])
  table$Wind[c(3, 8, 11)] <- NA
  grouped <- quickly(table, by = "group")
  expect_setequal(parameters(grouped)$.level, c("a", "b"))
  expect_true("mean(Wind)[b]" %in% posterior::variables(posterior::as_draws_df(grouped)))
  expect_identical(unique(pool(grouped)$level), c("a", "b"))
})

test_that("summary, diagnosis, report and pictures are of the run", {
  expect_output(print(summary(censored)), "6 completed tables of 153 rows, seed 1.*Ozone +number +83 +37 +33 +log")
  judged <- diagnose(censored)
  expect_true(all(c("name", "rhat", "ess_bulk") %in% names(judged)))
  expect_type(attr(judged, "bad"), "logical")
  page <- withr::local_tempfile(fileext = ".html")
  expect_identical(report(censored, page), page)
  expect_match(readLines(page, 1), "<!DOCTYPE html>", fixed = TRUE)
  picture <- withr::local_tempfile(fileext = ".pdf")
  withr::with_pdf(picture, {
    for (type in c("trace", "density", "autocorrelation", "patterns")) expect_identical(plot(censored, type), censored)
    plot(censored, "trace", "var(Ozone)") |> expect_error("there is no parameter \"var\\(Ozone\\)\"", class = "ullage_error")
  })
  expect_gt(file.size(picture), 5000)
})

test_that("a run can be kept and read, also one of the program", {
  imp <- quickly(mixed())
  directory <- file.path(withr::local_tempdir(), "new", "kept")
  write_run(imp, directory)
  again <- read_run(directory)
  expect_identical(complete(again, 2), complete(imp, 2))
  expect_identical(pool(again), pool(imp))
  expect_error(write_run(imp, directory), "not empty", class = "ullage_error")
  expect_error(read_run(dirname(directory)), "holds no run", class = "ullage_error")
  place <- withr::local_tempdir()
  write.csv(airquality_censored(), file.path(place, "table.csv"), na = "", row.names = FALSE, quote = FALSE)
  for (format in c("long", "files", "cells")) {
    unlink(file.path(place, "out"), recursive = TRUE)
    read <- read_run(run_beside(place, paste0("--format=", format)))
    expect_equal(complete(read, 2), complete(quickly(airquality_censored()), 2), ignore_attr = TRUE)
  }
})

test_that("a run without its files keeps its tables and says what it lacks", {
  imp <- unserialize(serialize(quickly(airquality_censored()), NULL))
  imp$directory <- file.path(imp$directory, "gone")
  expect_false(anyNA(complete(imp, 2)$Ozone))
  expect_error(pool(imp), "write_run\\(\\) keeps them", class = "ullage_error")
})
