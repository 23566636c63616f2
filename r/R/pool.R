# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# One answer of all completed tables, by Rubin's rules.

# Pooled rows as the program gives them, under the names of the package broom.
pooled_frame <- function(rows) {
  if (length(rows) == 0) {
    return(data.frame(term = character(), estimate = double()))
  }
  frame <- frame_of(rows)
  theirs <- c("name", "standard_error", "p", "lower", "upper")
  ours <- c("term", "std.error", "p.value", "conf.low", "conf.high")
  names(frame)[match(theirs, names(frame))] <- ours
  frame$df[is.na(frame$df)] <- Inf
  first <- c("level", "term", "estimate", "std.error", "statistic", "df", "p.value", "conf.low", "conf.high")
  frame <- frame[c(first, setdiff(names(frame), first))]
  if (all(frame$level == "")) frame$level <- NULL
  numbers <- setdiff(names(frame), c("level", "term"))
  frame[numbers] <- lapply(frame[numbers], as.double)
  frame
}

new_pooled <- function(frame, imputations, confidence, ...) {
  structure(frame, class = c("ullage_pooled", "data.frame"), imputations = imputations, confidence = confidence, ...)
}

#' Fit something to each completed table
#'
#' @param data What [impute()] gives.
#' @param expr An expression of the columns, such as `lm(lead ~ zinc)`.
#' @param ... Not used.
#'
#' @return The fits, for [pool()] or `mice::pool()`; `$analyses` is the list of them.
#' @export
with.ullage_run <- function(data, expr, ...) {
  call <- match.call()
  expr <- substitute(expr)
  caller <- parent.frame()
  fits <- lapply(seq_len(imputations(data)), function(imputation) eval(expr, completed(data, imputation), caller))
  hidden <- vapply(data$columns, function(column) length(column$hidden), 1L)
  structure(class = c("ullage_fits", "mira"), list(call = call, call1 = data$call, nmis = hidden, analyses = fits))
}

#' @export
print.ullage_fits <- function(x, ...) {
  cat(sprintf("<ullage_fits> %d fits of %s; pool() makes one answer of them\n", length(x$analyses), deparse1(x$call$expr)))
  invisible(x)
}

#' Pool by Rubin's rules
#'
#' Of a run, the means of its columns, of columns of words the shares of the words, or what `...` asks for. Of
#' fits to the completed tables, their coefficients.
#'
#' @param object What [impute()] gives, or `with(imp, ...)`, or a list of fits.
#' @param confidence Of the intervals.
#' @param df Complete-data degrees of freedom; those of the fits ([stats::df.residual()]) if `NULL`, infinite if they
#'   have none.
#' @param ... Of a run, options of `ullage pool`, with underscores: `variances = TRUE`, `correlations = TRUE`,
#'   `quantiles = "0.25,0.5"`; `lm = "lead ~ zinc"`, `logit`, `poisson` with `robust = TRUE`, `cluster = "site"`,
#'   `delta = "lead=0,0.5"`. Otherwise what `mice::pool()` takes, to which this generic leaves all other objects.
#'
#' @return A data frame of class `ullage_pooled` with a row per quantity: `term`, `estimate`, `std.error`, `statistic`,
#'   `df`, `p.value`, `conf.low`, `conf.high`, `fmi` and more. [tidy()] gives it as a plain one. Joint tests of
#'   regressions by the program are in the attribute `fits`.
#' @examples
#' imp <- suppressWarnings(impute(airquality[1:4], m = 10, seed = 1, jobs = 1))
#' pool(imp)
#' pool(with(imp, lm(Ozone ~ Wind)))
#' @export
pool <- function(object, ...) UseMethod("pool")

#' @rdname pool
#' @export
pool.default <- function(object, ...) {
  if (!requireNamespace("mice", quietly = TRUE)) {
    abort(sprintf("pool() has no method for %s", paste(class(object), collapse = "/")))
  }
  mice::pool(object, ...)
}

#' @rdname pool
#' @export
pool.ullage_run <- function(object, confidence = 0.95, ...) {
  said <- run_json(c("pool", directory_of(object), counted(confidence = confidence), further(list(...))), warn = FALSE)
  rows <- c(said$quantities, unlist(lapply(said$regressions, `[[`, "coefficients"), recursive = FALSE))
  fits <- lapply(said$regressions, function(fit) fit[names(fit) != "coefficients"])
  new_pooled(pooled_frame(rows), imputations(object), confidence, fits = fits)
}

