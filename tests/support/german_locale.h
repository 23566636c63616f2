// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A process locale with a decimal comma and a one-byte encoding, for as long as the object lives.

#ifndef ULLAGE_TESTS_SUPPORT_GERMAN_LOCALE_H
#define ULLAGE_TESTS_SUPPORT_GERMAN_LOCALE_H

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

class GermanLocale {
public:
    // The locale is compiled into a folder of its own, so it need not be installed; "localedef" and its sources must
    // be.
    GermanLocale() {
        std::string folder = std::filesystem::temp_directory_path() / "ullage_locale_XXXXXX";
        if (mkdtemp(folder.data()) == nullptr) return;
        folder_ = folder;
        const std::string command = "localedef -i de_DE -f ISO-8859-1 '" + folder + "/de_DE.ISO-8859-1' 2>/dev/null";
        if (std::system(command.c_str()) != 0) return;
        setenv("LOCPATH", folder.c_str(), 1);
        available_ = std::setlocale(LC_ALL, "de_DE.ISO-8859-1") != nullptr && *std::localeconv()->decimal_point == ',';
    }

    ~GermanLocale() {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        if (!folder_.empty()) std::filesystem::remove_all(folder_);
    }

    GermanLocale(const GermanLocale &) = delete;
    GermanLocale &operator=(const GermanLocale &) = delete;

    // Whether the process has the locale now. A test that needs it skips itself otherwise.
    bool available() const { return available_; }

private:
    std::filesystem::path folder_;
    bool available_ = false;
};

#endif
