// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The hooks as the loader runs them: at dlopen, at dlclose, and at the exit of a process.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

class LibraryHooks : public testing::Test {
protected:
    LibraryHooks() {
        std::string name = std::filesystem::temp_directory_path() / "ullage_hooks_XXXXXX";
        folder = mkdtemp(name.data());
        record = folder / "record";
        setenv("HOOKED_MODULE_RECORD", record.c_str(), 1);
    }
    ~LibraryHooks() override { std::filesystem::remove_all(folder); }

    std::string recorded() const {
        std::ifstream file(record);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path folder;
    std::filesystem::path record;
};

TEST_F(LibraryHooks, EachRoundLoadsAndUnloadsOnce) {
    std::string expected;
    for (int round = 0; round < 3; ++round) {
        void *module = dlopen(HOOKED_MODULE, RTLD_NOW);
        ASSERT_NE(module, nullptr) << dlerror();
        expected += "load\n";
        EXPECT_EQ(recorded(), expected);
        EXPECT_EQ(dlopen(HOOKED_MODULE, RTLD_NOW), module);
        EXPECT_EQ(dlclose(module), 0);
        EXPECT_EQ(recorded(), expected) << "a second reference loads and unloads nothing";
        EXPECT_EQ(dlclose(module), 0);
        expected += "unload\n";
        EXPECT_EQ(recorded(), expected);
    }
}

TEST_F(LibraryHooks, AProcessThatExitsUnloadsOnceBehindItsOwnHandlers) {
    const auto load_and_exit = [](bool close_first) {
        void *module = dlopen(HOOKED_MODULE, RTLD_NOW);
        std::atexit([] {
            std::FILE *file = std::fopen(std::getenv("HOOKED_MODULE_RECORD"), "a");
            std::fputs("exit handler\n", file);
            std::fclose(file);
        });
        if (close_first) dlclose(module);
        std::exit(module == nullptr);
    };
    EXPECT_EXIT(load_and_exit(false), testing::ExitedWithCode(0), "");
    EXPECT_EQ(recorded(), "load\nexit handler\nunload\n");
    std::filesystem::remove(record);
    EXPECT_EXIT(load_and_exit(true), testing::ExitedWithCode(0), "");
    EXPECT_EQ(recorded(), "load\nunload\nexit handler\n");
}

}  // namespace
