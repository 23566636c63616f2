# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Tables and columns of all kinds, in and out.

# A table with a number that is always there, one with hidden cells, and further columns.
with_numbers <- function(..., n = 40) {
  numbers <- withr::with_seed(2, matrix(rnorm(2 * n), n))
  table <- data.frame(x = numbers[, 1], y = numbers[, 1] + numbers[, 2], ..., check.names = FALSE)
  table$y[1:8] <- NA
  table
}

test_that("the class of the table stays", {
  skip_if_not_installed("tibble")
  skip_if_not_installed("data.table")
  tibble <- tibble::as_tibble(with_numbers())
  expect_s3_class(complete(quickly(tibble), 1), "tbl_df")
  expect_identical(dim(complete(quickly(tibble), "long")), c(160L, 4L))
  keyed <- data.table::as.data.table(with_numbers())
  data.table::setkeyv(keyed, "y")
  completed <- complete(quickly(keyed), 1)
  expect_s3_class(completed, "data.table")
  expect_null(data.table::key(completed))
  expect_silent(data.table::set(completed, j = "z", value = 1))
  expect_identical(data.table::key(keyed), "y")
  expect_true(anyNA(keyed$y))
})

test_that("names and words of any kind go down and come back", {
  latin <- "gr\xf6\xdfe"
  Encoding(latin) <- "latin1"
  names <- c("a, b \"c\" 'd' <e", latin, " blank ")
  table <- with_numbers(third = factor(rep(c("a, b", "c \"q\"", "<5", "1..2"), 10)))
  table$third[3:6] <- NA
  names(table) <- names
  completed <- complete(quickly(table, lower = c("a, b \"c\" 'd' <e" = -10)), 2)
  expect_identical(names(completed), names)
  expect_false(anyNA(completed))
  expect_identical(completed[[3]][-(3:6)], table[[3]][-(3:6)])
  ages <- with_numbers(age = factor(rep(c("<18", "18-65", ">65", "x"), 10), c("<18", "18-65", ">65", "x", "never"), ordered = TRUE))
  ages$age[3:6] <- NA
  completed <- complete(quickly(ages), 2)$age
  expect_identical(completed[-(3:6)], ages$age[-(3:6)])
  expect_identical(attributes(completed), attributes(ages$age))
  expect_identical(check_table(ages)$kinds$kind, c("number", "number", "ordered"))
})

test_that("the same holds where the locale is not UTF-8", {
  table <- with_numbers(third = rep(c("\u00e4", "b"), 20))
  table$third[3:6] <- NA
  names(table)[[3]] <- "gr\u00f6\u00dfe"
  expected <- complete(quickly(table, binary = "gr\u00f6\u00dfe"), 1)
  withr::local_locale(LC_CTYPE = "C")
  expect_true(identical(complete(quickly(table, binary = "gr\u00f6\u00dfe"), 1), expected))
})

test_that("censored times are bounds", {
  skip_if_not_installed("survival")
  time <- exp(with_numbers()$x + 3)
  event <- rep(c(1, 0), 20)
  both <- survival::Surv(c(NA, 1, 2, 3, 5), c(4, 1, NA, 5, 5), type = "interval2")[rep(1:5, 8)]
  table <- with_numbers()
  table$right <- survival::Surv(time, event)
  earlier <- withr::with_seed(6, exp(rnorm(40) + 3))
  table$left <- survival::Surv(earlier, event, type = "left")
  table$both <- both
  table$right[7] <- NA
  expect_identical(check_table(table)$columns[3:5, 2:6], data.frame(
    observed = c(19L, 20L, 16L), missing = c(1L, 0L, 0L), below = c(0L, 20L, 8L), above = c(20L, 0L, 8L), interval = c(0L, 0L, 8L)
  ), ignore_attr = TRUE)
  completed <- complete(quickly(table), 1)
  seen <- event == 1 & seq_len(40) != 7
  expect_equal(completed$right[seen], time[seen])
  expect_true(all(completed$right[event == 0] > time[event == 0]) && all(completed$left[event == 0] < earlier[event == 0]))
  expect_true(all(completed$both[seq(1, 40, 5)] < 4) && all(completed$both[seq(3, 40, 5)] > 2))
  expect_true(all(findInterval(completed$both[seq(4, 40, 5)], c(3, 5)) == 1))
  expect_equal(completed$both[seq(5, 40, 5)], rep(5, 8))
  table$right <- survival::Surv(time, time + 1, event)
  expect_error(quickly(table), "type \"counting\"", class = "ullage_error")
})

