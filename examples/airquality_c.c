/* SPDX-FileCopyrightText: 2026 The Ullage authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * A host in C11: Bayesian data augmentation of the airquality measurements under a multivariate normal model. */

#include <Random123/philox.h>
#include <Random123/u01fixedpt.h>
#include <cblas.h>
#include <lapacke.h>
#include <math.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <ullage/engine.h>

enum { variables = 4, packed_size = variables * (variables + 1) / 2, max_days = 1000, burn_in = 500, draws = 10000 };

static const char *const names[variables] = {"Ozone", "Solar_R", "Wind", "Temp"};
static const double limit = 20.0;
static const double pi = 3.14159265358979323846;

/* Maximum likelihood estimates on the same data, by the EM algorithm (converged to 1e-10). */
static const double ml_means[variables] = {41.871173, 184.846806, 9.957516, 77.882353};
static const double ml_covariance[packed_size] = {1044.018643, 942.529842, 8090.701661, -64.635928, -17.335380,
                                                  12.330417,   209.563503, 238.073311,  -15.172318, 89.005767};

/* ---- The random source ------------------------------------------------------------------------------------------ */

/* The engine sees the first member alone; what follows is this host's own. */
typedef struct HostSource {
    RandomSource source;
    philox2x64_ctr_t counter;
    philox2x64_key_t key;
    double spare;
    bool has_spare;
} HostSource;

/* Two numbers from the open unit interval. */
static void next_pair(HostSource *host, double pair[2]) {
    const philox2x64_ctr_t word = philox2x64(host->counter, host->key);
    ++host->counter.v[0];
    pair[0] = u01fixedpt_open_open_64_double(word.v[0]);
    pair[1] = u01fixedpt_open_open_64_double(word.v[1]);
}

/* Box and Muller, A note on the generation of random normal deviates, 1958. */
static double next_normal(HostSource *host) {
    if (host->has_spare) {
        host->has_spare = false;
        return host->spare;
    }
    double pair[2];
    next_pair(host, pair);
    const double radius = sqrt(-2.0 * log(pair[0]));
    host->spare = radius * sin(2.0 * pi * pair[1]);
    host->has_spare = true;
    return radius * cos(2.0 * pi * pair[1]);
}

/* This source never fails, so it has no error information to give. */
static int32_t query_interface(RandomSource *self, const DS_Guid *iid, void **out) {
    (void)self;
    (void)iid;
    *out = NULL;
    return -1;
}

static uint32_t keep_reference(RandomSource *self) {
    (void)self;
    return 1;
}

static int32_t uniform(RandomSource *self, double *out) {
    double pair[2];
    next_pair((HostSource *)self, pair);
    *out = pair[0];
    return 0;
}

static int32_t standard_normal(RandomSource *self, double *out) {
    *out = next_normal((HostSource *)self);
    return 0;
}

static int32_t multivariate_normal(RandomSource *self, int32_t n, double *out, const double *mean, const double *root) {
    for (int i = 0; i < n; ++i) out[i] = next_normal((HostSource *)self);
    cblas_dtpmv(CblasRowMajor, CblasLower, CblasNoTrans, CblasNonUnit, n, root, out, 1);
    cblas_daxpy(n, 1.0, mean, 1, out, 1);
    return 0;
}

static const DS_RandomSourceTable source_table = {query_interface, keep_reference,  keep_reference,
                                                  uniform,         standard_normal, multivariate_normal};

/* ---- Data ------------------------------------------------------------------------------------------------------- */

/* A failed call ends the program; the engine says why in the text of the last failure or in its error log. */
static void check(int32_t result, const char *call) {
    if (result == 0) return;
    char16_t text[500] = {0};
    DS_GetErrorMessageW(text, 500);
    fprintf(stderr, "airquality_c: %s failed: ", call);
    for (const char16_t *unit = text; *unit != 0; ++unit) fputc(*unit < 128 ? (char)*unit : '?', stderr);
    fprintf(stderr, " (see airquality_c_error.log)\n");
    exit(1);
}

/* Days by rows; NaN is a missing cell. */
typedef struct Table {
    int days;
    double cells[max_days][variables];
} Table;

