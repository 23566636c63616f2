/* SPDX-FileCopyrightText: 2026 The Ullage authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * The exported interface of the Ullage engine: 29 functions with C linkage, for C11 and C++17 and later. */

#ifndef ULLAGE_ENGINE_H
#define ULLAGE_ENGINE_H

#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#if defined(_WIN32)
#if defined(ULLAGE_BUILDING)
#define DS_API __declspec(dllexport)
#else
#define DS_API __declspec(dllimport)
#endif
#else
#define DS_API __attribute__((visibility("default")))
#endif

/*
 * WHAT HOLDS FOR EVERY FUNCTION
 *
 * One state. The engine is one body of state per process. There are no handles and no threads: the host makes one call
 * at a time, from any thread, and a RandomSource may not call back into the engine.
 *
 * Numbers. Groups, cases and variables are numbered from 1. Group number 0 is the current group. A function with a
 * group_number first makes that group current (DS_GoToGroup) and gives 1, with every output untouched, where there is
 * no such group. In mixture mode the number moves nothing; it selects cases by their group id where a function says so.
 *
 * Results. 0 is success, 1 is failure. Unless a function says otherwise a 1 leaves every output untouched. These give 1
 * everywhere and are not repeated below: a null output pointer; null means or ids; a null covariance that the call
 * would read; no current group where one is needed; a group that is not loaded where cases are needed. Lengths of the
 * host's arrays are not checked.
 *
 * Exceptions. std::bad_alloc leaves any function that needs memory and finds none; the engine stays usable. A group
 * whose DS_KeyGroupDef threw cannot be loaded again, a DS_Impute that threw may have finished some cases, and a
 * DS_GibbsOpen that threw has already emptied the list of groups. A failing RandomSource leaves DS_Impute as
 * ullage::RandomSourceError (random_source.h), which the host must let go of before it unloads the library. Nothing
 * else is thrown. A host in C must therefore see to it that its source does not fail, or reach DS_Impute through a C++
 * function that catches.
 *
 * Text. Wide strings are zero-terminated UTF-16. A null wide string argument counts as the empty string. Everything
 * that the host passes is borrowed for the call; what must stay is copied.
 *
 * Matrices. "Packed" means the lower triangle of a symmetric matrix by rows, n(n+1)/2 doubles: (0,0), (1,0), (1,1),
 * (2,0), ... Element (i, j), j <= i, stands at i(i+1)/2 + j.
 *
 * Undefined values. A cell that is not observed and has never been imputed holds 1e300.
 *
 * Logs. The engine writes two text files, UTF-8 with LF: the trace log (summaries of loaded groups) and the error log
 * (messages, and the variables of each load). Their last lines reach the disk when the library is unloaded.
 * Complaints about the header and the names of a data text go to standard error instead, in the form Error{...}.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** Identifier of an interface, laid out as a GUID. */
typedef struct DS_Guid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
} DS_Guid;

/**
 * The host's random numbers: an object whose first word points to a table of functions.
 *
 * In C++ it is the abstract struct of random_source.h. In C the table is filled by hand. Both have the same layout, and
 * the identifier {CC23E01A-C919-4CBE-89F5-E70E3BEF1382}.
 *
 * A negative status is a failure; zero and every positive status are success. The engine calls QueryInterface only
 * after a failure, to look for an error object, and AddRef and Release never.
 */
typedef struct RandomSource RandomSource;

#ifndef __cplusplus
typedef struct DS_RandomSourceTable {
    /** Give an interface of the object, or a negative status. */
    int32_t (*QueryInterface)(RandomSource *self, const DS_Guid *iid, void **out);
    /** Never called by the engine. */
    uint32_t (*AddRef)(RandomSource *self);
    /** Never called by the engine on the source itself. */
    uint32_t (*Release)(RandomSource *self);
    /** Store one number from the uniform distribution on the unit interval; 0 and 1 are harmless. */
    int32_t (*NextUniform)(RandomSource *self, double *out);
    /** Store one number from the standard normal distribution. */
    int32_t (*NextStandardNormal)(RandomSource *self, double *out);
    /**
     * Store one multivariate normal vector: mean + R z, with z a vector of n standard normal numbers.
     *
     * @param n     length of the vector, at least 1
     * @param out   n doubles, not cleared; every one must be written
     * @param mean  n doubles, only to be read
     * @param root  the lower triangular R, packed, n(n+1)/2 doubles, only to be read; R R' is the covariance
     */
    int32_t (*NextMultivariateNormal)(RandomSource *self, int32_t n, double *out, const double *mean,
                                      const double *root);
} DS_RandomSourceTable;

