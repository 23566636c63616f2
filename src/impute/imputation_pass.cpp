// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One pass over a range of cases.
//
// The cases are taken in chunks. For each chunk the models of its distinct patterns are built, and then its cases are
// drawn in load order, so that the numbers of the source, the messages and the failures come as if each case built its
// own model.

#include "impute/imputation_pass.h"

#include <algorithm>
#include <cstddef>

#include "data/case_record.h"
#include "data/pattern_table.h"
#include "frame/log.h"
#include "impute/conditional_model.h"
#include "impute/gibbs_chain.h"
#include "impute/random_source.h"
#include "impute/shared_sweep.h"
#include "matrix/prediction_kernel.h"
#include "matrix/vector_kernel.h"

namespace {

// What the models of a chunk may take, the last one excepted. More lets more patterns share the beginning of a sweep;
// less keeps the models in the processor's cache until their cases are drawn.
constexpr std::size_t kChunkBytes = std::size_t{1} << 20;

enum class CaseMode { none, conventional, gibbs };

CaseMode choose_mode(CaseKind kind) {
    if (kind == CaseKind::bounded) return CaseMode::gibbs;
    if (kind == CaseKind::complete) return CaseMode::none;
    return state.force_level > 1 ? CaseMode::gibbs : CaseMode::conventional;
}

// The distinct patterns of a chunk of cases. The places are the group's, as there is one for each of its patterns, but
// belong to the pass at hand. A pattern belongs to the chunk if the entry at its place names it, so the
// places never have to be cleared (the sparse set of Briggs and Torczon 1993).
struct ChunkPatterns {
    std::uint32_t *places;   // one per pattern of the group
    PatternNeeds *patterns;  // those of the chunk
    std::uint32_t count;
};

PatternNeeds *find_pattern(const ChunkPatterns &chunk, std::int32_t pattern) {
    const std::uint32_t place = chunk.places[pattern];
    return place < chunk.count && chunk.patterns[place].pattern == pattern ? &chunk.patterns[place] : nullptr;
}

// What every model takes, whatever its arrays.
std::size_t least_model_bytes(std::size_t variable_count) {
    return sizeof(ConditionalModel) + variable_count * sizeof(std::int32_t);
}

// Note what the cases from first on need, up to last or until the models take a chunk's memory. Gives the end of the
// chunk, whose patterns are then in ascending order.
std::int32_t collect_patterns(const Group &group, std::int32_t group_number, std::int32_t first, std::int32_t last,
                              ChunkPatterns &chunk) {
    chunk.count = 0;
    std::size_t bytes = 0;
    std::int32_t i = first;
    for (; i < last; ++i) {
        const auto index = static_cast<std::size_t>(i);
        const CaseOutline outline = group.outlines[index];
        const CaseMode mode = choose_mode(outline.kind);
        if (mode == CaseMode::none || !is_selected(group, index, group_number)) continue;
        const bool root = mode == CaseMode::conventional;
        const bool chain = mode == CaseMode::gibbs;
        PatternNeeds *noted = find_pattern(chunk, outline.pattern_index);
        if (noted != nullptr && noted->root >= root && noted->chain >= chain) continue;
        const CaseRecord &record = *group.case_index[index];
        const PatternNeeds needed{outline.pattern_index, record.missing_count + record.bounded_count, root, chain};
        if (bytes > kChunkBytes) break;
        bytes += least_model_bytes(static_cast<std::size_t>(group.variable_count)) +
                 conditional_model_size(group.variable_count, needed) * sizeof(double);
        if (noted == nullptr) {
            chunk.places[outline.pattern_index] = chunk.count;
            chunk.patterns[chunk.count++] = needed;
        } else {
            noted->root = noted->root || needed.root;
            noted->chain = noted->chain || needed.chain;
        }
    }
    std::sort(chunk.patterns, chunk.patterns + chunk.count,
              [](const PatternNeeds &left, const PatternNeeds &right) { return left.pattern < right.pattern; });
    for (std::uint32_t place = 0; place < chunk.count; ++place) chunk.places[chunk.patterns[place].pattern] = place;
    return i;
}

// Scratch of the drawing of a case, sized for all variables.
struct CaseScratch {
    double *deviations;
    double *conditional_mean;  // filled up to whole vectors
    double *drawn;             // for twice as many
};

// One vector from the conditional distribution; nothing that the cells held before plays a part.
int draw_directly(const ConditionalModel &model, double *values, const CaseScratch &scratch) {
    if (model.root == nullptr) {
        log_printf(state.ErrorLog, u"Error: Couldn't find square root of matrix.");
        return 1;
    }
    if (state.random_source == nullptr) {
        log_printf(state.ErrorLog, u"No random source was given.\n");
        return 1;
    }
    next_multivariate_normal(model.unobserved_count, scratch.drawn, scratch.conditional_mean, model.root);
    const std::int32_t *unobserved = model.order + model.observed_count;
    for (std::int32_t t = 0; t < model.unobserved_count; ++t) values[unobserved[t]] = scratch.drawn[t];
    return 0;
}

int draw_by_chain(const Group &group, const ConditionalModel &model, double *values, const CellState *states,
                  const CaseScratch &scratch) {
    if (model.coefficients == nullptr) {
        log_printf(state.ErrorLog, u"Couldn't invert covariance matrix in gibbs_prepare().\n");
        return 1;
    }
    for (std::int32_t t = 0; t < model.negative_variances; ++t) log_printf(state.TraceLog, u"less than zero\n");
    const ChainModel chain{model.unobserved_count,   model.order + model.observed_count,
                           scratch.conditional_mean, model.coefficients,
                           model.chain_sd,           model.start_sd};
    return run_chain(group, chain, values, states, scratch.drawn);
}

// Draw the selected cases first to last - 1, whose patterns are all in the chunk.
int draw_cases(const Group &group, std::int32_t group_number, const double *means, std::int32_t first,
               std::int32_t last, const ChunkPatterns &chunk, const ConditionalModel *models,
               const CaseScratch &scratch) {
    const auto end = static_cast<std::size_t>(last);
    for (auto i = static_cast<std::size_t>(first); i < end; ++i) {
        const CaseOutline outline = group.outlines[i];
        const CaseMode mode = choose_mode(outline.kind);
        if (mode == CaseMode::none || !is_selected(group, i, group_number)) continue;
        const ConditionalModel &model = models[chunk.places[outline.pattern_index]];
        prediction_kernel(static_cast<std::size_t>(model.observed_count),
                          static_cast<std::size_t>(model.unobserved_count), model.order, model.regression,
                          outline.values, means, scratch.deviations, scratch.conditional_mean);
        const int result = mode == CaseMode::conventional
                               ? draw_directly(model, outline.values, scratch)
                               : draw_by_chain(group, model, outline.values, group.case_index[i]->states, scratch);
        if (result != 0) return 1;
    }
    return 0;
}

}  // namespace

