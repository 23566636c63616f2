# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# A run for other packages.

#' A run for other packages
#'
#' @description
#' - `as.mids()`: for mice, with the hidden cells in `where`, those of bounds as well.
#' - `as.mitml.list()`, `mitools::imputationList()`: the completed tables for mitml and mitools.
#' - [posterior::as_draws()] and its kin: the draws of the parameters.
#' - `parameters()`: these as a data frame.
#'
#' @details
#' mice has no place for columns of lists and of matrices; `as.mids()` leaves them out with a warning. R's generator is left as it was.
#'
#' @param x What [impute()] gives. `as.mids()` and `as.mitml.list()` leave other objects to the functions of their names
#'   in mice and mitml.
#' @param ... For these functions.
#' @return An object of the package's class; of `parameters()` a data frame with `.chain`, `.iteration`, with groups
#'   `.level`, and a column per parameter.
#' @name convert
NULL

#' @rdname convert
#' @export
as.mids <- function(x, ...) UseMethod("as.mids")

#' @export
as.mids.default <- function(x, ...) mice::as.mids(x, ...)

#' @export
as.mids.ullage_run <- function(x, ...) {
  plain <- vapply(x$data, function(column) is.atomic(column) && is.null(dim(column)) || inherits(column, "Surv"), NA)
  if (!all(plain)) {
    warn(sprintf("mice has no place for the columns %s", paste(names(x$data)[!plain], collapse = ", ")))
  }
  tables <- lapply(complete(x, "all", include = TRUE), function(table) {
    table <- as.data.frame(table)
    table[c(which(plain), seq_along(table)[-seq_along(plain)])]
  })
  where <- is.na(tables[[1]])
  made <- keeping_random_state(mice::mice(
    tables[[1]],
    m = imputations(x), where = where, maxit = 0, remove.collinear = FALSE, allow.na = TRUE
  ))
  for (name in names(made$imp)) {
    for (imputation in seq_len(imputations(x))) {
      made$imp[[name]][[imputation]] <- tables[[imputation + 1]][[name]][where[, name]]
    }
  }
  made
}

#' @rdname convert
#' @export
as.mitml.list <- function(x, ...) UseMethod("as.mitml.list")

#' @export
as.mitml.list.default <- function(x, ...) mitml::as.mitml.list(x, ...)

#' @export
as.mitml.list.ullage_run <- function(x, ...) mitml::as.mitml.list(unname(complete(x, "all")))

#' @rawNamespace S3method(mitools::imputationList, ullage_run)
imputationList.ullage_run <- function(datasets, ...) mitools::imputationList(unname(complete(datasets, "all")), ...)

# Whether the run has groups.
has_levels <- function(run) !is.null(run$record$by) || length(run$record$levels) > 1

#' @rdname convert
#' @export
parameters <- function(x) {
  drawn <- read_parameters_(directory_of(x))
  levels <- vapply(x$record$levels, `[[`, "", "name")
  frames <- lapply(seq_along(levels), function(level) {
    columns <- drawn$draws[[level]]
    names(columns) <- drawn$names
    places <- expand.grid(.iteration = seq_len(drawn$iterations), .chain = seq_len(drawn$chains))
    if (has_levels(x)) places$.level <- levels[[level]]
    data.frame(places[intersect(c(".chain", ".iteration", ".level"), names(places))], columns, check.names = FALSE)
  })
  do.call(rbind, frames)
}

#' @rawNamespace S3method(posterior::as_draws, ullage_run)
as_draws.ullage_run <- function(x, ...) {
  drawn <- read_parameters_(directory_of(x))
  names <- drawn$names
  if (has_levels(x)) {
    names <- unlist(lapply(x$record$levels, function(level) sprintf("%s[%s]", drawn$names, level$name)))
  }
  values <- unlist(drawn$draws, use.names = FALSE)
  posterior::as_draws_array(array(
    values, c(drawn$iterations, drawn$chains, length(names)), list(iteration = NULL, chain = NULL, variable = names)
  ))
}
