// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether prior and table make a posterior distribution.

#ifndef ULLAGE_HOST_MODEL_PROPRIETY_H
#define ULLAGE_HOST_MODEL_PROPRIETY_H

#include <cstdint>
#include <span>

#include "ullage/host/base/notice.h"
#include "ullage/host/model/model_table.h"

namespace ullage::host {

/**
 * Refuse a level of one normal distribution whose posterior distribution is improper: no chain settles under it, and
 * what it draws depends on how long it ran. Only what surely is improper is refused:
 *
 * - under flat means, a column that is bounded from one side alone: its mean may be as far off as one likes;
 * - under c cases of the covariance and flat means, a column of k cells that are numbers or intervals, where all else
 * is bounded from one side: its standard deviation s has a density like s^-(c + k) far out, which has no finite
 * integral for c + k up to 1 (with a proper mean one more case is there);
 * - without a prior scatter, a column without a number whose bounds leave a value for all of it: its variance may be 0;
 * - without a prior scatter, two columns of which no row tells anything together: their partial correlation may be 1.
 *
 * Columns with rules or cells ordered with others are taken as they are.
 *
 * @param prior  by which the level is judged
 * @param rows   of the level
 * @throws Error  data: which columns, and which prior or other model makes it proper
 */
void check_propriety(const ModelTable &model, const Level &level, const Prior &prior,
                     std::span<const std::int32_t> rows);

/** What makes a posterior distribution doubtful before anything is drawn: hardly more complete rows than columns under
 * a prior without a scatter. */
[[nodiscard]] Notices doubts_of_propriety(const ModelTable &model);

}  // namespace ullage::host

#endif
