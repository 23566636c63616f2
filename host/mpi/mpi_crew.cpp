// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Dividing the ranks, and the messages of teams and chains.

#include "ullage/host/mpi/mpi_crew.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostUnsent = std::size_t{1} << 28;  // bytes that wait for rank 0

std::string_view bytes_of(std::span<const double> numbers) {
    return {reinterpret_cast<const char *>(numbers.data()), numbers.size_bytes()};
}

void append(const std::string &bytes, std::vector<double> &numbers) {
    const std::size_t before = numbers.size();
    numbers.resize(before + bytes.size() / sizeof(double));
    if (!bytes.empty()) std::memcpy(numbers.data() + before, bytes.data(), bytes.size());
}

/** Some ranks that follow each other. */
struct Group {
    std::size_t first;
    std::size_t size;
};

/** Which ranks run which chains: group g the chains g, g + groups and so on, counted from the first. */
class Division {
public:
    Division(const ChainWork &work, std::size_t ranks) : work_(work) {
        const std::size_t groups = std::min(ranks, work.count);
        const std::size_t used = std::min(ranks, groups * work.most_members);
        std::size_t next = 0;
        for (std::size_t g = 0; g < groups; ++g) {
            groups_.push_back({next, used / groups + (g < used % groups ? 1 : 0)});
            next += groups_.back().size;
        }
    }
    [[nodiscard]] const std::vector<Group> &groups() const { return groups_; }
    [[nodiscard]] std::size_t group_of(std::size_t rank) const {
        std::size_t g = 0;
        while (g < groups_.size() && rank >= groups_[g].first + groups_[g].size) ++g;
        return g;
    }
    [[nodiscard]] std::vector<std::size_t> chains_of(std::size_t group) const {
        std::vector<std::size_t> chains;
        for (std::size_t c = group; c < work_.count; c += groups_.size()) chains.push_back(work_.first + c);
        return chains;
    }

private:
    const ChainWork &work_;
    std::vector<Group> groups_;
};

class MpiTeam : public Team {
public:
    MpiTeam(Ranks &ranks, Group group) : ranks_(ranks), group_(group), numbers_(group.size) {}

    [[nodiscard]] std::size_t size() const override { return group_.size; }
    [[nodiscard]] std::size_t number() const override { return ranks_.number() - group_.first; }

    [[nodiscard]] std::vector<std::span<const double>> exchange(std::span<const double> own) override {
        for (std::size_t member = 0; member < size(); ++member) {
            if (member != number()) ranks_.send(group_.first + member, MessageTag::exchange, bytes_of(own));
        }
        std::vector<std::span<const double>> all;
        for (std::size_t member = 0; member < size(); ++member) {
            if (member == number()) {
                all.push_back(own);
                continue;
            }
            numbers_[member].clear();
            append(ranks_.receive(group_.first + member, MessageTag::exchange), numbers_[member]);
            all.emplace_back(numbers_[member]);
        }
        return all;
    }

    [[nodiscard]] std::span<const double> gather_cells(std::size_t, std::span<const double> own) override {
        if (number() != 0) {
            const std::size_t size = own.size_bytes();
            ranks_.send(group_.first, MessageTag::cells, {reinterpret_cast<const char *>(&size), sizeof size});
            if (size > 0) ranks_.send(group_.first, MessageTag::cells, bytes_of(own));
            return {};
        }
        cells_.assign(own.begin(), own.end());
        for (std::size_t member = 1; member < size(); ++member) {
            const std::string head = ranks_.receive(group_.first + member, MessageTag::cells);
            std::size_t left = 0;
            std::memcpy(&left, head.data(), sizeof left);
            while (left > 0) {
                const std::string piece = ranks_.receive(group_.first + member, MessageTag::cells);
                append(piece, cells_);
                left -= piece.size();
            }
        }
        return cells_;
    }

private:
    Ranks &ranks_;
    Group group_;
    std::vector<std::vector<double>> numbers_;  // of each member, but for this one
    std::vector<double> cells_;
};

/** What rank 0 knows of the chains of all groups. */
class Gathering {
public:
    Gathering(Ranks &ranks, const Division &division, const ChainWork &work)
        : ranks_(ranks), work_(work), division_(division) {
        for (std::size_t g = 0; g < division.groups().size(); ++g) groups_.push_back({division.chains_of(g), {}});
    }

    void take(std::size_t group, std::string_view bytes) {
        Chains &chains = groups_[group];
        chains.frames.take(bytes, [&](const Frame &frame) {
            if (frame.head.kind == FrameKind::end) {
                chains.left.erase(chains.left.begin());
                ++ended_;
            } else if (frame.head.kind == FrameKind::rest) {
                ++resting_;
            } else {
                work_.take(chains.left.front(), frame);
            }
        });
    }

    void wait_for_all() {
        ranks_.wait_while([&] { return ended_ < work_.count; });
    }

