// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Fuzzes whole sessions: the bytes are a program of calls, in any order, with any arguments. Oracles: a model of the
// session gives every result and count; guards around outputs; marks are balanced; draws respect constant bounds; and
// the plain road, which runs the same program, gives the same bits, the same calls of the source and the same logs.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "support/byte_feed.h"
#include "support/engine_functions.h"
#include "support/engine_inside.h"
#include "support/failure.h"
#include "support/fuzz_text.h"
#include "support/guarded_output.h"
#include "support/limited_heap.h"
#include "support/random_sources.h"
#include "support/session_model.h"
#include "support/temp_folder.h"
#include "ullage/random_source.h"

namespace {

constexpr std::size_t kHeapBudget = std::size_t{32} << 20;
constexpr std::size_t kMostCalls = 80;
constexpr std::size_t kMostCells = 300;    // larger tables end the program, to keep inputs fast
constexpr int kMostNumbers = 2'000'000;    // of one pass; more means that a loop does not end
constexpr std::int32_t kEndless = -12345;  // status of a source that was asked for more

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

constexpr const char16_t *kNames[] = {u"a", u"B", u"c", u"A", u"d", u"", u"1e5", u"\xE9t\xE9", u"%s"};
constexpr std::int32_t kSmallNumbers[] = {0, 1, 2, 3, 4, 5, -1, 100, INT32_MAX, INT32_MIN};

// A seeded source that stops a pass which would not end.
struct SessionSource final : TestSource {
    SessionSource(std::uint64_t seed, int fail_at) : numbers(seed, fail_at) {}

    std::int32_t NextUniform(double *out) override { return is_endless() ? kEndless : numbers.NextUniform(out); }
    std::int32_t NextStandardNormal(double *out) override {
        return is_endless() ? kEndless : numbers.NextStandardNormal(out);
    }
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        return is_endless() ? kEndless : numbers.NextMultivariateNormal(n, out, mean, root);
    }

    bool is_endless() const { return numbers.call_count >= kMostNumbers; }

    SeededSource numbers;
};

struct Parameters {
    std::vector<double> means;
    std::vector<double> covariance;
    bool is_tame;  // far from every numerical limit
};

Parameters choose_parameters(ByteFeed &feed, std::size_t n) {
    static constexpr double kMeans[] = {0.0, 1.0, -2.5, 5.0, 1e6, 1e300, kNan, -kInfinity};
    static constexpr double kCorrelations[] = {0.0, 0.5, -0.5, 0.9, 1.0, 1.0 - 0x1p-50, 2.0};
    static constexpr double kVariances[] = {1.0, 4.0, 0.25, 1e-15, 1e-300, 1e300, 0.0, -1.0, kNan, kInfinity};
    const std::uint8_t kind = feed.byte();
    Parameters chosen{std::vector<double>(n), {}, (kind & 0x80) == 0};
    const double correlation = kCorrelations[kind % (chosen.is_tame ? 4 : std::size(kCorrelations))];
    const std::uint8_t scale = feed.byte();
    const double variance = kVariances[scale % (chosen.is_tame ? 3 : std::size(kVariances))];
    for (std::size_t i = 0; i < n; ++i) {
        chosen.means[i] = kMeans[(scale + i) % (chosen.is_tame ? 4 : std::size(kMeans))];
        for (std::size_t j = 0; j <= i; ++j) {
            chosen.covariance.push_back(variance * std::pow(correlation, static_cast<double>(i - j)));
        }
    }
    if (!chosen.is_tame && n > 0) {
        const double odd_one = feed.pick(kVariances);
        chosen.covariance[feed.byte() % chosen.covariance.size()] = odd_one;
    }
    return chosen;
}

// One run of a program against one engine. What it sees goes into the transcript.
class Run {
public:
    Run(ByteFeed program, const EngineFunctions &engine, bool is_linked)
        : feed_(program), engine_(engine), is_linked_(is_linked) {}

    void play() {
        set_heap_budget(kHeapBudget);
        try {
            for (std::size_t i = 0; i < kMostCalls && !feed_.empty() && !is_over_; ++i) make_call();
            call("DS_GibbsClose", [&] { return engine_.DS_GibbsClose(); });
        } catch (const std::bad_alloc &) {
            ran_out_of_memory = true;
            check_marks("a call that ran out of memory");
            const EngineHeapScope limited;
            engine_.DS_GibbsClose();
        }
    }

