# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Results beside R's packages mice and posterior, where these are installed: pooling, the long format, diagnostics.

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)
SKIPPED = 77  # the exit code that tells the test run of a skip


def r_lacks(*packages):
    """Which of the packages R does not have; all of them without R."""
    if shutil.which("Rscript") is None:
        return list(packages)
    return [name for name in packages if subprocess.run(
        ["Rscript", "-e", f"quit(status = !requireNamespace('{name}', quietly = TRUE))"],
        capture_output=True).returncode != 0]


TABLE = "y,x1,x2,x3\n" + "".join(
    f"{'' if i % 6 == 1 else 0.3 * (i * 37 % 41) + (i * 29 % 31) / 5},{(i * 29 % 31) / 5},"
    f"{'' if i % 5 == 2 else (i * 17 % 23) / 3 + (i * 37 % 41) / 9},{'<1' if i % 8 == 4 else 1 + (i * 13 % 19)}\n"
    for i in range(80)
)

# Words, a count and its time at risk, and houses of five rows.
WORDS = "ill,site,dose,falls,time,house\n" + "".join(
    f"{'' if i % 9 == 4 else 'no' if (i * 37 % 41) + (i * 13 % 17) < 26 else 'yes'},"
    f"{'' if i % 7 == 5 else ('north', 'south', 'west')[i * 29 % 31 % 3]},"
    f"{'' if i % 8 == 1 else (i * 37 % 41) / 7 + (i * 17 % 23) / 9},"
    f"{(i * 37 % 41) // 9 + (i * 11 % 13) // 5},{1 + i % 4},h{i // 5}\n" for i in range(150))

# The sandwich covariances from their formulas: of HC3 and of clusters. R's own covariance of a glm is that of the step
# before the last, so that it has to go on until nothing changes.
SANDWICH = """
parts <- function(f) { x <- model.matrix(f); w <- if (inherits(f, 'glm')) f$weights else rep(1, nrow(x))
  list(x = x, a = solve(t(x) %*% (w * x)), w = w, e = residuals(f, 'response')) }
hc3 <- function(f) { p <- parts(f); h <- p$w * rowSums((p$x %*% p$a) * p$x)
  p$a %*% t(p$x) %*% ((p$e / (1 - h))^2 * p$x) %*% p$a }
clustered <- function(f, g) { p <- parts(f); s <- rowsum(p$e * p$x, g); k <- nrow(s); n <- nrow(p$x)
  p$a %*% t(s) %*% s %*% p$a * k / (k - 1) * if (inherits(f, 'glm')) 1 else (n - 1) / (n - ncol(p$x)) }
i <- mice::as.mids(read.csv('words/imputations.csv', check.names = FALSE, stringsAsFactors = TRUE))
tables <- mice::complete(i, 'all'); exact <- glm.control(epsilon = 1e-300, maxit = 30)
pooled <- function(fits, covariance, df) for (k in which(!is.na(coef(fits[[1]])))) {
  p <- mice::pool.scalar(sapply(fits, function(f) coef(f)[k]), sapply(fits, function(f) covariance(f)[k, k]),
                         n = df + 1, k = 1)
  cat(p$qbar, sqrt(p$t), p$df, '') };
"""