test_that("labelled columns are words where all values have labels, and else numbers", {
  skip_if_not_installed("haven")
  answers <- haven::labelled(rep(c(1, 2, 3, NA), 10), c(no = 1, yes = 2, maybe = 3), label = "asked")
  dose <- haven::labelled_spss(c(1:38 / 2, -9, NA), c(refused = -9), na_values = -9)
  table <- with_numbers()
  table$answers <- answers
  table$dose <- dose
  expect_identical(check_table(table)$kinds$kind[3:4], c("nominal", "number"))
  completed <- complete(quickly(table), 1)
  expect_identical(attributes(completed$answers), attributes(answers))
  expect_true(all(unclass(completed$answers) %in% 1:3))
  expect_identical(attributes(completed$dose), attributes(dose))
  expect_false(any(is.na(completed$dose)))
})

test_that("numbers under other classes stay what they are, and others are carried along", {
  table <- with_numbers()
  table$wait <- as.difftime(withr::with_seed(3, rnorm(40, 10)), units = "hours")
  table$wait[3:5] <- NA
  table$own <- I(withr::with_seed(4, rnorm(40)))
  table$own[6] <- NA
  table$time <- as.POSIXct("2026-03-29 00:30", tz = "Europe/Berlin") + 1800 * (1:40)
  table$local <- as.POSIXlt(table$time)
  table$matrix <- matrix(1:80, 40)
  table$complex <- complex(40, 1, 2)
  table$none <- as.Date(NA)
  table$empty <- NA
  table$many <- factor(1:40)
  table$many[2] <- NA
  completed <- complete(quickly(table), 2)
  expect_identical(completed[5:11], table[5:11])
  expect_identical(attributes(completed$wait), attributes(table$wait))
  expect_false(anyNA(completed$wait) || anyNA(completed$own))
  skip_if_not_installed("bit64")
  table <- with_numbers(big = bit64::as.integer64(1:40))
  expect_identical(complete(quickly(table), 1)$big, table$big)
})

test_that("factors keep their levels and what else they have", {
  table <- with_numbers(plain = factor(rep(c("a", "b", "c"), length.out = 40), c("never", "c", "b", "a")))
  table$plain[3:5] <- NA
  table$order <- factor(table$plain, ordered = TRUE)
  table$sums <- table$plain
  contrasts(table$sums) <- stats::contr.sum(4)
  table$added <- addNA(table$plain)
  table$one <- factor(rep(c("a", NA), 20))
  table$none <- factor(NA)
  completed <- complete(quickly(table), 1)
  expect_identical(lapply(completed, attributes), lapply(table, attributes))
  expect_identical(colSums(is.na(completed[-(1:2)])), c(plain = 0, order = 0, sums = 0, added = 0, one = 20, none = 40))
  expect_true(all(completed$added %in% c("a", "b", "c")))
})

test_that("whole numbers stay whole where their kind says so", {
  table <- with_numbers()
  for (name in c("free", "step", "order", "words", "switch")) {
    table[[name]] <- as.integer(withr::with_seed(9, if (name %in% c("words", "switch")) rbinom(40, 1, 0.5) else rpois(40, 5)))
    table[[name]][3:6] <- NA
  }
  table$words <- table$words + 2L * rep(0:1, 20)
  completed <- complete(quickly(table, step = c(step = 1), ordered = "order", nominal = "words"), 1)
  expect_false(anyNA(completed))
  expect_identical(vapply(completed[3:7], typeof, ""), c(
    free = "double", step = "integer", order = "integer", words = "integer", switch = "integer"
  ))
  expect_true(all(completed$order %in% table$order & completed$words %in% 0:3))
})

test_that("columns without a cell are carried along, and attributes stay", {
  table <- with_numbers()
  for (type in c("logical", "integer", "double", "character")) table[[type]] <- as(rep(NA, 40), type)
  comment(table) <- "of the table"
  comment(table$y) <- "of the column"
  attr(table$y, "label") <- "why"
  attr(table, "source") <- list("by hand")
  completed <- complete(quickly(table), 1)
  expect_identical(attributes(completed), attributes(table))
  expect_identical(attributes(completed$y), attributes(table$y))
  expect_identical(completed[-2], table[-2])
})