static void read_csv(const char *path, Table *table) {
    FILE *file = fopen(path, "r");
    char line[256];
    if (file == NULL || fgets(line, sizeof line, file) == NULL) {
        fprintf(stderr, "airquality_c: cannot read %s\n", path);
        exit(1);
    }
    table->days = 0;
    while (fgets(line, sizeof line, file) != NULL) {
        bool good = table->days < max_days;
        const char *at = line;
        for (int j = 0; good && j < variables; ++j) {
            char *end = NULL;
            double value = NAN;
            if (strncmp(at, "NA", 2) == 0) {
                end = (char *)at + 2;
            } else {
                value = strtod(at, &end);
            }
            good = end != at && *end == (j + 1 < variables ? ',' : '\n');
            table->cells[table->days][j] = value;
            at = end + 1;
        }
        if (!good) {
            fprintf(stderr, "airquality_c: %s, line %d: expected %d numbers or NA, in at most %d lines\n", path,
                    table->days + 2, (int)variables, (int)max_days);
            exit(1);
        }
        ++table->days;
    }
    fclose(file);
}

/* Centre and scale of each column: the engine judges pivots on an absolute scale, so columns go in standardised. */
typedef struct Units {
    double centre[variables], scale[variables];
} Units;

static Units units_of(const Table *table) {
    Units units;
    for (int j = 0; j < variables; ++j) {
        double count = 0.0, sum = 0.0, squares = 0.0;
        for (int i = 0; i < table->days; ++i) {
            if (isnan(table->cells[i][j])) continue;
            count += 1.0;
            sum += table->cells[i][j];
        }
        units.centre[j] = sum / count;
        for (int i = 0; i < table->days; ++i) {
            const double difference = table->cells[i][j] - units.centre[j];
            if (!isnan(difference)) squares += difference * difference;
        }
        units.scale[j] = sqrt(squares / count);
    }
    return units;
}

/* The table as the engine reads it. Cells of the first column below bound are hidden: only the bound is told. */
static char16_t *data_text(const Table *table, const Units *units, double bound) {
    enum { longest_cell = 32 };
    const size_t capacity = (size_t)(table->days + 2) * variables * longest_cell;
    char16_t *text = malloc(capacity * sizeof *text);
    if (text == NULL) {
        fprintf(stderr, "airquality_c: out of memory\n");
        exit(1);
    }
    char item[longest_cell];
    char16_t *at = text;
    for (int i = -2; i < table->days; ++i) {
        const int columns = i == -2 ? 2 : variables;
        for (int j = 0; j < columns; ++j) {
            const double value = i < 0 ? 0.0 : table->cells[i][j];
            const bool hidden = j == 0 && value < bound;
            if (i == -2) {
                snprintf(item, sizeof item, "%d", j == 0 ? table->days : (int)variables);
            } else if (i == -1) {
                snprintf(item, sizeof item, "%s", names[j]);
            } else if (isnan(value)) {
                snprintf(item, sizeof item, "*");
            } else {
                snprintf(item, sizeof item, "%s%.17g", hidden ? "<" : "",
                         ((hidden ? bound : value) - units->centre[j]) / units->scale[j]);
            }
            for (const char *unit = item; *unit != '\0'; ++unit) *at++ = (char16_t)*unit;
            *at++ = j + 1 < columns ? '\t' : '\n';
        }
    }
    *at = 0;
    return text;
}

/* ---- The chain -------------------------------------------------------------------------------------------------- */

/* Means, and the covariance packed: the lower triangle by rows. */
typedef struct Parameters {
    double mean[variables], covariance[packed_size];
} Parameters;

/* Draw the parameters given a completed table of n cases with the moments m (covariance divided by n). Under the prior
 * |Sigma|^(-(p+1)/2), Sigma is inverse Wishart with n - 1 degrees of freedom and scale S, the sum of squares about the
 * mean, and the mean is normal about m with covariance Sigma / n (Schafer, Analysis of Incomplete Multivariate Data,
 * 1997, section 5.2). */