    const TempFolder &folder() const { return folder_; }

    std::vector<std::string> transcript;
    bool ran_out_of_memory = false;

private:
    // Make one call of an export and note its result.
    template <typename Function>
    std::int32_t call(const char *name, Function function) {
        std::int32_t result;
        {
            const EngineHeapScope limited;
            result = function();
        }
        note(name, static_cast<double>(result));
        check_marks(name);
        return result;
    }

    template <typename Function>
    void call_for(std::int32_t expected, const char *name, Function function) {
        const std::int32_t result = call(name, function);
        if (result != expected) fail("%s gave %d, expected %d (call %zu)", name, result, expected, transcript.size());
    }

    // An output of one call, all of which goes into the transcript.
    template <typename Element, typename Function>
    std::vector<Element> call_with_output(std::int32_t expected, std::size_t count, const char *name,
                                          Function function) {
        GuardedOutput<Element> output(count);
        call_for(expected, name, [&] { return function(output.data()); });
        output.check(expected != 0, name);
        if (expected != 0) return {};
        std::vector<Element> elements(output.elements().begin(), output.elements().end());
        for (Element element : elements) note(name, static_cast<double>(element));
        return elements;
    }

    void note(const char *name, double value) {
        char line[80];
        // One NaN is as good as another: sign and payload depend on the processor.
        std::snprintf(line, sizeof line, "%s %a", name, std::isnan(value) ? kNan : value);
        transcript.emplace_back(line);
    }

    void check_marks(const char *name) const {
        if (is_linked_ && has_open_mark()) fail("%s left a mark open", name);
    }

    void expect_count(const char *name, std::int32_t got, std::int32_t expected) const {
        if (got != expected) fail("%s counted %d, expected %d", name, got, expected);
    }

    std::int32_t number() { return feed_.pick(kSmallNumbers); }

    bool is_null() { return feed_.byte() % 16 == 15; }

    std::u16string name() { return feed_.pick(kNames); }

    void make_call() {
        switch (feed_.byte() % 32) {
            case 0:
                return open();
            case 1:
                return close();
            case 2:
            case 3:
                return create_group();
            case 4:
                return go_to_group();
            case 5:
                return read_last_error();
            case 6:
                return set_switch();
            case 7:
                return define_key();
            case 8:
                return name_weight();
            case 9:
            case 10:
            case 11:
                return load();
            case 12:
                return end_keys();
            case 13:
                return read_names();
            case 14:
                return read_sizes();
            case 15:
                return read_cell();
            case 16:
                return read_values();
            case 17:
                return read_moments();
            case 18:
                return read_likelihoods();
            case 19:
                return set_membership();
            default:
                return impute();
        }
    }

    void open() {
        static constexpr const char16_t *kBadPaths[] = {u"", u"/", u"/nowhere/at/all"};
        const std::uint8_t kind = feed_.byte();
        const std::u16string trace = kind % 8 == 7 ? feed_.pick(kBadPaths) : folder_.wide_path("trace");
        const std::u16string error = kind % 8 == 6 ? feed_.pick(kBadPaths) : folder_.wide_path("error");
        const bool has_trace = kind != 255;
        model_.open();
        call_for(0, "DS_GibbsOpen",
                 [&] { return engine_.DS_GibbsOpen(has_trace ? trace.c_str() : nullptr, error.c_str()); });
    }

    void close() {
        model_.close();
        call_for(0, "DS_GibbsClose", [&] { return engine_.DS_GibbsClose(); });
    }

    void create_group() {
        static constexpr std::int32_t kCounts[] = {1, 2, 3, 4, 0, -1, INT32_MIN};
        const std::int32_t key_count = feed_.pick(kCounts);
        const std::int32_t capacity = feed_.pick(kCounts) + 1;
        const bool has_output = !is_null();
        const std::int32_t expected = model_.create_group(key_count, capacity, has_output);
        const std::vector<std::int32_t> count =
            call_with_output<std::int32_t>(expected, 1, "DS_CreateGroup", [&](std::int32_t *output) {
                return engine_.DS_CreateGroup(7, has_output ? output : nullptr, key_count, capacity, -7);
            });
        if (expected == 0) expect_count("DS_CreateGroup", count[0], model_.listed_group_count());
    }