struct RandomSource {
    const DS_RandomSourceTable *table;
};
#endif

/* ---- Session ---------------------------------------------------------------------------------------------------- */

/**
 * Open a session: no groups, workspaces of order 1, and the logs if they are not open yet.
 *
 * The logs are created, or emptied, at the first call whose open succeeds and stay open until the library is unloaded;
 * later calls do not look at the path of a log that is open. A log that cannot be opened swallows its lines, and the
 * next DS_GibbsOpen tries again with its own path. Switches (mixture mode, force level, rank order, test word) keep
 * their values from session to session. Groups of a session that was not closed are out of reach from here on; their
 * memory returns at the next close or at unload.
 *
 * @param trace_log_path  path of the trace log
 * @param error_log_path  path of the error log
 * @return 0, always
 */
DS_API int32_t DS_GibbsOpen(const char16_t *trace_log_path, const char16_t *error_log_path);

/**
 * Close the session: destroy all groups and free the workspaces.
 *
 * The logs stay open, and the cases of the groups keep their memory until unload. There is no group afterwards. A
 * second call does nothing.
 *
 * @return 0, always
 */
DS_API int32_t DS_GibbsClose(void);

/**
 * Create an empty group behind the current one and make it current.
 *
 * Whatever followed the current group drops out of the list. If the list is not empty but no group is current, the new
 * group becomes current and is linked nowhere.
 *
 * @param reserved_first       ignored
 * @param group_count          out: number of groups in the list
 * @param key_count            key slots of the group, at least 1; slot 0 belongs to all variables without a definition
 * @param dictionary_capacity  entries of the key dictionary, at least 1; the entry for slot 0 takes one of them
 * @param reserved_last        ignored
 * @return 0; 1 with no group made if no session is open, key_count is below 1, dictionary_capacity is negative or
 *         group_count is null; 1 with the group made and current if dictionary_capacity is 0 (the error log tells)
 */
DS_API int32_t DS_CreateGroup(int32_t reserved_first, int32_t *group_count, int32_t key_count,
                              int32_t dictionary_capacity, int32_t reserved_last);

/**
 * Make a group current.
 *
 * @param group_number  1-based position in the list; 0 stays where it is and succeeds even without a group; a negative
 *                      number goes to the first group. In mixture mode every number stays and succeeds.
 * @return 0; 1 if there is no such group, and then no group is current
 */
DS_API int32_t DS_GoToGroup(int32_t group_number);

/**
 * Copy the text of the last failure.
 *
 * Neither reading it nor a later success clears it. Only failures of the cells of a record, of a group id, and of the
 * load as a whole write it; it holds at most 499 units, longer messages are cut.
 *
 * @param buffer    out: the text with its terminator; the empty string if it does not fit
 * @param capacity  units that fit into buffer, terminator included
 * @return 0; 1 if the text does not fit (buffer then holds the empty string), or if buffer is null or capacity is below
 *         1 (buffer is then untouched)
 */
DS_API int32_t DS_GetErrorMessageW(char16_t *buffer, int32_t capacity);

/* ---- Switches, which last until unload -------------------------------------------------------------------------- */

/**
 * Switch mixture mode: all cases live in one group, and each carries a group id.
 *
 * Read by DS_KeyGroupDef, which then expects a group id in front of every record, and by every function that takes a
 * group number, which then selects cases by their id where it says so. Set it before the group is loaded.
 *
 * @param flag  0 is off, anything else is on; off when the library loads
 */