int impute_group(const Group &group, std::int32_t group_number, const double *means, const double *covariance,
                 std::int32_t first, std::int32_t last) {
    RegionPool &pool = state.WorkPool;
    pool_mark(pool);
    const PoolMarkGuard release(pool);
    const auto nv = static_cast<std::size_t>(group.variable_count);
    const CaseScratch scratch{pool_array<double>(pool, nv), pool_array<double>(pool, padded_length(nv)),
                              pool_array<double>(pool, checked_product(nv, 2))};
    const auto pattern_count = static_cast<std::size_t>(group.pattern_count);
    const std::size_t most_patterns = std::min(pattern_count, kChunkBytes / least_model_bytes(nv) + 1);
    const std::size_t largest_model = largest_model_size(group.variable_count);
    const std::size_t model_size =
        std::min(kChunkBytes / sizeof(double), checked_product(pattern_count, largest_model)) + largest_model;
    const ModelRoom room = take_model_room(group.variable_count, model_size, most_patterns);
    ChunkPatterns chunk{group.pattern_places.get(), pool_array<PatternNeeds>(pool, most_patterns), 0};
    auto *models = pool_array<ConditionalModel>(pool, most_patterns);

    for (std::int32_t begin = first - 1; begin < last;) {
        const std::int32_t end = collect_patterns(group, group_number, begin, last, chunk);
        build_models(group, covariance, room, chunk.count, chunk.patterns, models);
        if (draw_cases(group, group_number, means, begin, end, chunk, models, scratch) != 0) return 1;
        begin = end;
    }
    return 0;
}
