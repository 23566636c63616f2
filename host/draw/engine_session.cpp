// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Calls of the engine, and the way to its error log.

#include "ullage/host/draw/engine_session.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <ullage/engine.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "ullage/host/draw/engine_source.h"

namespace ullage::host {
namespace {

bool session_is_open = false;

// The engine keeps the log of its first session open until it is unloaded, so there is one for the process. It lies in
// memory, and no directory ever shows it, whenever a process ends: the engine opens it by the descriptor's own name.
int log_descriptor = -1;

}  // namespace

EngineSession::EngineSession() {
    if (session_is_open) {
        throw Error(Fault::internal, "the engine has a session in this process already, and there can be only one");
    }
    if (log_descriptor < 0) {
        log_descriptor = memfd_create("ullage-log", MFD_CLOEXEC);
        if (log_descriptor < 0) {
            throw Error(Fault::cannot_create, fmt::format("cannot create the engine's log in memory: {}",
                                                          std::generic_category().message(errno)));
        }
        const std::string path = fmt::format("/proc/self/fd/{}", log_descriptor);
        DS_GibbsOpen(u"/dev/null", std::filesystem::path(path).u16string().c_str());
    } else {
        DS_GibbsOpen(u"/dev/null", u"");
    }
    session_is_open = true;
    DS_AllowRankOrder();
    DS_SetMixtureModeling(0);
    (void)engine_text();  // what an earlier session left in the log is not ours
}

EngineSession::~EngineSession() {
    DS_GibbsClose();
    session_is_open = false;
}

std::int32_t EngineSession::load_group(const std::u16string &data_text) {
    std::int32_t ignored = 0;
    const std::int32_t group = group_count_ + 1;
    if (DS_CreateGroup(0, &ignored, 1, 1, 0) != 0) fail("the engine made no group", group, 0);
    ++group_count_;
    if (DS_KeyGroupDef(u"block", data_text.c_str()) != 0) {
        std::int32_t cases = 0;
        const bool counted = DS_GetSampleSize(group, &cases) == 0;
        fail("the engine could not read a row", group, counted ? cases + 1 : 0);
    }
    (void)engine_text();  // the names of the variables, which every load logs
    return group;
}

void EngineSession::impute(std::int32_t group, std::span<const double> means, std::span<const double> covariance,
                           RandomStream &random) {
    std::int32_t count = 0;
    (void)DS_GetSampleSize(group, &count);
    draw(group, means, covariance, 1, count, random);
}

void EngineSession::expect_components() {
    DS_SetMixtureModeling(1);
}

void EngineSession::impute_component(std::int32_t component, std::span<const double> means,
                                     std::span<const double> covariance, std::size_t first, std::size_t last,
                                     RandomStream &random) {
    draw(component, means, covariance, static_cast<std::int32_t>(first) + 1, static_cast<std::int32_t>(last), random);
}

void EngineSession::put_into_components(std::span<const std::int32_t> components) {
    if (DS_ImputeGroupMembership(components.data()) != 0) fail("the engine took no components", 1, 0);
}

void EngineSession::likelihoods(std::span<const double> means, std::span<const double> covariance,
                                std::span<double> likelihoods) {
    if (DS_GetLikelihoods(0, means.data(), covariance.data(), likelihoods.data()) != 0) {
        fail("the engine gave no likelihoods", 1, 0);
    }
}

void EngineSession::draw(std::int32_t group, std::span<const double> means, std::span<const double> covariance,
                         std::int32_t first, std::int32_t last, RandomStream &random) {
    EngineSource source(random);
    if (DS_Impute(group, means.data(), covariance.data(), first, last, &source) == 0) return;
    // Only the first failing case stops the engine; it is found by asking for the cases one by one. Those before it are
    // drawn again, which does no harm: nothing of this group is used any more.
    const std::string text = engine_text();
    std::int32_t failed = 0;
    for (std::int32_t i = first; i <= last && failed == 0; ++i) {
        if (DS_Impute(group, means.data(), covariance.data(), i, i, &source) != 0) failed = i;
    }
    throw EngineError("the engine could not draw the hidden cells of a row", group, failed, text);
}

void EngineSession::sample_moments(std::int32_t group, std::span<double> means, std::span<double> covariance) {
    if (DS_SampleMoments(group, means.data(), covariance.data(), 0) != 0) fail("the engine gave no moments", group, 0);
}

void EngineSession::values(std::int32_t group, std::span<double> values) {
    if (DS_DataMatrix(group, values.data()) != 0) fail("the engine gave no values", group, 0);
}

// The last error, and the lines of the log that are new. The engine flushes its log at unload only, but it is a stream
// of this process's C library, which can be told to flush all of them.
std::string EngineSession::engine_text() {
    std::string text;
    std::fflush(nullptr);
    std::array<char, 4096> part{};
    for (ssize_t got = 0; (got = pread(log_descriptor, part.data(), part.size(), log_seen_)) > 0; log_seen_ += got) {
        text.append(part.data(), static_cast<std::size_t>(got));
    }
    for (char &c : text) {
        if (c == '\n' || c == '\t') c = ' ';
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

// The engine logs its last error as well, so the log says all.
void EngineSession::fail(const std::string &what, std::int32_t group, std::int32_t case_number) {
    throw EngineError(what, group, case_number, engine_text());
}

}  // namespace ullage::host