class BesideR(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.path = pathlib.Path(cls.folder.name)
        (cls.path / "table.csv").write_text(TABLE)
        cls.program("impute", "table.csv", "-o", "out", "--log", "x3", "-m", "6", "--chains", "3", "--burn-in", "50",
                    "--thin", "51", "--seed", "8", "--quiet")
        (cls.path / "words.csv").write_text(WORDS)
        cls.program("impute", "words.csv", "-o", "words", "-m", "5", "--chains", "1", "--burn-in", "30", "--thin", "5",
                    "--seed", "4", "--quiet", "--no-report", "--carry", "house,time", "--number", "dose,falls")

    @classmethod
    def program(cls, *words):
        return subprocess.run([PROGRAM, *words], cwd=cls.path, check=True, capture_output=True, text=True).stdout

    def r(self, code):
        """Run R code that prints numbers, and give them."""
        done = subprocess.run(["Rscript", "-e", "options(digits = 17); " + code], cwd=self.path, capture_output=True,
                              text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        return [float(word) for word in done.stdout.split()]

    def check(self, ours, theirs, tolerance):
        self.assertEqual(len(ours), len(theirs))
        for place, (a, b) in enumerate(zip(ours, theirs)):
            self.assertLessEqual(abs(a - b), tolerance * max(1, abs(b)), f"number {place}: {a} and {b}")

    def need(self, *packages):
        missing = r_lacks(*packages)
        if missing:
            self.skipTest("not installed: " + ", ".join(missing))

    def test_pool_scalar(self):
        self.need("mice")
        (self.path / "e.csv").write_text("estimate,se\n10,1\n11,1\n9,1\n10.5,1\n9.5,1\n")
        row = json.loads(self.program("pool", "--estimates", "e.csv", "--df", "30", "--json"))["quantities"][0]
        theirs = self.r("p <- mice::pool.scalar(c(10, 11, 9, 10.5, 9.5), rep(1, 5), n = 31, k = 1);"
                        "cat(p$qbar, p$ubar, p$b, p$t, p$r, p$df, p$fmi)")
        self.check([row[k] for k in ("estimate", "within", "between", "total", "riv", "df", "fmi")], theirs, 1e-12)

    def test_long_format_gives_mice_the_same_regression(self):
        self.need("mice")
        answer = json.loads(self.program("pool", "out", "--lm", "y ~ x1 + x2 + log(x3)", "--json"))
        ours = []
        for row in answer["regressions"][0]["coefficients"]:
            ours += [row[k] for k in ("estimate", "standard_error", "df", "p", "lower", "upper", "fmi")]
        theirs = self.r(
            "i <- mice::as.mids(read.csv('out/imputations.csv', check.names = FALSE));"
            "s <- summary(mice::pool(with(i, lm(y ~ x1 + x2 + log(x3)))), conf.int = TRUE, type = 'all');"
            "for (k in 1:4) cat(s$estimate[k], s$std.error[k], s$df[k], s$p.value[k], s[k, '2.5 %'], s[k, '97.5 %'],"
            "                   s$fmi[k], '')")
        self.check(ours, theirs, 1e-10)

    def test_wald_test(self):
        self.need("mice", "mitml")
        answer = json.loads(self.program("pool", "out", "--lm", "y ~ x1 + x2 + log(x3)", "--json"))
        test = answer["regressions"][0]["tests"][0]
        theirs = self.r(
            "i <- mice::as.mids(read.csv('out/imputations.csv', check.names = FALSE));"
            "d <- mice::D1(with(i, lm(y ~ x1 + x2 + log(x3))), with(i, lm(y ~ 1)))$result; cat(d[1, 1:5])")
        self.check([test["statistic"], test["df1"], test["df2"], test["p"], test["riv"]], theirs, 1e-9)

    def check_regressions(self, asked):
        """Compare regressions, each of options of ours and R code that prints the same numbers, in one run of R."""
        answers = [self.regression(*words)[0] for words, _ in asked]
        theirs = self.r(SANDWICH + "".join(code + ";" for _, code in asked))
        for (words, _), ours in zip(asked, answers):
            with self.subTest(words):
                self.check(ours, theirs[:len(ours)], 1e-9)
            theirs = theirs[len(ours):]
        self.assertEqual(theirs, [])

    def regression(self, *words):
        """A regression of the table of words: estimates, standard errors and df, and its tests by term."""
        answer = json.loads(self.program("pool", "words", *words, "--json"))["regressions"][0]
        ours = [row[k] for row in answer["coefficients"] for k in ("estimate", "standard_error", "df")]
        return ours, {test["term"]: test for test in answer["tests"]}

    def test_formulas_with_words(self):
        self.need("mice")
        asked = (
                ("--lm", "dose ~ ill * C(site, ref = west) + I(falls^2)",
                 "lm(dose ~ ill * relevel(site, 'west') + I(falls^2))"),
                ("--lm", "log(dose + 1) ~ 0 + site + site:falls + ill", "lm(log(dose + 1) ~ 0 + site + site:falls + ill)"),
                ("--lm", "dose ~ (ill + site + falls)^2 - ill:falls", "lm(dose ~ (ill + site + falls)^2 - ill:falls)"),
                ("--lm", "dose ~ .", "lm(dose ~ ill + site + falls)"),
                ("--lm", "dose ~ falls:site + offset(time)", "lm(dose ~ falls:site + offset(time))"),
                ("--logit", "ill ~ dose + site", "glm(ill ~ dose + site, binomial, control = exact)"),
                ("--logit", "time > 2 ~ ill:site + falls + ill",
                 "glm(time > 2 ~ falls + ill + ill:site, binomial, control = exact)"),
                ("--poisson", "falls ~ dose*ill + offset(log(time))",
                 "glm(falls ~ dose * ill + offset(log(time)), poisson, control = exact)"))
        self.check_regressions([
            ((option, formula), f"fits <- lapply(tables, function(d) with(d, {theirs}));"
             "s <- summary(mice::pool(mice::as.mira(fits))); s <- s[!is.na(coef(fits[[1]])[as.character(s$term)]), ];"
             "for (k in seq_len(nrow(s))) cat(s$estimate[k], s$std.error[k], s$df[k], '')")
            for option, formula, theirs in asked])

    def test_factor_is_tested_as_one(self):
        self.need("mice", "mitml")
        for option, formula, null in (("--lm", "dose ~ ill + site", "lm(dose ~ ill)"),
                                      ("--logit", "ill ~ dose + site", "glm(ill ~ dose, binomial, control = exact)")):
            test = self.regression(option, formula)[1]["site"]
            full = null.replace("~ ill", "~ ill + site").replace("~ dose", "~ dose + site")
            theirs = self.r(SANDWICH + f"d <- mice::D1(mice::as.mira(lapply(tables, function(d) with(d, {full}))),"
                            f"mice::as.mira(lapply(tables, function(d) with(d, {null}))))$result; cat(d[1, 1:5])")
            self.check([test[k] for k in ("statistic", "df1", "df2", "p", "riv")], theirs, 1e-9)

    def test_robust_errors_and_subsets(self):
        self.need("mice")
        asked = []
        for option, formula, family in (("--lm", "dose ~ ill + site", "lm(%s, d)"),
                                        ("--poisson", "falls ~ dose + site + offset(log(time))",
                                         "glm(%s, poisson, d, control = exact)"),
                                        ("--logit", "ill ~ dose + site", "glm(%s, binomial, d, control = exact)")):
            fits = f"fits <- lapply(tables, function(d) {family % formula});"
            asked += [((option, formula, "--robust"), fits + "pooled(fits, hc3, df.residual(fits[[1]]))"),
                      ((option, formula, "--cluster", "house"),
                       fits + "pooled(fits, function(f) clustered(f, tables[[1]]$house), 29)")]
        asked.append((("--poisson", "falls ~ dose", "--where", "ill == 'yes' & dose > 2"),
                      "fits <- lapply(tables, function(d) glm(falls ~ dose, poisson, control = exact,"
                      "  data = d[d$ill == 'yes' & d$dose > 2, ]));"
                      "pooled(fits, vcov, min(sapply(fits, df.residual)))"))
        asked.append((("--lm", "rate ~ ill", "--derive", "rate = dose / (1 + falls)^2"),
                      "fits <- lapply(tables, function(d) lm(dose / (1 + falls)^2 ~ ill, d)); pooled(fits, vcov, 148)"))
        # Words that stand together in no row have no product.
        asked.append((("--lm", "dose ~ ill * site", "--where", "ill == 'no' | site != 'west'"),
                      "fits <- lapply(tables, function(d) lm(dose ~ ill * site, d[d$ill == 'no' | d$site != 'west', ]));"
                      "pooled(fits, vcov, min(sapply(fits, df.residual)))"))
        self.check_regressions(asked)

    def test_moments_on_the_scale_of_the_model(self):
        self.need("mice")
        rows = json.loads(self.program("pool", "out", "--variances", "--correlations", "--quantiles", "0.3", "--model-scale",
                                       "--json"))["quantities"]
        ours = {row["name"]: row for row in rows}
        self.assertIn("var(x2)", ours)
        theirs = self.r(
            "i <- mice::as.mids(read.csv('out/imputations.csv', check.names = FALSE)); t <- mice::complete(i, 'all');"
            "v <- sapply(t, function(d) var(log(d$x3))); p <- mice::pool.scalar(v, 2 * v^2 / 79, n = 80, k = 1);"
            "cat(p$qbar, sqrt(p$t), p$df, '');"
            "z <- sapply(t, function(d) atanh(cor(d$y, log(d$x3)))); p <- mice::pool.scalar(z, rep(1 / 77, 6));"
            "cat(tanh(p$qbar), sqrt(p$t) * (1 - tanh(p$qbar)^2), p$df, '');"
            "cat(mean(sapply(t, function(d) quantile(log(d$x3), 0.3))))")
        variance, correlation = ours["var(log(x3))"], ours["cor(y,log(x3))"]
        self.check([variance["estimate"], variance["standard_error"], variance["df"], correlation["estimate"],
                    correlation["standard_error"], correlation["df"], ours["q30(log(x3))"]["estimate"]], theirs, 1e-10)

    def test_files_of_statistics_packages(self):
        self.need("haven")
        # Written by R, read by the program: texts, an integer, declared missing values (9, and 90 to 99), tagged ones.
        self.r("d <- data.frame(id = c('a', 'b,\"c\"', 'd', 'e'), n = c(1.5, NA, 3.25, -0.1), k = c(1, 9, 95, 3));"
               "d$k <- haven::labelled_spss(d$k, na_values = 9, na_range = c(90, 99));"
               "haven::write_sav(d, 'in.sav');"
               "d$k <- c(1, haven::tagged_na('a'), haven::tagged_na('z'), 3);"
               "haven::write_dta(d, 'in.dta');"
               "d$k <- c(1, haven::tagged_na('A'), NA, 3); haven::write_xpt(d, 'in.xpt')")
        for name in ("in.sav", "in.dta", "in.xpt"):
            answer = json.loads(self.program("check", name, "--json"))
            self.assertEqual([(c["name"], c["observed"], c["missing"]) for c in answer["columns"]],
                             [("n", 3, 1), ("k", 2, 2)], name)
            self.assertEqual(answer["carried"], ["id"])
        # Written by the program, read by R: all numbers, in both formats, are those of the CSV file.
        for form, imp in (("sav", "Imputation_"), ("dta", "imp_")):
            head, *rows = TABLE.splitlines()
            text = "\n".join([head.replace("y", "y 1.5 of µ") + ",if,note"] + [f"{r},{i},w{i}" for i, r in enumerate(rows)])
            (self.path / "names.csv").write_text(text)
            self.program("impute", "names.csv", "-o", form, "--format", form, "-m", "3", "--burn-in", "5", "--thin", "5",
                         "--seed", "8", "--carry", "if", "--quiet", "--no-report")
            theirs = self.r(
                f"a <- haven::read_{form}('{form}/imputations.{form}');"
                f"b <- read.csv('{form}/imputations.csv', check.names = FALSE, encoding = 'UTF-8');"
                "num <- function(x) as.numeric(haven::zap_label(haven::zap_formats(x)));"
                "for (i in c(1:5, 7, 8)) cat(as.numeric(identical(num(a[[i]]), as.numeric(b[[i]]))), '');"
                "cat(as.numeric(identical(as.character(a[[6]]), b[[6]])), as.numeric(attr(a[[1]], 'label') == names(b)[1]),"
                f"    as.numeric(names(a)[7] == '{imp}'))")
            self.assertEqual(theirs, [1] * 10, form)

    def test_diagnostics_are_those_of_posterior(self):
        self.need("posterior")
        answer = json.loads(self.program("diagnose", "out", "--json"))
        named = {p["name"]: p for p in answer["parameters"]}
        ours = []
        for name in ("mean(y)", "mean(log(x3))", "var(x2)", "cor(y,x2)"):
            ours += [named[name][k] for k in ("rhat", "ess_bulk", "ess_tail", "mcse")]
        theirs = self.r(
            "d <- read.csv('out/parameters.csv', check.names = FALSE);"
            # The same operations as ours: the two draws beside the median are as far from it but for rounding, which
            # decides their ranks.
            "d[['cor']] <- d[['cov(x2,y)']] / (sqrt(d[['var(x2)']]) * sqrt(d[['var(y)']]));"
            "for (n in c('mean(y)', 'mean(log(x3))', 'var(x2)', 'cor')) {"
            "  m <- matrix(d[[n]], ncol = 3);"
            "  cat(posterior::rhat(m), posterior::ess_bulk(m), posterior::ess_tail(m), posterior::mcse_mean(m), '') }")
        self.check(ours, theirs, 1e-8)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=2).result
    for test, reason in result.skipped:
        print(f"SKIPPED {test}: {reason}")
    sys.exit(1 if not result.wasSuccessful() else SKIPPED if len(result.skipped) == result.testsRun else 0)