    void go_to_group() {
        const std::int32_t group = number();
        call_for(model_.go_to(group), "DS_GoToGroup", [&] { return engine_.DS_GoToGroup(group); });
    }

    void read_last_error() {
        static constexpr std::int32_t kCapacities[] = {500, 37, 36, 38, 1, 0, -1};
        const std::int32_t capacity = feed_.pick(kCapacities);
        const bool has_output = !is_null() && capacity > 0;
        const std::u16string &expected = model_.last_error;
        const bool fits = has_output && expected.size() < static_cast<std::size_t>(capacity);
        GuardedOutput<char16_t> text(static_cast<std::size_t>(std::max(capacity, 0)));
        call_for(fits ? 0 : 1, "DS_GetErrorMessageW",
                 [&] { return engine_.DS_GetErrorMessageW(has_output ? text.data() : nullptr, capacity); });
        text.check(!has_output, "DS_GetErrorMessageW");
        if (has_output && (fits ? expected : u"") != std::u16string(text.data())) fail("the last error differs");
    }

    void set_switch() {
        const std::int32_t word = number();
        switch (feed_.byte() % 7) {
            case 0:
                model_.mixture_mode = word;
                return engine_.DS_SetMixtureModeling(word);
            case 1:
                return call_for(0, "DS_ForceMC", [&] { return engine_.DS_ForceMC(); });
            case 2:
                return call_for(0, "DS_ForceGibbs", [&] { return engine_.DS_ForceGibbs(); });
            case 3:
                model_.test_word = word;
                return engine_.DS_SetTest(word);
            case 4:
                return call_for(model_.test_word, "DS_GetTest", [&] { return engine_.DS_GetTest(); });
            case 5:
                return call_for(0, "DS_KeySelect", [&] { return engine_.DS_KeySelect(word, ~word); });
            default:
                model_.rank_order = true;
                return call_for(0, "DS_AllowRankOrder", [&] { return engine_.DS_AllowRankOrder(); });
        }
    }

    void define_key() {
        const std::int32_t slot = number();
        const bool is_long = feed_.byte() == 255;
        const std::u16string key = is_long ? std::u16string(12000, u'k') : name();
        call_for(model_.define_key(slot, key), "DS_KeyVariableDef",
                 [&] { return engine_.DS_KeyVariableDef(slot, key.empty() ? nullptr : key.c_str()); });
    }

    void name_weight() {
        const std::u16string weight = name();
        call_for(model_.name_weight(weight), "DS_KeyWeight", [&] { return engine_.DS_KeyWeight(weight.c_str()); });
    }

    // A table with the names a, B, c, d, of which the last can be a weight, out of cells that load more often than not.
    std::u16string well_formed_text() {
        static constexpr const char16_t *kCells[] = {
            u"1.5",  u"*",     u"*",   u"<1",    u"0<",     u"0<<2", u"-2<<-1", u"1.9<<2", u"<a",   u"B<",   u"a<<c",
            u"<5;7", u";<5",   u" ",   u"a<B<c", u"<1e300", u"3<<1", u"-4",     u"0.25",   u"1|2<", u"<a|3", u"6<",
            u"*",    u"1e300", u"<-9", u"2",     u"1e307",  u"abc",  u"1<2",    u"<d",     u"-1<<", u"<0"};
        static constexpr const char16_t *kIds[] = {u"1", u"2", u"0", u"1", u"-1", u"x"};
        static constexpr const char16_t *kNamesLine[] = {u"a", u"B", u"c", u"d", u"e"};
        const std::size_t variable_count = feed_.byte() % 5 + 1;
        const std::size_t line_count = feed_.byte() % 7;
        const bool has_ids = model_.mixture_mode != 0;
        const std::u16string counts = text_of(line_count) + u"\t" + text_of(variable_count) + u"\n";
        std::u16string text = counts + (has_ids ? u"id\t" : u"");
        for (std::size_t i = 0; i < variable_count; ++i) text += kNamesLine[i] + end_of_item(i, variable_count);
        for (std::size_t line = 0; line < line_count; ++line) {
            if (has_ids) text += feed_.pick(kIds) + std::u16string(u"\t");
            for (std::size_t i = 0; i < variable_count; ++i) {
                text += feed_.pick(kCells) + end_of_item(i, variable_count);
            }
        }
        return text;
    }

