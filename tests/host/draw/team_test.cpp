// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Teams: what their members tell each other, and what becomes of a team whose member fails.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "ullage/host/base/error.h"
#include "ullage/host/draw/local_team.h"

namespace {

using namespace ullage::host;

std::string error_of(const std::function<void(Team &)> &work) {
    try {
        run_team(3, 10, 0, work);
    } catch (const Error &error) {
        return error.what();
    }
    return "";
}

bool has_children() {
    return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

TEST(Team, GivesEveryMemberWhatAllPutIn) {
    for (const std::size_t members : {1, 2, 5}) {
        std::size_t turns = 0;
        run_team(members, 4, members, [&](Team &team) {
            const auto own = static_cast<double>(team.number());
            for (double turn = 0.0; turn < 2000.0; ++turn) {
                if (team.number() == static_cast<std::size_t>(turn) % 7) usleep(1);
                std::vector<double> numbers(team.number() % 4, turn);
                numbers.push_back(own);
                const auto all = team.exchange(numbers);
                for (std::size_t member = 0; member < members; ++member) {
                    if (all.size() != members || all[member].size() != member % 4 + 1 ||
                        all[member].back() != static_cast<double>(member) ||
                        (member % 4 > 0 && all[member][0] != turn)) {
                        throw Error(Fault::internal, "wrong numbers");
                    }
                }
                ++turns;
            }
            const auto cells = team.gather_cells(team.number(), std::vector<double>{own + 0.5});
            for (std::size_t member = 0; team.number() == 0 && member < members; ++member) {
                if (cells[member] != static_cast<double>(member) + 0.5) throw Error(Fault::internal, "wrong cells");
            }
        });
        EXPECT_EQ(turns, 2000);
        EXPECT_FALSE(has_children());
    }
}

TEST(Team, EndsWithTheErrorOfTheMemberThatFails) {
    for (const std::size_t failing : {0, 1, 2}) {
        EXPECT_EQ(error_of([&](Team &team) {
                      for (int turn = 0;; ++turn) {
                          if (turn == 20 && team.number() == failing) throw Error(Fault::data, "row 7 is bad");
                          (void)team.exchange(std::vector<double>{1.0});
                      }
                  }),
                  "row 7 is bad");
        EXPECT_FALSE(has_children());
    }
    EXPECT_EQ(error_of([](Team &team) { (void)team.exchange(std::vector<double>(11)); }),
              "too many numbers for one exchange of a team");
}

TEST(Team, EndsWithinASecondWhenAMemberDies) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(error_of([](Team &team) {
                  for (int turn = 0;; ++turn) {
                      if (turn == 5 && team.number() == 2) kill(getpid(), SIGKILL);
                      (void)team.exchange({});
                  }
              }),
              "a process of the team was ended by signal 9 (Killed), perhaps because memory ran out; nothing was "
              "written");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_NE(error_of([](Team &team) {
                  if (team.number() == 1) _exit(3);
                  (void)team.exchange({});
              }).find("ended with status 3"),
              std::string::npos);
    EXPECT_FALSE(has_children());
}

TEST(Team, SharesWorkWithoutAGap) {
    for (std::size_t count = 0; count < 20; ++count) {
        const std::vector<double> equal(count, 2.0);
        std::size_t next = 0;
        for (std::size_t member = 0; member < 7; ++member) {
            const auto [first, last] = share_of(equal, member, 7);
            EXPECT_EQ(first, next);
            EXPECT_LE(last - first, (count + 6) / 7);
            next = last;
        }
        EXPECT_EQ(next, count);
    }
    const std::vector<double> falling = {5.0, 4.0, 2.0, 2.0, 2.0, 1.0};
    EXPECT_EQ(share_of(falling, 0, 2), (std::pair<std::size_t, std::size_t>{0, 2}));
    EXPECT_EQ(share_of(falling, 1, 2), (std::pair<std::size_t, std::size_t>{2, 6}));
    EXPECT_EQ(share_of(std::vector<double>(3, 0.0), 1, 2).second, 3);
}

}  // namespace
