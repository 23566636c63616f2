// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A folder for the files of one test, removed with them.

#ifndef ULLAGE_TESTS_SUPPORT_TEMP_FOLDER_H
#define ULLAGE_TESTS_SUPPORT_TEMP_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class TempFolder {
public:
    TempFolder() {
        std::string name = std::filesystem::temp_directory_path() / "ullage_test_XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;
    ~TempFolder() { std::filesystem::remove_all(path_); }

    std::u16string wide_path(const char *name) const { return (path_ / name).u16string(); }

    // What the file holds; empty if there is none.
    std::string text(const char *name) const {
        std::ifstream file(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    bool holds(const char *name) const { return std::filesystem::exists(path_ / name); }

private:
    std::filesystem::path path_;
};

#endif