    static std::u16string text_of(std::size_t number) {
        const std::string digits = std::to_string(number);
        return {digits.begin(), digits.end()};
    }

    static std::u16string end_of_item(std::size_t i, std::size_t count) { return i + 1 == count ? u"\n" : u"\t"; }

    void load() {
        const std::uint8_t kind = feed_.byte();
        std::u16string text = kind % 8 == 7 ? text_from_bytes(feed_.take(kind)) : well_formed_text();
        const std::u16string group_name = name();
        const std::int32_t expected = model_.load(group_name, text);
        const ModelGroup *group = model_.current();
        if (group != nullptr && (group->table.outcome == slow::Outcome::too_many ||
                                 group->table.cases.size() * (group->table.variables.size() + 1) > kMostCells)) {
            is_over_ = true;  // neither the model nor the clock likes it
            const EngineHeapScope limited;
            (void)engine_.DS_KeyGroupDef(group_name.c_str(), text.c_str());
            return;
        }
        call_for(expected, "DS_KeyGroupDef",
                 [&] { return engine_.DS_KeyGroupDef(group_name.c_str(), text.empty() ? nullptr : text.c_str()); });
    }

    void end_keys() {
        call_for(model_.current() != nullptr ? 0 : 1, "DS_KeyEnd", [&] { return engine_.DS_KeyEnd(); });
    }

    void read_names() {
        const std::int32_t group_number = number();
        const std::int32_t variable = number();
        const bool has_output = !is_null();
        const ModelGroup *group = model_.enter(group_number);
        const bool is_good = group != nullptr && group->has_variable(variable) && has_output;
        const std::u16string expected =
            is_good ? group->table.variables[static_cast<std::size_t>(variable - 1)].name : u"";
        const std::vector<std::int32_t> length =
            call_with_output<std::int32_t>(is_good ? 0 : 1, 1, "DS_VariableNameLength", [&](std::int32_t *output) {
                return engine_.DS_VariableNameLength(group_number, variable, has_output ? output : nullptr);
            });
        if (is_good) expect_count("DS_VariableNameLength", length[0], static_cast<std::int32_t>(expected.size()));
        const std::vector<char16_t> text =
            call_with_output<char16_t>(is_good ? 0 : 1, expected.size() + 1, "DS_VariableNameW", [&](char16_t *output) {
                return engine_.DS_VariableNameW(group_number, variable, has_output ? output : nullptr);
            });
        if (is_good && expected != text.data()) fail("a name differs");
    }

    void read_sizes() {
        const std::int32_t group_number = number();
        const bool has_output = !is_null();
        const ModelGroup *group = model_.enter(group_number);
        std::vector<std::int32_t> count = call_with_output<std::int32_t>(
            group != nullptr && has_output ? 0 : 1, 1, "DS_NVariables",
            [&](std::int32_t *output) { return engine_.DS_NVariables(group_number, has_output ? output : nullptr); });
        if (!count.empty()) expect_count("DS_NVariables", count[0], group->variable_count());

        const bool is_mixture = model_.mixture_mode != 0;
        const bool is_good = group != nullptr && has_output && (!is_mixture || group->is_loaded());
        count = call_with_output<std::int32_t>(is_good ? 0 : 1, 1, "DS_GetSampleSize", [&](std::int32_t *output) {
            return engine_.DS_GetSampleSize(group_number, has_output ? output : nullptr);
        });
        if (is_good) {
            const auto selected = std::count(group->current_ids.begin(), group->current_ids.end(), group_number);
            expect_count("DS_GetSampleSize", count[0],
                         is_mixture ? static_cast<std::int32_t>(selected) : group->case_count());
        }

        group = model_.enter(1);
        count = call_with_output<std::int32_t>(
            group != nullptr && has_output ? 0 : 1, 1, "DS_GetGroupOneTotalSampleSize",
            [&](std::int32_t *output) { return engine_.DS_GetGroupOneTotalSampleSize(has_output ? output : nullptr); });
        if (!count.empty()) expect_count("DS_GetGroupOneTotalSampleSize", count[0], group->case_count());
    }

