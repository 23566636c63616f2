# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
#
# The workloads of the benchmarks by packages of R, each in its natural fast way. Prints one line a result:
# workload, peer, unit, median, repetitions. Called by peers.py.

set.seed(1)
correlation <- 0.6
most_seconds <- 20  # a peer that needs longer for its repetitions gets fewer

report <- function(workload, peer, unit, seconds, scale = 1) {
    factor <- if (unit == "ns") 1e9 else 1e3
    cat(sprintf("%s,%s,%s,%.6g,%d\n", workload, peer, unit, median(seconds) * factor * scale, length(seconds)))
}

processor_time <- function(expression) sum(system.time(expression, gcFirst = FALSE)[c("user.self", "sys.self")])

# R's clock ticks in milliseconds, so short work is done many times over in each repetition.
repeated <- function(run, most = 7) {
    times_over <- max(1, ceiling(0.2 / max(processor_time(run()), 0.001)))
    seconds <- numeric(0)
    while (length(seconds) < most && sum(seconds) * times_over < most_seconds) {
        seconds <- c(seconds, processor_time(for (i in seq_len(times_over)) run()) / times_over)
    }
    seconds
}

with_package <- function(package, run) {
    if (requireNamespace(package, quietly = TRUE)) return(invisible(run()))
    cat(sprintf("skipped: %s is not installed (Debian: r-cran-%s)\n", package, tolower(package)))
}

covariance <- function(variables) correlation^abs(outer(seq_len(variables), seq_len(variables), "-"))

numbers <- function(cases, variables) matrix(rnorm(cases * variables), cases) %*% chol(covariance(variables))

with_holes <- function(x, patterns = NULL) {
    holes <- if (is.null(patterns)) {
        matrix(runif(length(x)) < 0.3, nrow(x))
    } else {
        drawn <- matrix(runif(patterns * ncol(x)) < 0.3, patterns)
        drawn[sample(patterns, nrow(x), replace = TRUE), ]
    }
    x[holes] <- NA
    x
}

# One exact joint draw of all missing cells: the cases grouped by pattern, one regression and one root for each pattern.
draw_by_pattern <- function(x, sigma, rmvn) {
    holes <- is.na(x)
    keys <- apply(holes, 1, function(row) paste(which(row), collapse = " "))
    for (rows in split(seq_len(nrow(x)), keys)) {
        missing <- which(holes[rows[1], ])
        if (length(missing) == 0) next
        observed <- setdiff(seq_len(ncol(x)), missing)
        if (length(observed) == 0) {
            mean <- matrix(0, length(rows), length(missing))
            conditional <- sigma
        } else {
            weights <- chol2inv(chol(sigma[observed, observed, drop = FALSE])) %*%
                sigma[observed, missing, drop = FALSE]
            mean <- x[rows, observed, drop = FALSE] %*% weights
            conditional <- sigma[missing, missing, drop = FALSE] - sigma[missing, observed, drop = FALSE] %*% weights
        }
        x[rows, missing] <- mean + rmvn(length(rows), conditional)
    }
    x
}

# One Gibbs pass with the loop over variables outside: the unobserved cells of a column are drawn in one call.
pass_by_variable <- function(x, lower, upper, open, sigma, draw) {
    precision <- solve(sigma)
    for (j in seq_len(ncol(x))) {
        rows <- which(open[, j])
        if (length(rows) == 0) next
        mean <- drop(x[rows, -j, drop = FALSE] %*% (-precision[-j, j] / precision[j, j]))
        x[rows, j] <- draw(length(rows), lower(x, j, rows), upper(x, j, rows), mean, sqrt(1 / precision[j, j]))
    }
    x
}

