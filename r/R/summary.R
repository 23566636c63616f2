# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# What is to be said of a run, and its pictures.

#' What a run was, and whether its draws can be trusted
#'
#' `summary()` gives seed, settings, columns and warnings of a run; `diagnose()` judges every mean, variance and
#' correlation, the worst first; `report()` writes the report, one page of HTML.
#'
#' @param object,x What [impute()] gives.
#' @param file Where the report goes.
#' @param ... Of `diagnose()`, options of `ullage diagnose`; otherwise not used.
#' @return Of `diagnose()` a data frame with R-hat, effective sizes and errors of simulation, whose attribute `bad` says
#'   whether any is bad; of `report()` the path, invisibly.
#' @export
summary.ullage_run <- function(object, ...) {
  record <- object$record
  columns <- frame_of(lapply(record$columns, function(column) {
    column[c("name", "kind", "observed", "missing", "bounded", "transformation")]
  }))
  structure(class = "ullage_summary", list(
    rows = record$input$rows, seed = record$seed, settings = record$settings, columns = columns,
    carried = vapply(record$carried, `[[`, "", "name"), convergence = frame_of(record$convergence),
    derived = sub(" *= *", " = ", vapply(record$derived, `[[`, "", "derivation")),
    warnings = in_arguments(as.character(unlist(c(record$input$warnings, record$warnings))))
  ))
}

#' @export
print.ullage_summary <- function(x, ...) {
  settings <- x$settings
  cat(sprintf(
    "%d completed tables of %s rows, seed %s\n%d chains, %d iterations before the first imputation and %d to the next\n\n",
    settings$imputations, x$rows, x$seed, settings$chains, settings$burn_in, settings$thin
  ))
  print(x$columns, row.names = FALSE)
  if (length(x$carried) > 0) cat("\ncarried along:", paste(x$carried, collapse = ", "), "\n")
  if (length(x$derived) > 0) cat("\ncomputed:", paste0("  ", x$derived), "", sep = "\n")
  worst <- utils::head(x$convergence, 5)
  if (nrow(worst) > 0) {
    cat("\nconvergence, the worst first:\n")
    print(worst[intersect(c("level", "parameter", "rhat", "ess_bulk", "ess_tail"), names(worst))], digits = 4, row.names = FALSE)
  }
  for (warning in x$warnings) cat("\nwarning:", strwrap(warning, exdent = 2), sep = "\n")
  invisible(x)
}

#' @rdname summary.ullage_run
#' @export
diagnose <- function(x, ...) {
  said <- run_json(c("diagnose", directory_of(x), further(list(...))), warn = FALSE)
  structure(frame_of(said$parameters), bad = said$bad)
}

#' @rdname summary.ullage_run
#' @export
report <- function(x, file = "report.html") {
  path <- normalizePath(file, mustWork = FALSE)
  if (!startsWith(path, "/")) path <- file.path(getwd(), path)
  run_program(c("report", directory_of(x), "--quiet", paste0("--output=", path)), warn = FALSE)
  invisible(file)
}

#' Pictures of a run
#'
#' @param x What [impute()] gives.
#' @param type `"trace"` or `"autocorrelation"` of the chains, `"density"` of the observed and the imputed values of a
#'   column, `"patterns"` of cells that are hidden together.
#' @param which Names of parameters, their means if `NULL`; of `"density"` names of columns of numbers.
#' @param ... For [graphics::plot()].
#' @return `x`, invisibly.
#' @examples
#' imp <- suppressWarnings(impute(airquality[1:4], m = 10, seed = 1, jobs = 1))
#' plot(imp, "density", "Ozone")
#' @export
plot.ullage_run <- function(x, type = c("trace", "density", "autocorrelation", "patterns"), which = NULL, ...) {
  switch(match.arg(type),
    trace = plot_chains(parameters(x), which, plot_trace, ...),
    autocorrelation = plot_chains(parameters(x), which, plot_autocorrelation, ...),
    density = plot_densities(x, which, ...),
    patterns = plot_patterns(x, ...)
  )
  invisible(x)
}