    void read_cell() {
        const std::int32_t group_number = number();
        const std::int32_t case_number = number();
        const std::int32_t variable = number();
        const bool has_output = !is_null();
        const ModelGroup *group = model_.enter(group_number);
        const bool is_good =
            group != nullptr && group->has_case(case_number) && group->has_variable(variable) && has_output;
        const std::vector<std::int32_t> type =
            call_with_output<std::int32_t>(is_good ? 0 : 1, 1, "DS_ConstraintTypeScalar", [&](std::int32_t *output) {
                return engine_.DS_ConstraintTypeScalar(group_number, case_number, variable,
                                                       has_output ? output : nullptr);
            });
        const std::vector<double> value =
            call_with_output<double>(is_good ? 0 : 1, 1, "DS_DataScalar", [&](double *output) {
                return engine_.DS_DataScalar(group_number, case_number, variable, has_output ? output : nullptr);
            });
        if (!is_good) return;
        const slow::Cell &cell =
            group->table.cases[static_cast<std::size_t>(case_number - 1)].cells[static_cast<std::size_t>(variable - 1)];
        expect_count("DS_ConstraintTypeScalar", type[0], static_cast<std::int32_t>(cell.state));
        expect_value(value[0], cell.value);
    }

    void expect_value(double got, double expected) const {
        if (std::isnan(got) && std::isnan(expected)) return;
        if (std::bit_cast<std::uint64_t>(got) != std::bit_cast<std::uint64_t>(expected)) {
            fail("a cell holds %a, expected %a", got, expected);
        }
    }

    void read_values() {
        const std::int32_t group_number = number();
        const std::int32_t case_number = number();
        const bool has_output = !is_null();
        const ModelGroup *group = model_.enter(group_number);
        const std::size_t variable_count = group == nullptr ? 0 : group->table.variables.size();
        const bool has_case = group != nullptr && group->has_case(case_number) && has_output;
        const std::vector<double> one =
            call_with_output<double>(has_case ? 0 : 1, variable_count, "DS_DataVector", [&](double *output) {
                return engine_.DS_DataVector(group_number, case_number, has_output ? output : nullptr);
            });
        for (std::size_t i = 0; i < one.size(); ++i) {
            expect_value(one[i], group->table.cases[static_cast<std::size_t>(case_number - 1)].cells[i].value);
        }
        const bool has_matrix = group != nullptr && group->is_loaded() && has_output;
        const std::vector<double> all = call_with_output<double>(
            has_matrix ? 0 : 1, variable_count * (group == nullptr ? 0 : group->table.cases.size()), "DS_DataMatrix",
            [&](double *output) { return engine_.DS_DataMatrix(group_number, has_output ? output : nullptr); });
        for (std::size_t i = 0; i < all.size(); ++i) {
            expect_value(all[i], group->table.cases[i / variable_count].cells[i % variable_count].value);
        }
    }

    void read_moments() {
        const std::int32_t group_number = number();
        const bool has_output = !is_null();
        const std::int32_t divisor = feed_.byte() % 2;
        const ModelGroup *group = model_.enter(group_number);
        const std::int32_t expected = group != nullptr && group->is_loaded() && has_output ? 0 : 1;
        const std::size_t n = group == nullptr ? 0 : group->table.variables.size();
        GuardedOutput<double> means(n);
        (void)call_with_output<double>(expected, n * (n + 1) / 2, "DS_SampleMoments", [&](double *output) {
            return engine_.DS_SampleMoments(group_number, means.data(), has_output ? output : nullptr, divisor);
        });
        means.check(expected != 0, "DS_SampleMoments");
        if (expected == 0) {
            for (double mean : means.elements()) note("mean", mean);
        }
    }

    void read_likelihoods() {
        const ModelGroup *group = model_.enter(1);
        const std::size_t n = group == nullptr ? 0 : group->table.variables.size();
        const Parameters parameters = choose_parameters(feed_, n);
        const bool has_output = !is_null();
        const std::int32_t expected = group != nullptr && group->is_loaded() && has_output ? 0 : 1;
        (void)call_with_output<double>(
            expected, group == nullptr ? 0 : group->table.cases.size(), "DS_GetLikelihoods", [&](double *output) {
                return engine_.DS_GetLikelihoods(9, pointer_to(parameters.means), pointer_to(parameters.covariance),
                                                 has_output ? output : nullptr);
            });
    }