static Parameters draw_parameters(const Parameters *m, int n, HostSource *host) {
    enum { p = variables };
    double a[p][p] = {{0}}, b[p][p] = {{0}}, sigma[p][p], z[p];
    /* Bartlett: with A lower triangular, chi on its diagonal and normal below, A A' is Wishart. Then Sigma = B B' with
     * B = L A'^-1, where S = L L'. */
    for (int i = 0, k = 0; i < p; ++i) {
        for (int j = 0; j < i; ++j) a[i][j] = next_normal(host);
        double chi_squared = 0.0;
        for (int degree = 0; degree < n - 1 - i; ++degree) {
            const double normal = next_normal(host);
            chi_squared += normal * normal;
        }
        a[i][i] = sqrt(chi_squared);
        for (int j = 0; j <= i; ++j) b[i][j] = n * m->covariance[k++];
    }
    if (LAPACKE_dpotrf(LAPACK_ROW_MAJOR, 'L', p, b[0], p) != 0) {
        fprintf(stderr, "airquality_c: the covariance of the completed table is singular\n");
        exit(1);
    }
    cblas_dtrsm(CblasRowMajor, CblasRight, CblasLower, CblasTrans, CblasNonUnit, p, p, 1.0, a[0], p, b[0], p);
    cblas_dsyrk(CblasRowMajor, CblasLower, CblasNoTrans, p, p, 1.0, b[0], p, 0.0, sigma[0], p);

    Parameters drawn = *m;
    for (int i = 0, k = 0; i < p; ++i) {
        z[i] = next_normal(host);
        for (int j = 0; j <= i; ++j) drawn.covariance[k++] = sigma[i][j];
    }
    cblas_dgemv(CblasRowMajor, CblasNoTrans, p, p, 1.0 / sqrt(n), b[0], p, z, 1, 1.0, drawn.mean, 1);
    return drawn;
}

/* What a run does with a draw, in units of the table. The engine still holds the completed table of that draw. */
typedef void UseDraw(void *context, int draw, const Parameters *parameters, const Units *units);

/* Run one chain over a table and hand each draw behind the burn-in to the caller. */
static void augment(const Table *table, double bound, HostSource *host, UseDraw *use, void *context) {
    const Units units = units_of(table);
    char16_t *text = data_text(table, &units, bound);
    int32_t groups = 0;
    check(DS_GibbsOpen(u"airquality_c_trace.log", u"airquality_c_error.log"), "DS_GibbsOpen");
    check(DS_CreateGroup(0, &groups, 1, 1, 0), "DS_CreateGroup");
    check(DS_KeyGroupDef(u"airquality", text), "DS_KeyGroupDef");
    free(text);

    Parameters now = {{0}, {1, 0, 1, 0, 0, 1, 0, 0, 0, 1}};
    for (int iteration = 0; iteration < burn_in + draws; ++iteration) {
        Parameters moments;
        check(DS_Impute(0, now.mean, now.covariance, 0, 0, &host->source), "DS_Impute");
        check(DS_SampleMoments(0, moments.mean, moments.covariance, 0), "DS_SampleMoments");
        now = draw_parameters(&moments, table->days, host);
        if (iteration < burn_in) continue;
        Parameters own;
        for (int i = 0, k = 0; i < variables; ++i) {
            own.mean[i] = units.centre[i] + units.scale[i] * now.mean[i];
            for (int j = 0; j <= i; ++j, ++k) own.covariance[k] = units.scale[i] * units.scale[j] * now.covariance[k];
        }
        use(context, iteration - burn_in, &own, &units);
    }
    check(DS_GibbsClose(), "DS_GibbsClose");
}

/* ---- Two runs --------------------------------------------------------------------------------------------------- */

/* Mean and sum of squares about it of the draws of one parameter. */
typedef struct Summary {
    double mean, squares;
} Summary;

static void add(Summary *summary, int draw, double value) {
    const double step = value - summary->mean;
    summary->mean += step / (draw + 1);
    summary->squares += step * (value - summary->mean);
}

static double deviation(const Summary *summary) {
    return sqrt(summary->squares / (draws - 1));
}

typedef struct Summaries {
    Summary mean[variables], covariance[packed_size];
} Summaries;