missing_at_random <- function(workload, cases, variables, patterns = NULL) {
    full <- numbers(cases, variables)
    x <- with_holes(full, patterns)
    sigma <- covariance(variables)
    with_package("mvnfast", function() {
        report(workload, "R by pattern with mvnfast", "ms", repeated(function() {
            draw_by_pattern(x, sigma, function(n, s) mvnfast::rmvn(n, rep(0, ncol(s)), s))
        }))
    })
    open <- is.na(x)
    report(workload, "R by variable with rnorm", "ms", repeated(function() {
        pass_by_variable(full, function(...) -Inf, function(...) Inf, open, sigma,
                         function(n, a, b, mean, sd) rnorm(n, mean, sd))
    }))
    x
}

# Packages that draw their parameters as well, iteration by iteration.
iterations <- function(workload, x) {
    frame <- as.data.frame(x)
    with_package("mice", function() {
        report(workload, "mice: one iteration (norm)", "ms", repeated(function() {
            mice::mice(frame, m = 1, maxit = 1, method = "norm", printFlag = FALSE)
        }, 3))
    })
    with_package("jomo", function() {
        # Its start costs far more than its iterations, so the cases are few and the iterations many.
        some <- frame[seq_len(nrow(frame) / 50), ]
        time_of <- function(count) processor_time(utils::capture.output(
            jomo::jomo1con(some, nburn = count, nbetween = 1, nimp = 2, output = 0)))
        time_of(1)
        report(workload, "jomo: one iteration (a 50th of the cases; times 50)", "ms", scale = 50,
               (time_of(1001) - time_of(1)) / 1000)
    })
    with_package("Amelia", function() {
        report(workload, "Amelia: one whole imputation", "ms", repeated(function() {
            Amelia::amelia(frame, m = 1, p2s = 0, boot.type = "none")
        }, 3))
    })
}

censored <- function() {
    cases <- 10000
    limit <- -0.674
    x <- numbers(cases, 6)
    sigma <- covariance(6)
    lower <- matrix(-Inf, cases, 6)
    upper <- matrix(Inf, cases, 6)
    missing <- matrix(runif(length(x)) < 0.1, cases)
    open <- missing
    for (j in 1:2) {
        below <- x[, j] < limit & !missing[, j]
        upper[below, j] <- limit
        open[below, j] <- TRUE
    }
    known_by_interval <- runif(cases) < 0.25 & !missing[, 3]
    lower[known_by_interval, 3] <- floor(2 * x[known_by_interval, 3]) / 2
    upper[known_by_interval, 3] <- lower[known_by_interval, 3] + 0.5
    open[known_by_interval, 3] <- TRUE
    bound <- function(ends) function(x, j, rows) ends[rows, j]
    with_package("truncnorm", function() {
        report("W2", "R by variable with truncnorm", "ms", repeated(function() {
            pass_by_variable(x, bound(lower), bound(upper), open, sigma,
                             function(n, a, b, mean, sd) truncnorm::rtruncnorm(n, a, b, mean, sd))
        }))
    })
    with_package("msm", function() {
        report("W2", "R by variable with msm", "ms", repeated(function() {
            pass_by_variable(x, bound(lower), bound(upper), open, sigma,
                             function(n, a, b, mean, sd) msm::rtnorm(n, mean, sd, a, b))
        }))
    })
    with_package("tmvtnorm", function() {
        some <- which(rowSums(open) > 1)[1:200]
        share <- sum(rowSums(open) > 0) / length(some)
        report("W2", "tmvtnorm (case by case)", "ms", scale = share, repeated(function() {
            for (row in some) {
                u <- which(open[row, ])
                o <- which(!open[row, ])
                weights <- if (length(o) > 0) solve(sigma[o, o], sigma[o, u, drop = FALSE]) else matrix(0, 0, length(u))
                tmvtnorm::rtmvnorm(1, mean = drop(x[row, o] %*% weights),
                                   sigma = sigma[u, u, drop = FALSE] - sigma[u, o, drop = FALSE] %*% weights,
                                   lower = lower[row, u], upper = upper[row, u], algorithm = "gibbs",
                                   start.value = x[row, u])
            }
        }, 3))
    })
}