#' @rdname pool
#' @export
pool.ullage_fits <- function(object, confidence = 0.95, df = NULL, ...) {
  terms <- lapply(object$analyses, terms_of)
  lines <- unlist(lapply(terms, function(one) {
    sprintf("\"%s\",%s,%s", gsub("\"", "\"\"", one$term), number_text(one$estimate), number_text(one$std.error))
  }))
  if (is.null(df)) df <- complete_df(object$analyses)
  said <- run_json(
    c("pool", "--estimates=-", counted(confidence = confidence), if (is.finite(df)) paste0("--df=", number_text(df))),
    input = c("term,estimate,std.error", lines), warn = FALSE
  )
  new_pooled(pooled_frame(said$quantities), length(terms), confidence)
}

#' @rdname pool
#' @export
pool.list <- function(object, confidence = 0.95, df = NULL, ...) {
  pool.ullage_fits(list(analyses = object), confidence, df)
}

# Estimates of a fit with their standard errors.
terms_of <- function(fit) {
  estimates <- tryCatch(stats::coef(fit), error = function(error) NULL)
  variances <- tryCatch(diag(as.matrix(stats::vcov(fit))), error = function(error) NULL)
  if (is.numeric(estimates) && is.null(dim(estimates)) && length(estimates) == length(variances)) {
    names <- if (is.null(names(estimates))) paste0("estimate", seq_along(estimates)) else names(estimates)
    terms <- data.frame(term = names, estimate = unname(estimates), std.error = sqrt(unname(variances)))
  } else {
    terms <- tryCatch(as.data.frame(generics::tidy(fit)), error = function(error) NULL)
    if (!all(c("term", "estimate", "std.error") %in% names(terms))) {
      abort(sprintf("a fit of class %s has neither coef() with vcov() nor tidy()", paste(class(fit), collapse = "/")))
    }
    terms <- terms[!is.na(terms$std.error), ] # random effects have none
  }
  wrong <- !is.finite(terms$estimate) | !is.finite(terms$std.error)
  if (any(wrong)) {
    abort(sprintf("the coefficient \"%s\" of a fit has no estimate or no standard error", terms$term[wrong][[1]]))
  }
  terms
}

# The smallest residual degrees of freedom of the fits.
complete_df <- function(fits) {
  df <- unlist(lapply(fits, function(fit) tryCatch(stats::df.residual(fit), error = function(error) NULL)))
  if (is.numeric(df) && !anyNA(df)) min(df) else Inf
}

#' @export
print.ullage_pooled <- function(x, digits = 4, ...) {
  cat(sprintf(
    "%d imputations, intervals of %s%%\n", attr(x, "imputations"), format(100 * attr(x, "confidence"), digits = 4)
  ))
  shown <- intersect(c("level", "term", "estimate", "std.error", "conf.low", "conf.high", "df", "p.value", "fmi"), names(x))
  frame <- as.data.frame(tidy.ullage_pooled(x))[shown]
  if (nrow(frame) > 0) {
    frame$p.value <- format.pval(frame$p.value, digits = 2, eps = 1e-4)
    frame$df <- ifelse(frame$df > 10000, ">10000", format(round(frame$df, 1), nsmall = 1))
    frame$fmi <- format(round(frame$fmi, 3), nsmall = 3)
  }
  print(frame, digits = digits, row.names = FALSE)
  invisible(x)
}

#' @importFrom generics tidy
#' @export
generics::tidy

#' @importFrom generics glance
#' @export
generics::glance

#' Pooled answers as plain data frames
#'
#' @param x What [pool()] gives.
#' @param ... Not used.
#' @return Of `tidy()` a data frame (a tibble where the package tibble is installed) with a row per quantity, of
#'   `glance()` one of a row: `imputations`, `nobs`, the rows of a regression by the program.
#' @export
tidy.ullage_pooled <- function(x, ...) {
  plain <- data.frame(unclass(x), check.names = FALSE)
  attributes(plain) <- attributes(plain)[c("names", "class", "row.names")]
  if (requireNamespace("tibble", quietly = TRUE)) tibble::as_tibble(plain) else plain
}

#' @rdname tidy.ullage_pooled
#' @export
glance.ullage_pooled <- function(x, ...) {
  rows <- unlist(lapply(attr(x, "fits"), `[[`, "rows"))
  data.frame(imputations = attr(x, "imputations"), nobs = if (is.null(rows)) NA_integer_ else min(rows))
}