DS_API void DS_SetMixtureModeling(int32_t flag);

/**
 * Raise the force level to at least 1. It changes no result; it does not undo DS_ForceGibbs.
 *
 * @return 0, always
 */
DS_API int32_t DS_ForceMC(void);

/**
 * Raise the force level to 2: cases with only missing cells go through the Gibbs chain too. Nothing lowers it again.
 *
 * @return 0, always
 */
DS_API int32_t DS_ForceGibbs(void);

/**
 * Allow cells to state an inequality between two variables. Nothing forbids it again. Read by DS_KeyGroupDef.
 *
 * @return 0, always
 */
DS_API int32_t DS_AllowRankOrder(void);

/**
 * Keep a word for the host. The engine does nothing with it.
 *
 * @param value  any word
 */
DS_API void DS_SetTest(int32_t value);

/**
 * Give the host's word back.
 *
 * @return the word of the last DS_SetTest; 0 if there was none
 */
DS_API int32_t DS_GetTest(void);

/* ---- Keys and data of the current group ------------------------------------------------------------------------- */

/**
 * Tell the current group to expect a variable, under a key slot.
 *
 * The load marks the slot as used when it finds a variable of that name, A to Z compared as a to z. Several names can
 * share a slot. Of two definitions of one name the first counts.
 *
 * @param key_index  slot, 0 to key_count - 1
 * @param name       name of the variable
 * @return 0; 1 if the slot does not exist or the group's 20,000 units of names are full (nothing happens then), or
 *         if the dictionary is full (the error log tells; the name has taken its place among the group's names)
 */
DS_API int32_t DS_KeyVariableDef(int32_t key_index, const char16_t *name);

/**
 * Do nothing.
 *
 * @param reserved_first   ignored
 * @param reserved_second  ignored
 * @return 0, always
 */
DS_API int32_t DS_KeySelect(int32_t reserved_first, int32_t reserved_second);

/**
 * Name the column of case weights for every load from here on, of whichever group, until another name is given or a
 * group is created, which forgets the name.
 *
 * @param name  name of the weight variable, A to Z compared as a to z
 * @return 0; 1 if the group's 20,000 units of names are full
 */
DS_API int32_t DS_KeyWeight(const char16_t *name);

/**
 * Load the current group from a data text.
 *
 * The text: the number of cases, the number of variables, each ended by TAB or LF; a line of names; one line per case.
 * TAB ends an item, LF an item and a line (also the last one), a zero the text; a carriage return is an ordinary
 * character. Names are letters, digits and "_"; others are reported on standard error and kept. In mixture mode the
 * first name and the first item of a record belong to the group id; the header does not count them. A weight column
 * (DS_KeyWeight) is counted by the header, holds whole numbers above 0, repeats its case that many times, and is no
 * variable of the group afterwards.
 *
 * An item: a number (with e, E, d or D exponents); "*" or blanks for a missing cell; inequalities such as "<5", "0.5<",
 * "1<<2", "<y" (the last needs DS_AllowRankOrder), joined by ";" or, inside an inequality, by "|". An empty item ends
 * the data: the record fails as too short unless it was its last item. Limits: 500 units for the two header items,
 * 1,005 units for an item of a record.
 *
 * The load writes the names to the error log, and the group's name and variables to the trace log when it succeeds.
 * Messages go to the error log; a record that fails leaves "An error occurred during KeyFinishUp" as the last error.
 *
 * @param group_name  name of the group, for messages
 * @param data_text   the text, only read
 * @return 0; 1 on a broken header (no number, a number outside 32 bits, a negative number of variables, an empty name,
 *         a name with the unit 65535, fewer names than variables), a weight variable that is not among the names, a
 *         record that is too short, too long, or holds an item, a group id or a weight that cannot be read, more than
 *         2^31 - 1 cases, full names (20,000 units), or a second call for one group, which changes nothing. After any
 *         other 1 the group keeps the variables and the number of cases read so far, but is not loaded and cannot be
 *         loaded again.
 */