    // A pointer that is not null, also to nothing.
    static const double *pointer_to(const std::vector<double> &values) {
        static constexpr double kNothing = 0.0;
        return values.empty() ? &kNothing : values.data();
    }

    void set_membership() {
        ModelGroup *group = model_.current();
        const bool has_ids = !is_null();
        const bool is_good = group != nullptr && group->is_loaded() && has_ids;
        std::vector<std::int32_t> ids(group == nullptr ? 1 : group->table.cases.size() + 1);
        for (std::int32_t &id : ids) id = feed_.byte() % 4 - 1;
        if (is_good) {
            for (std::size_t i = 0; i < group->table.cases.size(); ++i) {
                if (group->table.cases[i].group_id == 0) group->current_ids[i] = ids[i];
            }
        }
        call_for(is_good ? 0 : 1, "DS_ImputeGroupMembership",
                 [&] { return engine_.DS_ImputeGroupMembership(has_ids ? ids.data() : nullptr); });
    }

    struct Range {
        std::size_t first;  // 0-based
        std::size_t end;

        bool holds(std::size_t i) const { return i >= first && i < end; }
    };

    void impute() {
        static constexpr std::int32_t kFirst[] = {0, 1, 0, 1, 2, 3, -1, INT32_MAX, INT32_MIN};
        static constexpr std::int32_t kLast[] = {0, 0, 0, 1, 2, 3, -1, INT32_MAX, INT32_MIN};
        const std::uint8_t kind = feed_.byte();
        const std::int32_t group_number = (kind & 1) != 0 ? number() : 1;
        const std::int32_t first = (kind & 2) != 0 ? feed_.pick(kFirst) : 0;
        const std::int32_t last = (kind & 4) != 0 ? feed_.pick(kLast) : 0;
        const bool has_source = (kind & 0x38) != 0x38;
        const bool has_means = (kind & 0x68) != 0x68;
        const bool has_covariance = (kind & 0x54) != 0x54;
        ModelGroup *group = model_.enter(group_number);
        const Parameters parameters = choose_parameters(feed_, group == nullptr ? 0 : group->table.variables.size());
        const std::uint8_t seed = feed_.byte();
        const int fail_at = feed_.byte() % 8 == 7 ? feed_.byte() + 1 : 0;
        SessionSource source(seed, fail_at);

        const bool can_begin = group != nullptr && group->is_loaded() && has_means;
        const std::int32_t case_count = group == nullptr ? 0 : group->case_count();
        const std::int32_t from = first == 0 ? 1 : first;
        const std::int32_t to = last == 0 ? case_count : last;
        const bool is_range = from >= 1 && (from == 1 || from <= case_count) && to >= 0 && to <= case_count;
        const bool begins_pass = from == 1;
        const bool is_refused = !can_begin || !is_range ||
                                (begins_pass ? !has_covariance : model_.prepared_order != group->variable_count());

        bool is_thrown = false;
        const std::int32_t result = call("DS_Impute", [&]() -> std::int32_t {
            try {
                return engine_.DS_Impute(group_number, has_means ? pointer_to(parameters.means) : nullptr,
                                         has_covariance ? pointer_to(parameters.covariance) : nullptr, first, last,
                                         has_source ? &source : nullptr);
            } catch (const ullage::RandomSourceError &error) {
                is_thrown = true;
                return error.status();
            }
        });
        note("numbers", source.numbers.call_count);
        if (source.is_endless()) fail("a pass took more than %d numbers", kMostNumbers);
        if (is_refused && (result != 1 || source.numbers.call_count != 0)) fail("a bad DS_Impute was not refused");
        if (is_thrown != (source.numbers.fail_at != 0 && source.numbers.call_count >= source.numbers.fail_at)) {
            fail("the source failed, but DS_Impute did not, or the other way round");
        }
        if (group == nullptr || !group->is_loaded()) return;
        if (!is_refused && begins_pass) model_.prepared_order = group->variable_count();
        const Range range{static_cast<std::size_t>(is_refused ? 0 : from - 1),
                          static_cast<std::size_t>(is_refused ? 0 : to)};
        // A pass that continues another one uses that one's covariance, which may not be tame.
        if (begins_pass) is_covariance_tame_ = parameters.is_tame;
        const bool respects_bounds = result == 0 && parameters.is_tame && is_covariance_tame_;
        take_over_values(*group, group_number, range, respects_bounds);
    }

