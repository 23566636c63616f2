# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# The program as a process: warnings, progress, interrupts, and what is left behind.

test_that("warnings are conditions and progress is told", {
  steps <- list()
  warnings <- list()
  imp <- withCallingHandlers(
    impute(airquality_censored(), m = 2, seed = 1, burn_in = 3, thin = 2, jobs = 1, progress = function(done, total) {
      steps[[length(steps) + 1]] <<- c(done, total)
    }),
    ullage_warning = function(warning) {
      warnings[[length(warnings) + 1]] <<- conditionMessage(warning)
      invokeRestart("muffleWarning")
    }
  )
  last <- steps[[length(steps)]]
  expect_identical(last[[1]], last[[2]])
  expect_match(paste(warnings, collapse = " "), "too short")
  expect_true(any(grepl("too short", summary(imp)$warnings)))
})

# Processes whose working directory is below one.
processes_in <- function(directory) {
  places <- suppressWarnings(Sys.readlink(Sys.glob("/proc/[0-9]*/cwd")))
  places[!is.na(places) & startsWith(places, directory)]
}

test_that("an interrupt leaves no process and no file, and R goes on", {
  skip_on_os(c("windows", "mac"))
  place <- normalizePath(withr::local_tempdir())
  script <- file.path(place, "script.R")
  writeLines(c(
    "library(ullage)", "table <- as.data.frame(matrix(rnorm(1e5), ncol = 5)); table[seq(1, 2e4, 3), 2] <- NA",
    "started <- FALSE",
    "progress <- function(done, total) if (!started) { started <<- TRUE; tools::pskill(Sys.getpid(), tools::SIGINT) }",
    "name <- tryCatch(impute(table, burn_in = 1e6, jobs = 2, progress = progress), interrupt = function(e) 'interrupted')",
    "left <- length(list.files(tempdir(), '^ullage-'))",
    "rows <- nrow(complete(suppressWarnings(impute(table[1:50, ], m = 1, burn_in = 5, thin = 1)), 1))",
    "cat(name, left, rows)"
  ), script)
  # As a terminal would: R ignores an interrupt if it was started with it ignored.
  said <- processx::run(
    file.path(R.home("bin"), "Rscript"), script,
    env = c("current", TMPDIR = place, R_LIBS = paste(.libPaths(), collapse = ":")), timeout = 60, error_on_status = FALSE
  )
  expect_identical(said$stdout, "interrupted 0 50", info = said$stderr)
  for (wait in 1:100) if (length(processes_in(place)) > 0) Sys.sleep(0.1)
  expect_length(processes_in(place), 0)
})

test_that("a run takes its files with it", {
  directory <- local({
    imp <- quickly(airquality_censored())
    expect_true(dir.exists(imp$directory))
    imp$directory
  })
  invisible(gc())
  expect_false(dir.exists(directory))
})

test_that("a program that is not there is an error", {
  withr::local_options(ullage.program = "/nowhere/ullage")
  expect_error(quickly(airquality_censored()), "is not at \"/nowhere/ullage\"", class = "ullage_error")
})