test_that("tables of dplyr are grouped by their new cells", {
  skip_if_not_installed("dplyr")
  table <- dplyr::group_by(tibble::as_tibble(with_numbers(g = rep(c("a", "b", NA, "a"), 10))), g)
  completed <- complete(quickly(table), 1)
  expect_identical(dplyr::group_data(completed)$g, c("a", "b"))
  expect_identical(dplyr::count(complete(quickly(table), "long"))$n |> sum(), 160L)
})

test_that("the kinds of missing that haven knows stay until they are filled", {
  skip_if_not_installed("haven")
  tagged <- c(haven::tagged_na("a"), haven::tagged_na("b"), NA)
  table <- with_numbers()
  table$answer <- haven::labelled(c(tagged, rep(1:3, length.out = 37)), c(no = 1, yes = 2, maybe = 3, refused = tagged[[1]]))
  table$dose <- haven::labelled(c(tagged, withr::with_seed(7, rnorm(37))), c(refused = tagged[[1]]), label = "in mg")
  table$text <- haven::labelled(rep(c("a", "b", "c", NA), 10), c(A = "a", B = "b", C = "c"))
  expect_identical(check_table(table)$kinds$kind[3:5], c("nominal", "number", "nominal"))
  imp <- quickly(table)
  expect_identical(haven::na_tag(complete(imp, 0)$answer[1:3]), c("a", "b", NA))
  expect_identical(haven::na_tag(complete(imp, 0)$dose[1:3]), c("a", "b", NA))
  completed <- complete(imp, 1)
  expect_identical(lapply(completed, attributes), lapply(table, attributes))
  expect_false(anyNA(completed))
})

test_that("what cannot be is an error that says where", {
  table <- with_numbers()
  wrong <- list(
    "no rows" = function() quickly(table[0, ]),
    "no columns" = function() quickly(data.frame()),
    "is a data frame, not matrix/array" = function() quickly(as.matrix(table)),
    "two columns have the name \"a\"" = function() quickly(setNames(table, c("a", " a"))),
    "column 2 has no name" = function() quickly(setNames(table, c("a", NA))),
    "row 3, column \"x\", \"inf\"" = function() quickly(transform(table, x = replace(x, 3, Inf))),
    "level \"NA\" would be read as a missing cell" = function() quickly(data.frame(table, f = factor(rep(c("NA", "b"), 20)))),
    "level \"a\" is there twice" = function() quickly(data.frame(table, f = factor(rep(c("a", "a "), 20)))),
    "row 2, column \"f\": text that is not valid" = function() quickly(data.frame(table, f = rep(c("a", "b\xff"), 20))),
    "lower has no names" = function() quickly(table, lower = 1),
    "column \"l\" is of the class list" = function() quickly(data.frame(table, l = I(as.list(1:40))), nominal = "l"),
    "column \"m\" is of the class matrix" = function() quickly(data.frame(table, m = I(diag(40))), log = "m"),
    "column \"d\" holds dates" = function() quickly(data.frame(table, d = Sys.Date()), number = "d"),
    "decimal is" = function() quickly(table, decimal = ";"),
    "has 3 bounds, but the table has 40 rows" = function() quickly(table, lower = list(y = 1:3)),
    "no such column" = function() quickly(table, upper = list(zz = 1:40)),
    "with a bound per cell are for columns of numbers" = function() quickly(data.frame(table, f = "a"), upper = list(f = 1:40)),
    "\"zz\" is no column" = function() quickly(table, log = "zz"),
    "not expected: `nonsense`$" = function() quickly(table, nonsense = TRUE),
    "m is one whole number|imputations" = function() quickly(table, m = 1:2),
    "columns \"x\", \"y\": x is .*, and must be below y" = function() quickly(table, order = "x<y")
  )
  for (message in names(wrong)) expect_error(wrong[[!!message]](), message, class = "ullage_error")
  expect_identical(nrow(check_table(table, order = "x<y")$problems) > 3, TRUE)
  expect_output(print(check_table(table, order = "x<y")), "must be below y")
})
