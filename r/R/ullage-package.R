# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
#' Multiple imputation of cells that are missing, censored, in an interval, or known by their order
#'
#' [impute()] draws the hidden cells of a table, [complete()] gives the completed tables, and [with()][with.ullage_run]
#' and [pool()] an answer of all of them. [check_table()] shows what a table says before anything is drawn.
#'
#' The drawing is done by the program `ullage` in processes of its own, so the same seed gives the same numbers in both,
#' and an interrupt ends it and leaves R as it was. The option `ullage.program`, or the environment variable
#' `ULLAGE_PROGRAM`, names another program than the one that the package was installed with.
#'
#' @keywords internal
#' @useDynLib ullage, .registration = TRUE
"_PACKAGE"