# A picture for each of some names, in rows of at most two.
in_panels <- function(names, draw) {
  across <- min(2, length(names))
  old <- graphics::par(mfrow = c(ceiling(length(names) / across), across), mar = c(4, 4, 1.5, 1))
  on.exit(graphics::par(old))
  for (name in names) draw(name)
}

wanted_names <- function(which, known, default, what) {
  which <- if (is.null(which)) default else which
  unknown <- setdiff(which, known)
  if (length(unknown) > 0 || length(which) == 0) {
    few <- paste(utils::head(known, 10), collapse = ", ")
    abort(sprintf("there is no %s \"%s\"; there are %s", what, c(unknown, "")[[1]], few))
  }
  which
}

plot_chains <- function(draws, which, draw, ...) {
  known <- setdiff(names(draws), c(".chain", ".iteration", ".level"))
  which <- wanted_names(which, known, utils::head(grep("^mean\\(", known, value = TRUE), 8), "parameter")
  chains <- interaction(draws[intersect(c(".level", ".chain"), names(draws))], drop = TRUE)
  in_panels(which, function(name) draw(split(draws[[name]], chains), name, ...))
}

plot_trace <- function(chains, name, ...) {
  graphics::matplot(do.call(cbind, chains), type = "l", lty = 1, xlab = "iteration", ylab = name, ...)
}

plot_autocorrelation <- function(chains, name, lags = 50, ...) {
  lags <- min(lags, length(chains[[1]]) - 1)
  values <- vapply(chains, function(chain) stats::acf(chain, lag.max = lags, plot = FALSE)$acf[, 1, 1], double(lags + 1))
  graphics::matplot(0:lags, values, type = "l", lty = 1, xlab = "lag", ylab = "autocorrelation", main = name, ...)
}

plot_densities <- function(x, which, ...) {
  of_numbers <- Filter(function(column) length(column$words) == 0 && length(column$hidden) > 0, x$columns)
  which <- wanted_names(which, names(of_numbers), names(of_numbers), "column of numbers with hidden cells")
  in_panels(which, function(name) {
    column <- of_numbers[[name]]
    observed <- column$original[!is.na(column$original)]
    densities <- lapply(c(if (length(observed) > 1) list(observed), asplit(column$imputed, 2)), function(values) {
      if (length(values) > 1) stats::density(as.double(values))
    })
    densities <- Filter(Negate(is.null), densities)
    colours <- c(if (length(observed) > 1) "black", rep(grDevices::adjustcolor("red", 0.4), length(densities)))
    graphics::plot(
      range(lapply(densities, `[[`, "x")), range(0, lapply(densities, `[[`, "y")),
      type = "n", xlab = name, ylab = "density", ...
    )
    for (place in rev(seq_along(densities))) graphics::lines(densities[[place]], col = colours[[place]])
    graphics::legend("topright", c("observed", "imputed"), col = c("black", "red"), lty = 1, bty = "n")
  })
}

plot_patterns <- function(x, ...) {
  hidden <- vapply(x$columns, function(column) seq_len(x$record$input$rows) %in% column$hidden, logical(x$record$input$rows))
  hidden <- matrix(hidden, ncol = length(x$columns))
  keys <- apply(hidden + 0, 1, paste, collapse = "")
  counts <- sort(table(keys))
  shown <- hidden[match(names(counts), keys), , drop = FALSE]
  old <- graphics::par(mar = c(6, 4, 1.5, 1))
  on.exit(graphics::par(old))
  graphics::image(
    seq_len(ncol(shown)), seq_len(nrow(shown)), t(shown) + 0,
    col = c("grey90", "red"), zlim = c(0, 1), axes = FALSE, xlab = "", ylab = "rows", ...
  )
  graphics::axis(1, seq_len(ncol(shown)), names(x$columns), las = 2)
  graphics::axis(2, seq_len(nrow(shown)), as.integer(counts), las = 1)
}