DS_API int32_t DS_KeyGroupDef(const char16_t *group_name, const char16_t *data_text);

/**
 * Write "Unused variable definition %d." to the error log for every key slot of the current group that no variable
 * was matched to.
 *
 * @return 0; 1 if there is no current group
 */
DS_API int32_t DS_KeyEnd(void);

/* ---- Reading back ----------------------------------------------------------------------------------------------- */

/**
 * Give the number of variables of a group, the weight variable not counted; 0 before its load.
 *
 * @param group_number    group, 0 for the current one
 * @param variable_count  out
 * @return 0; 1 if there is no such group
 */
DS_API int32_t DS_NVariables(int32_t group_number, int32_t *variable_count);

/**
 * Give the length of a variable's name.
 *
 * @param group_number     group, 0 for the current one
 * @param variable_number  variable, from 1
 * @param length           out: 16-bit units, terminator not counted
 * @return 0; 1 if there is no such group or variable
 */
DS_API int32_t DS_VariableNameLength(int32_t group_number, int32_t variable_number, int32_t *length);

/**
 * Copy the name of a variable with its terminator.
 *
 * @param group_number     group, 0 for the current one
 * @param variable_number  variable, from 1
 * @param name             out: room for the length of the name plus 1
 * @return 0; 1 if there is no such group or variable
 */
DS_API int32_t DS_VariableNameW(int32_t group_number, int32_t variable_number, char16_t *name);

/**
 * Give the number of cases of the first group, repeated cases included; in mixture mode of the one physical group.
 *
 * @param case_count  out; after a failed load the cases that were read before the failure
 * @return 0; 1 if there is no group
 */
DS_API int32_t DS_GetGroupOneTotalSampleSize(int32_t *case_count);

/**
 * Give the number of cases of a group; in mixture mode the number of cases whose group id is group_number, 0 included.
 *
 * @param group_number  group, 0 for the current one; in mixture mode a group id
 * @param case_count    out
 * @return 0; 1 if there is no such group; in mixture mode also if the group is not loaded
 */
DS_API int32_t DS_GetSampleSize(int32_t group_number, int32_t *case_count);

/**
 * Give the value of one cell as it is now: the data, the last imputation, or 1e300 before the first.
 *
 * @param group_number     group, 0 for the current one
 * @param case_number      case, from 1, in load order; in mixture mode over all cases
 * @param variable_number  variable, from 1
 * @param value            out
 * @return 0; 1 if there is no such group, case or variable
 */
DS_API int32_t DS_DataScalar(int32_t group_number, int32_t case_number, int32_t variable_number, double *value);

/**
 * Tell what the data say of one cell.
 *
 * @param group_number     group, 0 for the current one
 * @param case_number      case, from 1, in load order; in mixture mode over all cases
 * @param variable_number  variable, from 1
 * @param constraint_type  out: 0 observed, 1 missing, 3 bounded
 * @return 0; 1 if there is no such group, case or variable
 */
DS_API int32_t DS_ConstraintTypeScalar(int32_t group_number, int32_t case_number, int32_t variable_number,
                                       int32_t *constraint_type);

/**
 * Copy the values of one case.
 *
 * @param group_number  group, 0 for the current one
 * @param case_number   case, from 1, in load order; in mixture mode over all cases
 * @param values        out: one double per variable
 * @return 0; 1 if there is no such group or case
 */
DS_API int32_t DS_DataVector(int32_t group_number, int32_t case_number, double *values);

/**
 * Copy the values of all cases, case after case in load order, without a gap; in mixture mode too.
 *
 * @param group_number  group, 0 for the current one
 * @param values        out: number of cases times number of variables doubles
 * @return 0; 1 if there is no such group
 */
DS_API int32_t DS_DataMatrix(int32_t group_number, double *values);

/* ---- Imputation ------------------------------------------------------------------------------------------------- */