    // Check the values that a pass has left, and put them into the model.
    void take_over_values(ModelGroup &group, std::int32_t group_number, Range range, bool respects_bounds) {
        const std::size_t variable_count = group.table.variables.size();
        const std::vector<double> values =
            call_with_output<double>(0, group.table.cases.size() * variable_count, "DS_DataMatrix",
                                     [&](double *output) { return engine_.DS_DataMatrix(group_number, output); });
        for (std::size_t row = 0; row < group.table.cases.size(); ++row) {
            slow::Case &record = group.table.cases[row];
            const bool is_imputed = range.holds(row) && model_.is_selected(group, row, group_number);
            for (std::size_t column = 0; column < variable_count; ++column) {
                slow::Cell &cell = record.cells[column];
                const double value = values[row * variable_count + column];
                if (!is_imputed || cell.state == slow::State::observed) expect_value(value, cell.value);
                cell.value = value;
            }
        }
        if (!respects_bounds) return;
        for (std::size_t row = 0; row < group.table.cases.size(); ++row) {
            if (range.holds(row) && model_.is_selected(group, row, group_number)) check_bounds(group, row);
        }
    }

    // Every unobserved cell is defined and lies within those of its bounds that cannot have moved since it was drawn.
    static void check_bounds(const ModelGroup &group, std::size_t row) {
        const slow::Case &record = group.table.cases[row];
        const std::vector<slow::Cell> &operands = group.table.cases[record.first_copy].cells;
        double largest = 1.0;
        for (const slow::Cell &cell : record.cells) largest = std::max(largest, std::fabs(cell.value));
        for (const slow::Cell &cell : operands) largest = std::max(largest, std::fabs(cell.value));
        if (!(largest < 1e6)) return;  // rounding is on that scale
        const double slack = 1e-9 * largest;
        for (const slow::Cell &cell : record.cells) {
            if (cell.state == slow::State::observed) continue;
            for (const slow::Bound &bound : cell.bounds) {
                if (bound.variable && operands[*bound.variable].state != slow::State::observed) continue;
                const double end = bound.variable ? operands[*bound.variable].value : bound.number;
                if (end == slow::kUndefined) continue;
                if (bound.is_upper ? cell.value > end + slack : cell.value < end - slack) {
                    fail("case %zu holds %a, %s its bound %a", row + 1, cell.value, bound.is_upper ? "above" : "below",
                         end);
                }
            }
        }
    }

    ByteFeed feed_;
    const EngineFunctions &engine_;
    bool is_linked_;
    TempFolder folder_;
    SessionModel model_;
    bool is_over_ = false;
    bool is_covariance_tame_ = false;
};

EngineFunctions linked_engine() {
    return {
#define ULLAGE_ADDRESS(name) &::name,
        ULLAGE_FOR_EACH_EXPORT(ULLAGE_ADDRESS)
#undef ULLAGE_ADDRESS
    };
}

void compare(const Run &fast, const Run &plain) {
    const std::size_t count = std::min(fast.transcript.size(), plain.transcript.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (fast.transcript[i] == plain.transcript[i]) continue;
        fail("line %zu of the transcript: %s, on the plain road %s", i, fast.transcript[i].c_str(),
             plain.transcript[i].c_str());
    }
    // The roads may need different amounts of memory, so either can stop first.
    if (fast.ran_out_of_memory || plain.ran_out_of_memory) return;
    if (fast.transcript.size() != plain.transcript.size()) fail("the roads saw different numbers of results");
    for (const char *log : {"trace", "error"}) {
        if (fast.folder().text(log) != plain.folder().text(log)) fail("the %s logs of the roads differ", log);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const EngineFunctions engine = linked_engine();
    const ByteFeed program(data, size);
    Run fast(program, engine, true);
    load_engine();
    fast.play();
    unload_engine();

    std::optional<EngineLibrary> library(ULLAGE_PLAIN_LIBRARY);
    Run plain(program, library->functions(), false);
    plain.play();
    library.reset();  // which completes the logs
    compare(fast, plain);
    return 0;
}