    /** Wait until all chains rest, and tell those of other ranks whether there is another round. */
    [[nodiscard]] bool end_round() {
        ranks_.wait_while([&] { return resting_ < work_.count; });
        resting_ = 0;
        const bool goes_on = work_.again();
        if (goes_on) ++rounds_;
        for (std::size_t g = 1; g < groups_.size(); ++g) {
            ranks_.send(division_.groups()[g].first, MessageTag::word, goes_on ? "1" : "0");
        }
        return goes_on;
    }
    [[nodiscard]] std::size_t rounds() const { return rounds_; }

private:
    struct Chains {
        std::vector<std::size_t> left;
        FrameReader frames;
    };
    Ranks &ranks_;
    const ChainWork &work_;
    const Division &division_;
    std::vector<Chains> groups_;
    std::size_t ended_ = 0;
    std::size_t resting_ = 0;
    std::size_t rounds_ = 0;
};

/** What a rank other than 0 draws goes to rank 0. */
class MessageWriter : public FrameWriter {
public:
    explicit MessageWriter(Ranks &ranks) : ranks_(ranks) {}

private:
    void put(std::string_view bytes) override {
        ranks_.send(0, MessageTag::frames, bytes);
        ranks_.wait_while([&] { return ranks_.unsent() > kMostUnsent; });
        (void)ranks_.look();
    }
    [[nodiscard]] bool wait_for_word() override { return ranks_.receive(0, MessageTag::word) == "1"; }
    Ranks &ranks_;
};

/** What rank 0 draws is there already. */
class OwnWriter : public FrameWriter {
public:
    OwnWriter(Ranks &ranks, Gathering &gathering) : ranks_(ranks), gathering_(gathering) {}

private:
    void put(std::string_view bytes) override {
        gathering_.take(0, bytes);
        (void)ranks_.look();
    }
    [[nodiscard]] bool wait_for_word() override { return gathering_.end_round(); }
    Ranks &ranks_;
    Gathering &gathering_;
};

void draw_chains(Ranks &ranks, const Division &division, const ChainWork &work, FrameWriter &writer) {
    const std::size_t group = division.group_of(ranks.number());
    if (group == division.groups().size()) return;
    MpiTeam team(ranks, division.groups()[group]);
    for (const std::size_t chain : division.chains_of(group)) {
        work.draw(chain, team, writer);
        if (team.number() == 0) writer.write(FrameKind::end, 0);
        writer.flush();
    }
}

/** As long as it lives, frames go to a reader. */
class FrameReading {
public:
    FrameReading(Ranks &ranks, std::function<void(std::size_t, std::string_view)> reader) : ranks_(ranks) {
        ranks_.set_frame_reader(std::move(reader));
    }
    ~FrameReading() { ranks_.set_frame_reader({}); }
    FrameReading(const FrameReading &) = delete;
    FrameReading &operator=(const FrameReading &) = delete;

private:
    Ranks &ranks_;
};

std::size_t lead(Ranks &ranks, const Division &division, const ChainWork &work) {
    Gathering gathering(ranks, division, work);
    const FrameReading reading(
        ranks, [&](std::size_t from, std::string_view bytes) { gathering.take(division.group_of(from), bytes); });
    OwnWriter writer(ranks, gathering);
    draw_chains(ranks, division, work, writer);
    gathering.wait_for_all();
    for (std::size_t rank = 1; rank < ranks.size(); ++rank) {
        ranks.send(rank, MessageTag::done, std::to_string(gathering.rounds()));
    }
    return gathering.rounds();
}

}  // namespace

std::uint64_t MpiCrew::agree(std::uint64_t number, const std::string &facts) {
    if (!leads()) {
        ranks_.send(0, MessageTag::facts, facts + '\n' + ranks_.name());
        return std::stoull(ranks_.receive(0, MessageTag::number));
    }
    for (std::size_t rank = 1; rank < ranks_.size(); ++rank) {
        const std::string theirs = ranks_.receive(rank, MessageTag::facts);
        if (theirs.starts_with(facts + '\n')) continue;
        throw Error(Fault::data, fmt::format("{} has read another table or prior than {}, or is another version or "
                                             "command: all must see the same files",
                                             theirs.substr(theirs.rfind('\n') + 1), ranks_.name()));
    }
    for (std::size_t rank = 1; rank < ranks_.size(); ++rank) {
        ranks_.send(rank, MessageTag::number, std::to_string(number));
    }
    return number;
}

void MpiCrew::share(std::vector<double> &numbers) {
    if (leads()) {
        for (std::size_t rank = 1; rank < ranks_.size(); ++rank) {
            ranks_.send(rank, MessageTag::number, bytes_of(numbers));
        }
        return;
    }
    numbers.clear();
    append(ranks_.receive(0, MessageTag::number), numbers);
}

std::size_t MpiCrew::run(const ChainWork &work) {
    if (work.again && ranks_.size() < work.count) {
        throw Error(Fault::usage, fmt::format("--until-converged keeps every chain in memory, and a rank holds one: "
                                              "start at least {} ranks",
                                              work.count));
    }
    const Division division(work, ranks_.size());
    if (leads()) return lead(ranks_, division, work);
    MessageWriter writer(ranks_);
    draw_chains(ranks_, division, work, writer);
    return std::stoull(ranks_.receive(0, MessageTag::done));
}

}  // namespace ullage::host