static void summarise(void *context, int draw, const Parameters *parameters, const Units *units) {
    Summaries *summaries = context;
    (void)units;
    for (int i = 0; i < variables; ++i) add(&summaries->mean[i], draw, parameters->mean[i]);
    for (int k = 0; k < packed_size; ++k) add(&summaries->covariance[k], draw, parameters->covariance[k]);
}

static void missing_run(const Table *table, HostSource *host) {
    Summaries all = {0};
    augment(table, -INFINITY, host, summarise, &all);
    printf("%-20s %14s %10s %20s\n", "parameter", "posterior mean", "sd", "maximum likelihood");
    for (int i = 0; i < variables; ++i) {
        printf("mean %-15s %14.2f %10.2f %20.2f\n", names[i], all.mean[i].mean, deviation(&all.mean[i]), ml_means[i]);
    }
    for (int i = 0, k = 0; i < variables; ++i) {
        for (int j = 0; j <= i; ++j, ++k) {
            printf("cov  %-7s %-7s %14.2f %10.2f %20.2f\n", names[i], names[j], all.covariance[k].mean,
                   deviation(&all.covariance[k]), ml_covariance[k]);
        }
    }
}

/* The days whose ozone is hidden, counted from 0, and what was imputed for them, one row of draws per day. */
typedef struct Hidden {
    int count;
    int day[max_days];
    double (*imputed)[draws];
} Hidden;

static void keep_imputed(void *context, int draw, const Parameters *parameters, const Units *units) {
    Hidden *hidden = context;
    (void)parameters;
    for (int i = 0; i < hidden->count; ++i) {
        double value = 0.0;
        check(DS_DataScalar(0, hidden->day[i] + 1, 1, &value), "DS_DataScalar");
        hidden->imputed[i][draw] = exp(units->centre[0] + units->scale[0] * value);
    }
}

static int ascending(const void *left, const void *right) {
    const double a = *(const double *)left, b = *(const double *)right;
    return (a > b) - (a < b);
}

/* Ozone goes in as its logarithm: a concentration is positive and its spread grows with its level. */
static void censored_run(const Table *table, HostSource *host) {
    static Table logarithms;
    static Hidden hidden;
    logarithms = *table;
    for (int i = 0; i < table->days; ++i) {
        logarithms.cells[i][0] = log(table->cells[i][0]);
        if (table->cells[i][0] < limit) hidden.day[hidden.count++] = i;
    }
    hidden.imputed = malloc((size_t)hidden.count * sizeof *hidden.imputed);
    if (hidden.imputed == NULL) {
        fprintf(stderr, "airquality_c: out of memory\n");
        exit(1);
    }
    augment(&logarithms, log(limit), host, keep_imputed, &hidden);

    double true_mean = 0.0, imputed_mean = 0.0;
    int covered = 0, above = 0;
    for (int i = 0; i < hidden.count; ++i) {
        double *sorted = hidden.imputed[i];
        for (int draw = 0; draw < draws; ++draw) {
            imputed_mean += sorted[draw] / hidden.count / draws;
            if (!(sorted[draw] < limit)) ++above;
        }
        qsort(sorted, draws, sizeof *sorted, ascending);
        const double value = table->cells[hidden.day[i]][0];
        true_mean += value / hidden.count;
        if (sorted[draws / 20] <= value && value <= sorted[draws - draws / 20]) ++covered;
    }
    free(hidden.imputed);
    printf("ozone cells given as <%.0f          %8d\n", limit, hidden.count);
    printf("their true mean                   %8.2f\n", true_mean);
    printf("their imputed mean                %8.2f\n", imputed_mean);
    printf("true values in their 90%% interval %8d\n", covered);
    printf("imputed values not below %.0f       %8d\n", limit, above);
}

int main(int argc, char **argv) {
    static Table table;
    if (argc != 2) {
        fprintf(stderr, "usage: airquality_c FILE.csv\n");
        return 64;
    }
    read_csv(argv[1], &table);
    HostSource host = {.source = {&source_table}, .key = {{1973}}};
    printf("Missing cells imputed\n\n");
    missing_run(&table, &host);
    printf("\nOzone below %.0f hidden\n\n", limit);
    censored_run(&table, &host);
    return 0;
}