ordered <- function() {
    cases <- 2000
    x <- numbers(cases, 5)
    x[, 1:3] <- t(apply(x[, 1:3], 1, sort))
    open <- matrix(FALSE, cases, 5)
    open[seq(1, cases, 2), 1:3] <- TRUE
    lower <- function(x, j, rows) if (j == 1) -Inf else x[rows, j - 1]
    upper <- function(x, j, rows) if (j == 3) Inf else x[rows, j + 1]
    with_package("truncnorm", function() {
        report("W3", "R by variable with truncnorm", "ms", repeated(function() {
            pass_by_variable(x, lower, upper, open, covariance(5),
                             function(n, a, b, mean, sd) truncnorm::rtruncnorm(n, a, b, mean, sd))
        }))
    })
    with_package("msm", function() {
        report("W3", "R by variable with msm", "ms", repeated(function() {
            pass_by_variable(x, lower, upper, open, covariance(5),
                             function(n, a, b, mean, sd) msm::rtnorm(n, mean, sd, a, b))
        }))
    })
}

draws <- function() {
    n <- 200000
    kind <- sample(4, n, replace = TRUE)
    low <- ifelse(kind == 1, -Inf, ifelse(kind == 2, runif(n, -2, 0), ifelse(kind == 3, runif(n, -3, 3), runif(n, 1, 6))))
    high <- ifelse(kind == 1, runif(n, -2, 0.5),
                   ifelse(kind == 2, runif(n, 0.2, 2), ifelse(kind == 3, low + runif(n, 0.02, 0.2), Inf)))
    regions <- list(W4limit = list(rep(-Inf, n), rep(-0.5, n)), W4central = list(rep(-1, n), rep(1.5, n)),
                    W4narrow = list(rep(2, n), rep(2.1, n)), W4tail = list(rep(4, n), rep(Inf, n)),
                    W4mixed = list(low, high))
    for (region in names(regions)) {
        a <- regions[[region]][[1]]
        b <- regions[[region]][[2]]
        with_package("truncnorm", function() {
            report(region, "truncnorm", "ns", repeated(function() truncnorm::rtruncnorm(n, a, b)), 1 / n)
        })
        with_package("msm", function() {
            report(region, "msm", "ns", repeated(function() msm::rtnorm(n, 0, 1, a, b)), 1 / n)
        })
        report(region, "R: inverse distribution function", "ns", repeated(function() {
            p <- pnorm(a)
            qnorm(p + runif(n) * (pnorm(b) - p))
        }), 1 / n)
    }
}

estimates <- function() {
    x <- matrix(rnorm(2e7), ncol = 20)
    report("W5", "R: colMeans and cov", "ms", repeated(function() list(colMeans(x), cov(x))))
    x <- x[, 1:10]
    sigma <- covariance(10)
    with_package("mvnfast", function() {
        report("W6", "mvnfast", "ms", repeated(function() mvnfast::dmvn(x, rep(0, 10), sigma)))
    })
    with_package("mvtnorm", function() {
        report("W6", "mvtnorm", "ms", repeated(function() mvtnorm::dmvnorm(x, rep(0, 10), sigma)))
    })
    for (digits in c(5, 17)) {
        file <- tempfile()
        write.table(format(x[1:100000, ], digits = if (digits == 5) 5 else 15), file, quote = FALSE, sep = "\t",
                    row.names = FALSE, col.names = FALSE)
        report(if (digits == 5) "W7short" else "W7long", "R: scan", "ms",
               repeated(function() scan(file, quiet = TRUE)))
        unlink(file)
    }
}

iterations("W1", missing_at_random("W1", 10000, 20))
invisible(missing_at_random("W1pat", 10000, 20, patterns = 20))
invisible(missing_at_random("W1b", 100000, 10))
invisible(missing_at_random("W1c", 2000, 100))
censored()
ordered()
draws()
estimates()