/**
 * Draw the unobserved cells of a range of cases from the normal distribution with the given means and covariance, given
 * the observed cells and the bounds of each case. The draws stay in the cases.
 *
 * A case with only missing cells gets one vector from NextMultivariateNormal, drawn afresh on every call, unless
 * DS_ForceGibbs was called. Any other case is a Gibbs chain over its unobserved cells in ascending order: on the first
 * call a start and 21 sweeps, on every later call one sweep from the values that it holds.
 *
 * Warnings that stop nothing, in the error log: "Estimated covariance matrix is singular." and "Matrix is uninvertible
 * in conventional_prepare()", for a call that reads the covariance; "In the Gibbs sampler, some values are undefined,
 * but not all.", for a case that is then started.
 *
 * A cell whose bounds contradict each other at the moment of its draw (lower above upper) takes the middle between them
 * and draws nothing; if the last pass over the case met such a cell, the case fails.
 *
 * @param group_number  group, 0 for the current one; in mixture mode: only cases whose group id is group_number
 * @param means         one double per variable, only read
 * @param covariance    packed, only read, and only if range_first is 0 or 1; otherwise the covariance of the last such
 *                      call of this session is used, which must have had the same number of variables, with no load
 *                      of a group with more variables than any before in between
 * @param range_first   first case of the range, from 1; 0 means 1
 * @param range_last    last case of the range, included; 0 means the last case of the group
 * @param source        the random numbers, borrowed for the call; may be null if no case needs a number
 * @return 0; 1 at once if there is no such group, an end of the range is negative or beyond the cases (range_first 1 is
 *         always good), or range_first is above 1 and no covariance was prepared; 1 at the first case that fails.
 *         A case fails if the covariance of its unobserved cells given the observed ones has no root or no inverse
 *         (a pivot below 1e-15), if a cell has no value between its bounds, or if it needs a number and source is
 *         null; the error log tells which. Cases before it are done, it keeps the values from before the call, cases
 *         behind it are not reached.
 * @throws ullage::RandomSourceError when the source fails. Cases before are done; the case at hand keeps the cells that
 *         its chain has drawn so far, or all its old values if it needed only one vector.
 */
DS_API int32_t DS_Impute(int32_t group_number, const double *means, const double *covariance, int32_t range_first,
                         int32_t range_last, RandomSource *source);

/* ---- Estimation ------------------------------------------------------------------------------------------------- */

/**
 * Give the means and the covariance of the values that the cases hold now, imputed cells included.
 *
 * A cell that was never imputed counts with its 1e300. Without a selected case the means are NaN, and the covariance is
 * NaN with divisor_flag 0 and -0.0 otherwise.
 *
 * @param group_number  group, 0 for the current one; in mixture mode: only cases whose group id is group_number
 * @param means         out: one double per variable
 * @param covariance    out: packed
 * @param divisor_flag  0: the covariance is divided by the number of cases; otherwise by one less
 * @return 0; 1 if there is no such group
 */
DS_API int32_t DS_SampleMoments(int32_t group_number, double *means, double *covariance, int32_t divisor_flag);

/**
 * Give for every case of group 1 (in mixture mode: of the one physical group, whatever the ids) the normal density at
 * its present values, without the factor (2 pi)^(-number of variables / 2): exp(-q / 2) / sqrt(determinant).
 *
 * Variables of a singular covariance that are caught in a linear dependence get no weight, and the determinant is that
 * of the accepted pivots; the error log gets "Estimated covariance matrix is singular.".
 *
 * @param reserved     ignored
 * @param means        one double per variable, only read
 * @param covariance   packed, only read
 * @param likelihoods  out: one double per case, in load order
 * @return 0; 1 if there is no group
 */
DS_API int32_t DS_GetLikelihoods(int32_t reserved, const double *means, const double *covariance, double *likelihoods);

/**
 * Put every free case of the current group (group id 0 in the data) into a group.
 *
 * @param ids  one group id per case, in load order, any word; the entries of cases that the data fix are ignored
 * @return 0; 1 if there is no loaded current group
 */
DS_API int32_t DS_ImputeGroupMembership(const int32_t *ids);

#ifdef __cplusplus
}
#endif

#endif
